/// One of the two USB devices that the hub chip is: the same chip on the SuperSpeed or the High-Speed bus.
#pragma once

#include "sim/bus/bus_device.h"
#include "sim/monitor/plugs.h"

namespace sim {

class HubChip;

class HubFace final : public BusDevice
{
public:
    HubFace(HubChip& chip, Plugs& plugs, const DeviceTraits& faceTraits);

    bool isSuperSpeed() const;
    /// The chip has taken the face off the bus.
    void leave() { leaveBus(); }

    bool present() const override;
    platform::Status control(const SetupPacket& setup, std::uint8_t* data) override;
    void unplug() override;
    void losePower(const PowerLoss& loss) override;

private:
    HubChip& chip_;
    Plugs& plugs_;
};

} // namespace sim
