/// Passes everything on, to the chip or to the monitor's plugs.
#include "sim/monitor/hub_face.h"

#include "sim/monitor/hub_chip.h"

namespace sim {

HubFace::HubFace(HubChip& chip, Plugs& plugs, const DeviceTraits& faceTraits)
    : BusDevice(faceTraits)
    , chip_(chip)
    , plugs_(plugs)
{
}

bool HubFace::isSuperSpeed() const
{
    return traits.speed == static_cast<std::uint8_t>(platform::LinkSpeed::super);
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
    plugs_.pullCable();
}

void HubFace::losePower(const PowerLoss& loss)
{
    plugs_.cutPower(loss);
}

} // namespace sim
