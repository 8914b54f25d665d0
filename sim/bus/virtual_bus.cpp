/// Positions, enumeration and the wire.
#include "sim/bus/virtual_bus.h"

#include "sim/bus/device_handle.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

/// A control transfer costs one microframe, and its data so much per packet of 64 bytes.
constexpr Duration request_time{125};
constexpr Duration packet_time{5};
constexpr unsigned packet_bytes = 64;

Duration timeOnTheWire(std::uint16_t length)
{
    return request_time + packet_time * ((length + packet_bytes - 1) / packet_bytes);
}

struct Seen
{
    std::shared_ptr<DeviceLink> link;
    unsigned stay;
};

/// The devices that were present at one moment. A device that has left since yields a dead handle.
class BusWalk final : public platform::Enumeration
{
public:
    explicit BusWalk(std::vector<Seen> seen)
        : seen_(std::move(seen))
    {
    }

    platform::Found next(std::unique_ptr<platform::Device>* device) override
    {
        if (at_ == seen_.size())
            return platform::Found::end;
        const Seen& one = seen_[at_++];
        if (one.link->device == nullptr || one.link->device->troubles.no_plug_in)
            return platform::Found::no_plug_in;
        if (one.link->device->troubles.no_interface)
            return platform::Found::no_interface;
        *device = std::make_unique<DeviceHandle>(one.link, one.stay);
        return platform::Found::device;
    }

private:
    std::vector<Seen> seen_;
    std::size_t at_ = 0;
};

} // namespace

VirtualBus::VirtualBus()
    : faults_(clock_)
{
    current_ = this;
}

VirtualBus::~VirtualBus()
{
    while (!devices_.empty())
        detach(*devices_.back());
    if (current_ == this)
        current_ = nullptr;
}

void VirtualBus::attach(BusDevice& device)
{
    devices_.push_back(&device);
    device.link_->bus = this;
}

void VirtualBus::detach(BusDevice& device)
{
    device.leaveBus();
    device.link_->bus = nullptr;
    devices_.erase(std::remove(devices_.begin(), devices_.end(), &device), devices_.end());
}

int VirtualBus::positionOf(const BusDevice& device) const
{
    return static_cast<int>(std::find(devices_.begin(), devices_.end(), &device) - devices_.begin());
}

std::unique_ptr<platform::Enumeration> VirtualBus::enumerate()
{
    if (refuse_enumeration_)
        return nullptr;
    std::vector<Seen> seen;
    for (const BusDevice* device : devices_) {
        if (device->present())
            seen.push_back({device->link_, device->link_->stay});
    }
    return std::make_unique<BusWalk>(std::move(seen));
}

platform::Status VirtualBus::transfer(BusDevice& device, const SetupPacket& setup, std::uint8_t* data,
                                      Duration timeout)
{
    const Duration began = clock_.now();
    ++request_count_;
    clock_.advance(timeOnTheWire(setup.length));
    if (faults_.on_request)
        faults_.on_request(setup, data);
    const platform::Status status =
        faults_.armed() ? faults_.carryOut(device, setup, data, timeout) : device.control(setup, data);
    if (log_.enabled()) {
        WireRecord record{began, setup, {}, status, positionOf(device)};
        if (setup.length != 0 && (!setup.isIn() || status == platform::success))
            record.data.assign(data, data + setup.length);
        log_.add(std::move(record));
    }
    return status;
}

} // namespace sim
