/// Stands in for four headers of the macOS SDK, so that hub/platform/iokit compiles and runs on every machine: what
/// it uses of them under Apple's names, and behind that an IOKit which plays a script. It gives out the devices of
/// the virtual bus, writes every call down and keeps account of every object. It is harsher than the real one: an
/// object that is released twice or used after its release fails the test. script/cross-macos compiles the
/// platform against the SDK's own headers.
#pragma once

#include <algorithm>
#include <utility>

#include "seam_suite.h"

using UInt8 = std::uint8_t;
using UInt16 = std::uint16_t;
typedef std::uint32_t UInt32, ULONG, HRESULT, kern_return_t, IOReturn;
typedef std::uint32_t mach_port_t, io_object_t, io_iterator_t, io_service_t;
typedef const char *CFUUIDRef, *REFIID, *CFMutableDictionaryRef;
using SInt32 = std::int32_t;
using LPVOID = void*;

constexpr HRESULT S_OK = 0;
constexpr kern_return_t KERN_SUCCESS = 0;
constexpr mach_port_t MACH_PORT_NULL = 0;
constexpr io_object_t IO_OBJECT_NULL = 0;
constexpr CFUUIDRef kIOUSBDeviceUserClientTypeID = "user client";
constexpr CFUUIDRef kIOCFPlugInInterfaceID = "plug-in";
constexpr CFUUIDRef kIOUSBDeviceInterfaceID = "device interface";

enum : IOReturn {
    kIOReturnSuccess = 0,
    kIOReturnError = 0xE00002BC,
    kIOReturnNoMemory = 0xE00002BD,
    kIOReturnNoDevice = 0xE00002C0,
    kIOReturnNotPrivileged = 0xE00002C1,
    kIOReturnBadArgument = 0xE00002C2,
    kIOReturnExclusiveAccess = 0xE00002C5,
    kIOReturnUnsupported = 0xE00002C7,
    kIOReturnNotOpen = 0xE00002CD,
    kIOReturnTimeout = 0xE00002D6,
    kIOReturnOverrun = 0xE00002E8,
    kIOReturnAborted = 0xE00002EB,
    kIOReturnNotResponding = 0xE00002ED,
    kIOReturnNotFound = 0xE00002F0,
    kIOUSBPipeStalled = 0xE000404F
};

struct IOUSBDevRequest
{
    UInt8 bmRequestType, bRequest;
    UInt16 wValue, wIndex, wLength;
    void* pData;
    UInt32 wLenDone;
};

struct IOUSBDevRequestTO : IOUSBDevRequest
{
    UInt32 noDataTimeout, completionTimeout;
};

/// What comes of the next call that begins with `call`.
struct Trouble
{
    std::string call;
    IOReturn result = kIOReturnSuccess;
    bool gives = false; ///< hands out what it is asked for, whatever the result
};
inline Trouble g_trouble;
inline Lines g_calls;

/// A service, a plug-in, a device interface, an iterator: with the functions of all of them.
struct ScriptedObject
{
    using Device = platform::Device;
    static ScriptedObject& of(void* self) { return **static_cast<ScriptedObject**>(self); }
    static ScriptedObject& add(const char* kind, std::shared_ptr<Device> device);

    ULONG Release(void* self) { return of(self).release("Release"); }
    HRESULT QueryInterface(void* self, REFIID iid, LPVOID* out)
    {
        const Trouble outcome = of(self).begin(std::string("QueryInterface ") + iid);
        // What comes with a failure is not to be touched: releasing it would be a misuse.
        *out = outcome.result == S_OK ? nullptr : self;
        if (outcome.gives)
            *out = &add("device", of(self).device).functions;
        return outcome.result;
    }
    IOReturn USBDeviceOpen(void* self) { return of(self).pass('o', &Device::open); }
    IOReturn USBDeviceClose(void* self) { return of(self).pass('c', &Device::close); }
    IOReturn GetDeviceVendor(void* self, UInt16* id) { return of(self).pass('v', &Device::vendorId, id); }
    IOReturn GetDeviceProduct(void* self, UInt16* id) { return of(self).pass('p', &Device::productId, id); }
    IOReturn GetDeviceSpeed(void* self, UInt8* code) { return of(self).pass('s', &Device::speed, code); }
    IOReturn GetLocationID(void* self, UInt32* id) { return of(self).pass('l', &Device::locationId, id); }
    IOReturn DeviceRequest(void* self, IOUSBDevRequest* r) { return of(self).send("request", *r); }
    IOReturn DeviceRequestTO(void* self, IOUSBDevRequestTO* r)
    {
        return of(self).send(format("request %u %u", r->noDataTimeout, r->completionTimeout), *r,
                             r->noDataTimeout, r->completionTimeout);
    }

