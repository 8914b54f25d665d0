/// Stands in for four headers of the macOS SDK, so that hub/platform/iokit compiles and runs on every machine: what
/// it uses of them under Apple's names, and behind that an IOKit which plays a script. It gives out the devices of
/// the virtual bus, writes every call down and keeps account of every object. It is harsher than the real one: an
/// object that is released twice or used after its release fails the test. script/cross-macos compiles the
/// platform against the SDK's own headers.
#pragma once

#include "seam_suite.h"

#include <functional>
#include <utility>

struct ScriptedObject;
using UInt8 = std::uint8_t;
using UInt16 = std::uint16_t;
typedef std::uint32_t UInt32, mach_port_t, IOReturn, HRESULT;
typedef ScriptedObject *io_iterator_t, *io_service_t, IOCFPlugInInterface, IOUSBDeviceInterface182;
using SInt32 = std::int32_t;
using LPVOID = void*;
using CFUUIDGetUUIDBytes = const char*; // a UUID is its name here

constexpr std::uint32_t MACH_PORT_NULL = 0, KERN_SUCCESS = 0, S_OK = 0;
constexpr io_service_t IO_OBJECT_NULL = nullptr;
constexpr const char* kIOUSBDeviceUserClientTypeID = "user client";
constexpr const char* kIOCFPlugInInterfaceID = "plug-in";
constexpr const char* kIOUSBDeviceInterfaceID = "device interface";

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

struct IOUSBDevRequestTO
{
    UInt8 bmRequestType, bRequest;
    UInt16 wValue, wIndex, wLength;
    void* pData;
    UInt32 noDataTimeout, completionTimeout;
};
using IOUSBDevRequest = IOUSBDevRequestTO;

/// What comes of the next call that begins with `call`.
struct Trouble
{
    std::string call;
    IOReturn result = kIOReturnSuccess;
    bool gives = false; ///< hands out what it is asked for, whatever the result
};
inline Trouble g_trouble;
inline std::string g_calls; ///< one line each

/// A service, a plug-in, a device interface, an iterator: with the functions of all of them.
struct ScriptedObject
{
    using Device = platform::Device;
    static ScriptedObject& of(void* self) { return **static_cast<ScriptedObject**>(self); }
    /// What the caller gets is an interface: a pointer to a pointer to the object.
    static ScriptedObject** add(const char* kind, std::shared_ptr<Device> device = nullptr);

    friend IOReturn IOObjectRelease(ScriptedObject* object) { return object->release("IOObjectRelease"); }
    HRESULT Release(void* self) { return of(self).release("Release"); }
    HRESULT QueryInterface(void* self, const char* id, LPVOID* out)
    {
        const Trouble outcome = of(self).begin(std::string("QueryInterface ") + id);
        // What comes with a failure is not to be touched: releasing it would be a misuse.
        *out = outcome.result == S_OK ? nullptr : self;
        if (outcome.gives)
            *out = add("device", of(self).device);
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
        return of(self).send(format("request %u %u", r->noDataTimeout, r->completionTimeout), *r);
    }

    /// Writes the call down. What is to come of it.
    Trouble begin(const std::string& call) const
    {
        g_calls += call + "\n";
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
    template <typename... Out>
    IOReturn pass(char call, platform::Status (Device::*operation)(Out...), Out... out)
    {
        const Trouble outcome = begin(format("device %c", call));
        return outcome.gives ? (*device.*operation)(out...) : outcome.result;
    }
    IOReturn send(const std::string& call, const IOUSBDevRequestTO& r)
    {
        const Trouble outcome = begin(call);
        const IOReturn status =
            device->controlRequest({r.bmRequestType, r.bRequest, r.wValue, r.wIndex, r.wLength, r.pData});
        return outcome.gives ? status : outcome.result;
    }

    std::string kind;
    std::shared_ptr<Device> device = nullptr; ///< of service, plug-in and device interface
    bool held = true;
    ScriptedObject* functions = this;
};

/// They stay where they are, released or not, so that a use after release is seen and harmless.
inline std::deque<ScriptedObject> g_objects;
inline std::unique_ptr<platform::Enumeration> g_walk;

inline ScriptedObject** ScriptedObject::add(const char* kind, std::shared_ptr<Device> device)
{
    ScriptedObject& object = g_objects.emplace_back();
    object.kind = kind;
    object.device = std::move(device);
    return &object.functions;
}

inline const char* IOServiceMatching(const char* name)
{
    return ScriptedObject{}.begin(std::string("IOServiceMatching ") + name).gives ? name : nullptr;
}

inline IOReturn IOServiceGetMatchingServices(mach_port_t port, const char* matching, io_iterator_t* existing)
{
    if (!matching)
        return kIOReturnBadArgument;
    const Trouble outcome = ScriptedObject{}.begin(format("IOServiceGetMatchingServices %u", port));
    g_walk = sim::VirtualBus::current()->enumerate();
    *existing = outcome.gives ? *ScriptedObject::add("iterator") : nullptr;
    return outcome.result;
}

inline io_service_t IOIteratorNext(io_iterator_t iterator)
{
    iterator->begin("IOIteratorNext");
    std::unique_ptr<platform::Device> device;
    return g_walk->next(&device) == platform::Found::end ? nullptr
                                                         : *ScriptedObject::add("service", std::move(device));
}

inline IOReturn IOCreatePlugInInterfaceForService(io_service_t service, const char* type, const char* id,
                                                  IOCFPlugInInterface*** plugIn, SInt32* /*score*/)
{
    const Trouble outcome = service->begin(format("IOCreatePlugIn %s, %s", type, id));
    *plugIn = outcome.gives ? ScriptedObject::add("plug-in", service->device) : nullptr;
    return outcome.result;
}

struct ScriptedWorld final : seam::World
{
    long liveObjects() const override
    {
        return std::count_if(g_objects.begin(), g_objects.end(), std::mem_fn(&ScriptedObject::held));
    }
};
