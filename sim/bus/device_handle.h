/// The host's end of a device on the virtual bus: the operations of the operating-system seam.
#pragma once

#include "hub/platform/usb_platform.h"
#include "sim/bus/bus_device.h"
#include "sim/bus/clock.h"

#include <memory>

namespace sim {

/// A handle belongs to one stay of the device on the bus. Once the device has left or been detached, or the bus is
/// gone, every operation gives `no_device`, even after the device has come back.
class DeviceHandle final : public platform::Device
{
public:
    DeviceHandle(std::shared_ptr<DeviceLink> link, unsigned stay);
    ~DeviceHandle() override;
    DeviceHandle(const DeviceHandle&) = delete;
    DeviceHandle& operator=(const DeviceHandle&) = delete;

    platform::Status vendorId(std::uint16_t* id) override;
    platform::Status productId(std::uint16_t* id) override;
    platform::Status open() override;
    platform::Status close() override;
    platform::Status speed(std::uint8_t* code) override;
    platform::Status locationId(std::uint32_t* location) override;

private:
    platform::Status doControlRequest(const platform::ControlRequest& request) override;
    platform::Status doControlRequest(const platform::ControlRequest& request, std::uint32_t noDataTimeout,
                                      std::uint32_t completionTimeout) override;
    bool gone() const { return stay_ != link_->stay; }
    template <typename Value>
    platform::Status answer(platform::Status DeviceTroubles::*trouble, Value DeviceTraits::*value,
                            Value* out) const;
    platform::Status send(const platform::ControlRequest& request, Duration timeout);

    std::shared_ptr<DeviceLink> link_;
    unsigned stay_;
    bool opened_ = false;
};

} // namespace sim
