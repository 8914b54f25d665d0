/// Passes everything on, to the chip or to the monitor's plugs.
#include "sim/monitor/hub_face.h"

#include "sim/monitor/hub_chip.h"

namespace sim {

namespace {
constexpr std::uint8_t super_speed = 3;
} // namespace

HubFace::HubFace(HubChip& chip, Supply& supply, const DeviceTraits& faceTraits)
    : BusDevice(faceTraits)
    , chip_(chip)
    , supply_(supply)
{
}

bool HubFace::isSuperSpeed() const
{
    return traits.speed == super_speed;
}

bool HubFace::present() const
{
    return BusDevice::present() && chip_.onBus();
}

platform::Status HubFace::control(const SetupPacket& setup, std::uint8_t* data)
{
    return chip_.control(setup, data, isSuperSpeed());
}

void HubFace::unplug()
{
    supply_.pullCable();
}

void HubFace::losePower(const PowerLoss& loss)
{
    supply_.cutPower(loss);
}

} // namespace sim
