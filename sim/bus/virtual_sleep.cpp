/// The platform's sleep, on the virtual bus's clock.
#include "hub/platform/clock.h"
#include "sim/bus/virtual_bus.h"

void platform::sleepFor(std::chrono::microseconds duration)
{
    if (sim::VirtualBus* bus = sim::VirtualBus::current())
        bus->clock().advance(duration);
}
