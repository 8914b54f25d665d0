/// The platform's clock, in the virtual bus's time.
#include "hub/platform/clock.h"
#include "sim/bus/virtual_bus.h"

void platform::sleepFor(std::chrono::microseconds duration)
{
    if (sim::VirtualBus* bus = sim::VirtualBus::current())
        bus->clock().advance(duration);
}
