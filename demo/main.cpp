/// The product on a virtual monitor, for a desktop: a QX1650 whose hub and display firmware are old.
#include "app/startup.h"
#include "sim/bus/virtual_bus.h"
#include "sim/virtual_monitor.h"

namespace {

/// A fifth of the real thing's time: waits and writes can be watched, and the whole job takes half a minute.
constexpr double pace = 0.2;

} // namespace

int main(int argc, char** argv)
{
    sim::VirtualBus bus;
    bus.clock().setPace(pace);
    bus.log().setEnabled(false);
    sim::MonitorSetup setup;
    setup.hub_version = {1, 2};
    setup.display_version = {11, 0};
    const sim::VirtualMonitor monitor(bus, setup);
    return runUpdateTool(argc, argv);
}
