/// The seam's operations on a virtual device.
#include "sim/bus/device_handle.h"

#include "sim/bus/virtual_bus.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

constexpr Duration default_timeout = std::chrono::seconds(5);

} // namespace

DeviceHandle::DeviceHandle(std::shared_ptr<DeviceLink> link, unsigned stay)
    : link_(std::move(link))
    , stay_(stay)
{
    ++link_->counters.live_interfaces;
}

DeviceHandle::~DeviceHandle()
{
    --link_->counters.live_interfaces;
    if (link_->holder == this)
        link_->holder = nullptr;
}

template <typename Value>
platform::Status DeviceHandle::answer(platform::Status DeviceTroubles::*trouble, Value DeviceTraits::*value,
                                      Value* out) const
{
    if (gone())
        return platform::no_device;
    const platform::Status status = link_->device->troubles.*trouble;
    if (status == platform::success)
        *out = link_->device->traits.*value;
    return status;
}

platform::Status DeviceHandle::vendorId(std::uint16_t* id)
{
    return answer(&DeviceTroubles::vendor_id, &DeviceTraits::vendor_id, id);
}

platform::Status DeviceHandle::productId(std::uint16_t* id)
{
    return answer(&DeviceTroubles::product_id, &DeviceTraits::product_id, id);
}

platform::Status DeviceHandle::open()
{
    if (gone())
        return platform::no_device;
    if (link_->device->troubles.held_by_other || link_->holder != nullptr)
        return platform::exclusive_access;
    link_->holder = this;
    opened_ = true;
    ++link_->counters.opens;
    return platform::success;
}

platform::Status DeviceHandle::close()
{
    if (!opened_)
        return platform::not_open;
    opened_ = false;
    ++link_->counters.closes;
    if (gone())
        return platform::no_device;
    link_->holder = nullptr;
    return platform::success;
}

platform::Status DeviceHandle::speed(std::uint8_t* code)
{
    return answer(&DeviceTroubles::speed, &DeviceTraits::speed, code);
}

platform::Status DeviceHandle::locationId(std::uint32_t* location)
{
    return answer(&DeviceTroubles::location, &DeviceTraits::location, location);
}

platform::Status DeviceHandle::doControlRequest(const platform::ControlRequest& request)
{
    return send(request, default_timeout);
}

platform::Status DeviceHandle::doControlRequest(const platform::ControlRequest& request,
                                                std::uint32_t noDataTimeout, std::uint32_t completionTimeout)
{
    return send(request, std::chrono::milliseconds(std::min(noDataTimeout, completionTimeout)));
}

platform::Status DeviceHandle::send(const platform::ControlRequest& request, Duration timeout)
{
    if (gone())
        return platform::no_device;
    if (!opened_)
        return platform::not_open;
    const SetupPacket setup{request.requestType, request.request, request.value, request.index,
                            request.length};
    return link_->bus->transfer(*link_->device, setup, static_cast<std::uint8_t*>(request.data), timeout);
}

} // namespace sim
