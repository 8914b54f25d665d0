/// How many requests the virtual monitor serves: those of a whole scaler update, made by the updater itself.
#include "bench/measure.h"
#include "hub/api/hub_api.h"
#include "sim/virtual_monitor.h"

#include <cstdlib>
#include <vector>

int main()
{
    sim::VirtualBus bus;
    sim::VirtualMonitor monitor(bus);
    bus.log().setEnabled(false);
    Init();
    if (OpenDevice(0) != 1)
        return EXIT_FAILURE;

    constexpr std::uint8_t blocks = 16;
    std::vector<std::uint8_t> image(0x10000UL * blocks, 0x5A);
    const auto update = [&bus, &image] {
        if (UpdateScalarFw(image.data(), static_cast<std::uint32_t>(image.size()), 0xFE28, 0x1038, blocks, 0,
                           nullptr, nullptr) != 0)
            std::abort();
        // Leaving ISP mode restarts the scaler.
        bus.clock().advance(sim::VirtualMonitor::start_up_time);
    };
    const std::uint64_t before = bus.requestCount();
    update();
    const auto requests = static_cast<double>(bus.requestCount() - before);
    const auto times = bench::leastTimes({{"update", update}});

    bench::row("virtual monitor, one core: us a request (1 us: a million a second)",
               times.at("update") / requests * 1e6, 1);
    return bus.violations().count() == 0 ? bench::exitStatus() : EXIT_FAILURE;
}
