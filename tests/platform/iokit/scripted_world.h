/// The seam's World on an IOKit that plays a script: it answers the calls of the stand-in headers with the devices
/// of the virtual bus, writes every call down and keeps account of every object it hands out. It is harsher than
/// the real one: a test fails that releases an object twice or uses it after its release.
#pragma once

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/usb/IOUSBLib.h>

#include <utility>

#include "seam_suite.h"

struct ScriptedObject
{
    /// An interface is a pointer to this one.
    union {
        IOCFPlugInInterface* plug_in;
        IOUSBDeviceInterface182* device;
    } functions;
    std::string kind;
    std::shared_ptr<platform::Device> device; ///< of service, plug-in and device
    bool held = true;
};

/// What comes of the next call that begins with `call`.
struct Trouble
{
    std::string call;
    IOReturn result = kIOReturnSuccess;
    bool gives = false; ///< hands out what it is asked for, whatever the result
};

struct ScriptedWorld final : seam::World
{
    long liveObjects() const override { return live; }

    /// The handle of an object is its number, from 1.
    ScriptedObject& at(io_object_t handle) { return objects.at(handle - 1); }
    io_object_t add(const char* kind, std::shared_ptr<platform::Device> device)
    {
        objects.push_back({{}, kind, std::move(device)});
        ++live;
        return static_cast<io_object_t>(objects.size());
    }

    /// Writes the call down. What is to come of it.
    Trouble begin(const std::string& call, const ScriptedObject& object)
    {
        calls.push_back(call);
        EXPECT_TRUE(object.held) << call << " on a released " << object.kind;
        const bool strikes = !trouble.call.empty() && call.rfind(trouble.call, 0) == 0;
        return strikes ? std::exchange(trouble, {}) : Trouble{call, kIOReturnSuccess, true};
    }

    IOReturn release(const std::string& call, ScriptedObject& object)
    {
        --live;
        const IOReturn result = begin(call + " " + object.kind, object).result;
        object.held = false;
        object.device.reset();
        return result;
    }

    static ScriptedObject& of(void* self) { return *static_cast<ScriptedObject*>(self); }

    Trouble trouble;
    Lines calls;
    long live = 0;
    /// They stay where they are, released or not, so that a use after release is seen and harmless.
    std::deque<ScriptedObject> objects;
    ScriptedObject dictionary{{}, "dictionary", nullptr};
    std::unique_ptr<platform::Enumeration> walk;
};

ScriptedWorld* g_iokit = nullptr;

ULONG releaseInterface(void* self)
{
    return static_cast<ULONG>(g_iokit->release("Release", g_iokit->of(self)));
}

/// Written down as one letter.
template <char Call, auto Operation, typename... Arguments>
IOReturn pass(void* self, Arguments... arguments)
{
    const Trouble outcome = g_iokit->begin(format("device %c", Call), g_iokit->of(self));
    platform::Device& device = *g_iokit->of(self).device;
    return outcome.gives ? static_cast<IOReturn>((device.*Operation)(arguments...)) : outcome.result;
}

template <typename Request, typename... Timeouts>
IOReturn send(void* self, const std::string& call, const Request& r, Timeouts... timeouts)
{
    const platform::ControlRequest request{r.bmRequestType, r.bRequest, r.wValue,
                                           r.wIndex,        r.wLength,  r.pData};
    EXPECT_TRUE(r.pData || r.wLength == 0) << call << " with a length and no data";
    const Trouble outcome = g_iokit->begin(call, g_iokit->of(self));
    const platform::Status status = g_iokit->of(self).device->controlRequest(request, timeouts...);
    return outcome.gives ? static_cast<IOReturn>(status) : outcome.result;
}

IOUSBDeviceInterface182 device_functions{
    releaseInterface,
    pass<'o', &platform::Device::open>,
    pass<'c', &platform::Device::close>,
    pass<'v', &platform::Device::vendorId>,
    pass<'p', &platform::Device::productId>,
    pass<'s', &platform::Device::speed>,
    pass<'l', &platform::Device::locationId>,
    [](void* self, IOUSBDevRequest* r) { return send(self, "request", *r); },
    [](void* self, IOUSBDevRequestTO* r) {
        return send(self, format("request %u %u", r->noDataTimeout, r->completionTimeout), *r,
                    r->noDataTimeout, r->completionTimeout);
    }};

HRESULT queryInterface(void* self, REFIID iid, LPVOID* out)
{
    // The first bytes tell the UUIDs apart; sdk_declarations.cpp has the others.
    const Trouble outcome = g_iokit->begin(format("QueryInterface %02X", iid.bytes[0]), g_iokit->of(self));
    // What comes with a failure is not to be touched: releasing it would be a misuse.
    *out = outcome.result == S_OK ? nullptr : self;
    if (outcome.gives) {
        *out = &g_iokit->at(g_iokit->add("device", g_iokit->of(self).device));
        g_iokit->of(*out).functions.device = &device_functions;
    }
    return outcome.result;
}

IOCFPlugInInterface plug_in_functions{queryInterface, releaseInterface};

CFMutableDictionaryRef IOServiceMatching(const char* name)
{
    const Trouble outcome = g_iokit->begin(std::string("IOServiceMatching ") + name, g_iokit->dictionary);
    return outcome.gives ? &g_iokit->dictionary : nullptr;
}

kern_return_t IOServiceGetMatchingServices(mach_port_t mainPort, CFDictionaryRef matching,
                                           io_iterator_t* existing)
{
    if (!matching)
        return kIOReturnBadArgument;
    const Trouble outcome = g_iokit->begin(format("IOServiceGetMatchingServices %u", mainPort), *matching);
    g_iokit->walk = sim::VirtualBus::current()->enumerate();
    if (outcome.gives)
        *existing = g_iokit->add("iterator", nullptr);
    return outcome.result;
}

io_object_t IOIteratorNext(io_iterator_t handle)
{
    g_iokit->begin("IOIteratorNext", g_iokit->at(handle));
    std::unique_ptr<platform::Device> device;
    const bool is_end = g_iokit->walk->next(&device) == platform::Found::end;
    return is_end ? IO_OBJECT_NULL : g_iokit->add("service", std::move(device));
}

kern_return_t IOObjectRelease(io_object_t handle)
{
    return g_iokit->release("IOObjectRelease", g_iokit->at(handle));
}

kern_return_t IOCreatePlugInInterfaceForService(io_service_t handle, CFUUIDRef type, CFUUIDRef interfaceType,
                                                IOCFPlugInInterface*** theInterface, SInt32* theScore)
{
    ScriptedObject& service = g_iokit->at(handle);
    const Trouble outcome = g_iokit->begin(
        format("IOCreatePlugIn %02X %02X", type.value.bytes[0], interfaceType.value.bytes[0]), service);
    *theScore = 0;
    *theInterface =
        outcome.gives ? &g_iokit->at(g_iokit->add("plug-in", service.device)).functions.plug_in : nullptr;
    if (outcome.gives)
        **theInterface = &plug_in_functions;
    return outcome.result;
}
