/// The platform seam on macOS, through the user client of IOKit's USB family.
///
/// A device is reached in three steps: its service in the registry, the service's plug-in, the plug-in's device
/// interface. Each is a system object that this file owns and releases once. IOKit's status numbers are those of the
/// seam and pass through unchanged.
#include "hub/platform/usb_platform.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/usb/IOUSBLib.h>
#include <utility>

namespace {

using platform::Status;

/// The port to IOKit; null is documented as the default. The constant is kIOMasterPortDefault up to macOS 11 and
/// kIOMainPortDefault from 12 on; neither name works for both.
constexpr mach_port_t default_port = MACH_PORT_NULL;

constexpr Status statusOf(IOReturn result)
{
    return static_cast<Status>(result);
}

static_assert(platform::success == statusOf(kIOReturnSuccess));
static_assert(platform::io_error == statusOf(kIOReturnError));
static_assert(platform::no_memory == statusOf(kIOReturnNoMemory));
static_assert(platform::no_device == statusOf(kIOReturnNoDevice));
static_assert(platform::not_privileged == statusOf(kIOReturnNotPrivileged));
static_assert(platform::bad_argument == statusOf(kIOReturnBadArgument));
static_assert(platform::exclusive_access == statusOf(kIOReturnExclusiveAccess));
static_assert(platform::unsupported == statusOf(kIOReturnUnsupported));
static_assert(platform::not_open == statusOf(kIOReturnNotOpen));
static_assert(platform::timeout == statusOf(kIOReturnTimeout));
static_assert(platform::overrun == statusOf(kIOReturnOverrun));
static_assert(platform::aborted == statusOf(kIOReturnAborted));
static_assert(platform::not_responding == statusOf(kIOReturnNotResponding));
static_assert(platform::not_found == statusOf(kIOReturnNotFound));
static_assert(platform::pipe_stalled == statusOf(kIOUSBPipeStalled));

struct InterfaceRelease
{
    template <typename Functions>
    void operator()(Functions** object) const
    {
        (*object)->Release(object);
    }
};

/// An interface is a pointer to a pointer to its table of functions.
using PlugIn = std::unique_ptr<IOCFPlugInInterface*, InterfaceRelease>;
/// The operating system returns the same table for every version of the device interface. DeviceRequestTO is in it
/// since version 182, which every SDK declares.
using DeviceInterface = std::unique_ptr<IOUSBDeviceInterface182*, InterfaceRelease>;

/// Null when the operating system has none for the service; the status of the call adds nothing to that.
PlugIn createPlugIn(io_service_t service)
{
    IOCFPlugInInterface** plugIn = nullptr;
    SInt32 score = 0;
    IOCreatePlugInInterfaceForService(service, kIOUSBDeviceUserClientTypeID, kIOCFPlugInInterfaceID, &plugIn,
                                      &score);
    return PlugIn(plugIn);
}

/// Null when the plug-in does not provide it. The device interface stays valid without the plug-in.
DeviceInterface queryDevice(const PlugIn& plugIn)
{
    LPVOID device = nullptr;
    const HRESULT result =
        (*plugIn)->QueryInterface(plugIn.get(), CFUUIDGetUUIDBytes(kIOUSBDeviceInterfaceID), &device);
    if (result != S_OK)
        return nullptr;
    return DeviceInterface(static_cast<IOUSBDeviceInterface182**>(device));
}

/// Sets the fields that requests with and without timeouts share; the others are 0.
template <typename Request>
Request systemRequest(const platform::ControlRequest& request)
{
    Request system{};
    system.bmRequestType = request.requestType;
    system.bRequest = request.request;
    system.wValue = request.value;
    system.wIndex = request.index;
    system.wLength = request.length;
    system.pData = request.data;
    return system;
}

class IokitDevice final : public platform::Device
{
public:
    explicit IokitDevice(DeviceInterface device)
        : device_(std::move(device))
    {
    }

    Status vendorId(std::uint16_t* id) override
    {
        return statusOf((*device_)->GetDeviceVendor(device_.get(), id));
    }

    Status productId(std::uint16_t* id) override
    {
        return statusOf((*device_)->GetDeviceProduct(device_.get(), id));
    }

    Status open() override { return statusOf((*device_)->USBDeviceOpen(device_.get())); }

    Status close() override { return statusOf((*device_)->USBDeviceClose(device_.get())); }

    Status speed(std::uint8_t* code) override
    {
        return statusOf((*device_)->GetDeviceSpeed(device_.get(), code));
    }

    Status locationId(std::uint32_t* location) override
    {
        return statusOf((*device_)->GetLocationID(device_.get(), location));
    }

private:
    Status doControlRequest(const platform::ControlRequest& request) override
    {
        auto system = systemRequest<IOUSBDevRequest>(request);
        return statusOf((*device_)->DeviceRequest(device_.get(), &system));
    }

    Status doControlRequest(const platform::ControlRequest& request, std::uint32_t noDataTimeout,
                            std::uint32_t completionTimeout) override
    {
        auto system = systemRequest<IOUSBDevRequestTO>(request);
        system.noDataTimeout = noDataTimeout;
        system.completionTimeout = completionTimeout;
        return statusOf((*device_)->DeviceRequestTO(device_.get(), &system));
    }

    // Releasing the last reference to an open device closes it.
    DeviceInterface device_;
};

/// The services found in one scan of the registry, in its order.
class IokitEnumeration final : public platform::Enumeration
{
public:
    /// Takes ownership of `iterator`, which is null when there is no device at all.
    explicit IokitEnumeration(io_iterator_t iterator)
        : iterator_(iterator)
    {
    }
    ~IokitEnumeration() override
    {
        if (iterator_ != IO_OBJECT_NULL)
            IOObjectRelease(iterator_);
    }
    IokitEnumeration(const IokitEnumeration&) = delete;
    IokitEnumeration& operator=(const IokitEnumeration&) = delete;

    platform::Found next(std::unique_ptr<platform::Device>* device) override
    {
        const io_service_t service = nextService();
        if (service == IO_OBJECT_NULL)
            return platform::Found::end;
        const PlugIn plugIn = createPlugIn(service);
        if (IOObjectRelease(service) != KERN_SUCCESS || !plugIn)
            return platform::Found::no_plug_in;
        DeviceInterface found = queryDevice(plugIn);
        if (!found)
            return platform::Found::no_interface;
        *device = std::make_unique<IokitDevice>(std::move(found));
        return platform::Found::device;
    }

private:
    io_service_t nextService() const
    {
        return iterator_ == IO_OBJECT_NULL ? IO_OBJECT_NULL : IOIteratorNext(iterator_);
    }

    io_iterator_t iterator_;
};

} // namespace

std::unique_ptr<platform::Enumeration> platform::enumerateUsbDevices()
{
    // The call consumes the dictionary, and refuses a null one.
    io_iterator_t iterator = IO_OBJECT_NULL;
    if (IOServiceGetMatchingServices(default_port, IOServiceMatching("IOUSBDevice"), &iterator) !=
        KERN_SUCCESS)
        return nullptr;
    return std::make_unique<IokitEnumeration>(iterator);
}
