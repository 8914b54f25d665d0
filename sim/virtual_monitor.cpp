/// Connects the parts.
#include "sim/virtual_monitor.h"

namespace sim {

VirtualMonitor::VirtualMonitor(VirtualBus& bus, const MonitorSetup& setup)
    : env_{bus.clock(), bus.faults(), bus.violations()}
    , scaler_(env_, setup.model, setup.display_version)
    , display_(env_, scaler_, factoryCapabilities(setup.model))
    , bridge_(env_, display_, scaler_)
    , hub_(env_, bridge_, *this, setup)
{
    if (setup.has_super_speed_face)
        bus.attach(hub_.superSpeedFace());
    bus.attach(hub_.highSpeedFace());
}

void VirtualMonitor::unplug()
{
    hub_.setPlugged(false);
}

void VirtualMonitor::plugIn()
{
    hub_.setPlugged(true);
}

void VirtualMonitor::cutPower(const PowerLoss& loss)
{
    scaler_.powerOff(loss);
    hub_.powerOff(loss);
}

void VirtualMonitor::powerOn()
{
    scaler_.powerOn();
    display_.powerOn();
    hub_.powerOn();
}

void VirtualMonitor::powerCycle()
{
    cutPower();
    powerOn();
}

} // namespace sim