    /// Writes the call down. What is to come of it.
    Trouble begin(const std::string& call) const
    {
        g_calls.push_back(call);
        EXPECT_TRUE(held) << call << " on a released " << kind;
        const bool strikes = !g_trouble.call.empty() && call.rfind(g_trouble.call, 0) == 0;
        return strikes ? std::exchange(g_trouble, {}) : Trouble{call, kIOReturnSuccess, true};
    }

    IOReturn release(const std::string& call)
    {
        const IOReturn result = begin(call + " " + kind).result;
        held = false;
        device.reset();
        return result;
    }

    /// Written down as one letter.
    template <typename... Arguments>
    IOReturn pass(char call, platform::Status (Device::*operation)(Arguments...), Arguments... arguments)
    {
        const Trouble outcome = begin(format("device %c", call));
        return outcome.gives ? (*device.*operation)(arguments...) : outcome.result;
    }

    template <typename Request, typename... Timeouts>
    IOReturn send(const std::string& call, const Request& r, Timeouts... timeouts)
    {
        EXPECT_TRUE(r.pData || r.wLength == 0) << call << " with a length and no data";
        const Trouble outcome = begin(call);
        const IOReturn status = device->controlRequest(
            {r.bmRequestType, r.bRequest, r.wValue, r.wIndex, r.wLength, r.pData}, timeouts...);
        return outcome.gives ? status : outcome.result;
    }

    std::string kind;
    std::shared_ptr<Device> device = nullptr; ///< of service, plug-in and device interface
    bool held = true;
    ScriptedObject* functions = this; ///< an interface is a pointer to this one
};
using IOCFPlugInInterface = ScriptedObject;
using IOUSBDeviceInterface182 = ScriptedObject;

/// They stay where they are, released or not, so that a use after release is seen and harmless. The handle of an
/// object is its number, from 1.
inline std::deque<ScriptedObject> g_objects;
inline std::unique_ptr<platform::Enumeration> g_walk;

inline ScriptedObject& ScriptedObject::add(const char* kind, std::shared_ptr<Device> device)
{
    ScriptedObject& object = g_objects.emplace_back();
    object.kind = kind;
    object.device = std::move(device);
    return object;
}

inline REFIID CFUUIDGetUUIDBytes(CFUUIDRef uuid)
{
    return uuid;
}

inline CFMutableDictionaryRef IOServiceMatching(const char* name)
{
    const bool gives = ScriptedObject{}.begin(std::string("IOServiceMatching ") + name).gives;
    return gives ? name : nullptr;
}

inline kern_return_t IOServiceGetMatchingServices(mach_port_t mainPort, CFMutableDictionaryRef matching,
                                                  io_iterator_t* existing)
{
    if (!matching)
        return kIOReturnBadArgument;
    const Trouble outcome = ScriptedObject{}.begin(format("IOServiceGetMatchingServices %u", mainPort));
    g_walk = sim::VirtualBus::current()->enumerate();
    if (outcome.gives)
        ScriptedObject::add("iterator", nullptr);
    *existing = outcome.gives ? static_cast<io_object_t>(g_objects.size()) : IO_OBJECT_NULL;
    return outcome.result;
}

inline io_object_t IOIteratorNext(io_iterator_t handle)
{
    g_objects.at(handle - 1).begin("IOIteratorNext");
    std::unique_ptr<platform::Device> device;
    if (g_walk->next(&device) == platform::Found::end)
        return IO_OBJECT_NULL;
    ScriptedObject::add("service", std::move(device));
    return static_cast<io_object_t>(g_objects.size());
}

inline kern_return_t IOObjectRelease(io_object_t handle)
{
    return g_objects.at(handle - 1).release("IOObjectRelease");
}

inline kern_return_t IOCreatePlugInInterfaceForService(io_service_t handle, CFUUIDRef type,
                                                       CFUUIDRef interfaceType,
                                                       IOCFPlugInInterface*** theInterface,
                                                       SInt32* /*theScore*/)
{
    ScriptedObject& service = g_objects.at(handle - 1);
    const Trouble outcome = service.begin(format("IOCreatePlugIn %s, %s", type, interfaceType));
    *theInterface = outcome.gives ? &ScriptedObject::add("plug-in", service.device).functions : nullptr;
    return outcome.result;
}

struct ScriptedWorld final : seam::World
{
    ScriptedWorld()
    {
        g_calls.clear();
        g_objects.clear();
    }
    long liveObjects() const override
    {
        return std::count_if(g_objects.begin(), g_objects.end(),
                             [](const auto& object) { return object.held; });
    }
};
