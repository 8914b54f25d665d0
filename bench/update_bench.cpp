/// Both updates on the virtual monitor, where a request takes no time but the processor's: how many requests they
/// make, what they add to a bus on which each takes 125 us, what they allocate, and what each byte of an image costs.
#include "app/fw_update_tool.h"
#include "bench/bench.h"
#include "hub/api/hub_api.h"
#include "sim/virtual_monitor.h"
#include "tools/firmware_image.h"

#include <QApplication>

#include <cmath>
#include <cstdlib>
#include <new>

static std::size_t allocations = 0;

// The other forms of new end here.
void* operator new(std::size_t size)
{
    ++allocations;
    if (void* block = std::malloc(size))
        return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    std::free(block);
}

namespace {

constexpr int kib = 1024;
constexpr double request_seconds = 125e-6;
constexpr int block = 64 * kib;
constexpr int scaler_size = 1024 * kib;
constexpr int hub_size = 256 * kib;

std::uint8_t* bytesOf(QByteArray& image)
{
    return reinterpret_cast<std::uint8_t*>(image.data());
}

struct Bench
{
    Bench()
    {
        bus.log().setEnabled(false);
        Init();
        if (OpenDevice(0) != 1)
            std::abort();
    }

    void writeScaler(QByteArray& image, ProgressCallback sink, std::int8_t asUserCode)
    {
        const auto length = static_cast<std::uint32_t>(image.size());
        const auto blocks = static_cast<std::uint8_t>(length / block);
        if (UpdateScalarFw(bytesOf(image), length, 0xFE28, 0x1038, blocks, asUserCode, sink, nullptr) !=
            hub::scaler_update_success)
            std::abort();
        // Leaving ISP mode restarts the scaler.
        bus.clock().advance(sim::VirtualMonitor::start_up_time);
    }

    void writeHub(QByteArray& image, ProgressCallback sink) const
    {
        const auto length = static_cast<std::uint32_t>(image.size());
        if (UpdateHubFw(bytesOf(image), length, sink, nullptr) != hub::hub_update_success)
            std::abort();
    }

    /// The requests of `update`. A register that is polled counts once.
    template <class Update>
    int requestsOf(Update update)
    {
        constexpr std::uint8_t short_access = 0xE6;
        bus.log().setEnabled(true);
        update();
        int count = 0;
        int polled = -1;
        for (const sim::WireRecord& record : bus.log().records()) {
            const bool reads = record.setup.isIn() && record.setup.request == short_access;
            const int now = reads ? record.setup.value : -1;
            if (!reads || now != polled)
                ++count;
            polled = now;
        }
        bus.log().clear();
        bus.log().setEnabled(false);
        if (bus.violations().count() != 0)
            std::abort();
        return count;
    }

    sim::VirtualBus bus;
    sim::VirtualMonitor monitor{bus};
};

/// What had been allocated at each progress report.
std::vector<std::size_t> allocated;

/// Between the report after the first piece, which is the second of all, and that after the last one.
template <class Update>
double allocationsInLoops(Update update)
{
    allocated.clear();
    allocated.reserve(10000);
    update([](void* /*context*/, std::uint8_t /*percent*/) { allocated.push_back(allocations); });
    return static_cast<double>(allocated.at(allocated.size() - 2) - allocated.at(1));
}

void benchUpdates()
{
    Bench on;
    QByteArray scaler = firmware::buildScaler({12, 0}, "QX1650", scaler_size);
    QByteArray hub = firmware::buildHub({1, 3}, hub_size);
    const auto updateScaler = [&](ProgressCallback sink) { on.writeScaler(scaler, sink, 1); };
    const auto updateHub = [&](ProgressCallback sink) { on.writeHub(hub, sink); };

    // Slave, ISP mode, settings, protection by pin and by status, erase and check of each block, program settings,
    // image and marker, leaving.
    constexpr int scaler_requests = 1 + 6 + 7 + 10 + 5 + scaler_size / block * (6 + 1 + 6 + 2 + 1 + 1) + 2 +
                                    (scaler_size / 128 + 1) * 10 + 6;
    // Status, again for the reset mode, reset, unlock, status; mark destroyed, erase, write and read back, mark;
    // restart, unlock.
    constexpr int hub_requests = 5 + 2 + 2 * (hub_size / 4096) + 1 + 2;
    bench::row("scaler update of 1 MiB: requests off the procedure's count",
               std::abs(on.requestsOf([&] { updateScaler(nullptr); }) - scaler_requests), 0);
    bench::row("hub update of 256 KiB: requests off the procedure's count",
               std::abs(on.requestsOf([&] { updateHub(updateProgress); }) - hub_requests), 0);

    const auto time = bench::leastTimes({{"scaler", [&] { updateScaler(updateProgress); }},
                                         {"hub", [&] { updateHub([](void*, std::uint8_t) {}); }}});
    const auto onTheBus = [&](const char* update, int requests) {
        return 1 + time.at(update) / (requests * request_seconds);
    };
    bench::row("scaler update with the dialog as progress sink / its bare requests, at 125 us a request",
               onTheBus("scaler", scaler_requests), 1.02);
    bench::row("hub update / its bare requests, at 125 us a request", onTheBus("hub", hub_requests), 1.05);
    bench::row("heap allocations in the scaler's write loop", allocationsInLoops(updateScaler), 0);
    bench::row("heap allocations in the hub's write and read-back loops", allocationsInLoops(updateHub), 0);
}

void benchBytes()
{
    Bench on;
    // Not written as user code, so any bytes will do.
    QByteArray small(512 * kib, '\0');
    QByteArray large(2048 * kib, '\0');
    const std::uint64_t before = on.bus.requestCount();
    on.writeScaler(large, nullptr, 0);
    const auto requests = static_cast<double>(on.bus.requestCount() - before);
    const auto time = bench::leastTimes({{"small", [&] { on.writeScaler(small, nullptr, 0); }},
                                         {"large", [&] { on.writeScaler(large, nullptr, 0); }}});
    bench::row("a byte of a 2 MiB scaler update / a byte of a 512 KiB one",
               time.at("large") / time.at("small") / 4, 1.5);
    bench::row("virtual monitor, one core: us a request (1 us: a million a second)",
               time.at("large") / requests * 1e6, 1);
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    g_dialog = new FW_Update_Tool;
    g_dialog->show(); // and detect: no hub yet
    QCoreApplication::processEvents();
    benchUpdates();
    benchBytes();
    return bench::exit_status;
}
