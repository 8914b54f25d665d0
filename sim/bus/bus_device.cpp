/// Presence on the bus, and what a device shares with its handles.
#include "sim/bus/bus_device.h"

#include "sim/bus/virtual_bus.h"

namespace sim {

BusDevice::BusDevice(const DeviceTraits& deviceTraits)
    : traits(deviceTraits)
    , link_(std::make_shared<DeviceLink>())
{
    link_->device = this;
}

BusDevice::~BusDevice()
{
    if (link_->bus != nullptr)
        link_->bus->detach(*this);
    link_->device = nullptr;
}

void BusDevice::setPresent(bool present)
{
    if (!present)
        leaveBus();
    present_ = present;
}

platform::Status BusDevice::control(const SetupPacket& /*setup*/, std::uint8_t* /*data*/)
{
    return platform::pipe_stalled;
}

void BusDevice::unplug()
{
    setPresent(false);
}

void BusDevice::losePower(const PowerLoss& /*loss*/)
{
    setPresent(false);
}

void BusDevice::leaveBus()
{
    ++link_->stay;
    link_->holder = nullptr;
}

} // namespace sim
