/// The updates against a loop that makes the same calls at the seam, what they allocate, how many requests they
/// need, and the helpers that touch every byte of an image.
#include "app/fw_update_tool.h"
#include "app/image_fields.h"
#include "app/resource_folder.h"
#include "bench/answering_hub.h"
#include "bench/measure.h"
#include "hub/api/hub_api.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QTemporaryFile>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <random>
#include <unistd.h>

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

constexpr std::size_t kib = 1024;
constexpr std::size_t scaler_size = 1024 * kib;
constexpr int scaler_chunks = scaler_size / 128;
constexpr std::size_t hub_size = 256 * kib;
constexpr int hub_pieces = hub_size / 4096;
constexpr std::uint8_t blocks = 16;

using Image = std::vector<std::uint8_t>;

/// Good for both parts: with the scaler's user-code mark, and with the hub's vendor-config block and valid mark.
Image makeImage(std::size_t size)
{
    std::mt19937 random;
    Image image(size);
    std::generate(image.begin(), image.end(), [&random] { return static_cast<std::uint8_t>(random()); });
    image[0xF8FE] = image[size - 255] = image[size - 271] = 0xAA;
    image[0xF8FF] = image[size - 256] = image[size - 272] = 0x55;
    return image;
}

void writeScaler(Image& image, ProgressCallback sink, std::int8_t asUserCode = 1)
{
    const auto length = static_cast<std::uint32_t>(image.size());
    if (UpdateScalarFw(image.data(), length, 0xFE28, 0x1038, blocks, asUserCode, sink, nullptr) != 0)
        std::abort();
}

void writeHub(Image& image, ProgressCallback sink)
{
    if (UpdateHubFw(image.data(), static_cast<std::uint32_t>(image.size()), sink, nullptr) != 1)
        std::abort();
}

void ignoreProgress(void* /*context*/, std::uint8_t /*percent*/) {}

template <class Update>
bench::Recording record(Update update)
{
    bench::Recording recording;
    bench::hub.recording = &recording;
    update();
    bench::hub.recording = nullptr;
    return recording;
}

/// Requests of a scaler update in user-code mode on a device that is never busy: slave, ISP mode, settings,
/// protection by pin and by status, erase and check of each block, program settings, image and marker, leaving.
constexpr int scaler_requests =
    1 + 6 + 7 + 10 + 5 + blocks * (6 + 1 + 6 + 2 + 1 + 1) + 2 + (scaler_chunks + 1) * 10 + 6;
/// Requests of a hub update out of the running code: status, again for the reset mode, reset, unlock, status;
/// mark destroyed, erase, write and read back, mark; restart, unlock.
constexpr int hub_requests = 5 + 2 + 2 * hub_pieces + 1 + 2;

/// What had been allocated at each progress report.
std::array<std::size_t, scaler_chunks + 2> allocated{};
std::size_t reports = 0;

void countAllocations(void* /*context*/, std::uint8_t /*percent*/)
{
    allocated.at(reports++) = allocations;
}

/// From the report after the first piece, which is the second of all, to that after the last one.
double allocationsInLoops(void (*update)(Image&), Image& image, int pieces)
{
    reports = 0;
    update(image);
    const auto last = static_cast<std::size_t>(pieces);
    if (reports != last + 2)
        std::abort();
    return static_cast<double>(allocated.at(last) - allocated.at(1));
}

void benchUpdates()
{
    Image scaler = makeImage(scaler_size);
    Image hub = makeImage(hub_size);
    const auto updateScaler = [&scaler] { writeScaler(scaler, nullptr); };
    const auto updateInDialog = [&scaler] { writeScaler(scaler, updateProgress); };
    const auto updateHub = [&hub] { writeHub(hub, ignoreProgress); };
    const auto scalerCalls = record(updateScaler);
    const auto hubCalls = record(updateHub);
    const auto device = bench::openHub();
    const auto replayScaler = [&] { scalerCalls.replay(*device); };
    const auto replayHub = [&] { hubCalls.replay(*device); };
    const auto replayAndCompare = [&] {
        hubCalls.replay(*device);
        if (std::memcmp(hub.data(), bench::hub.flash.data(), hub_size) != 0)
            std::abort();
    };

    auto time = bench::leastTimes({{"scaler", updateScaler},
                                   {"dialog", updateInDialog},
                                   {"scaler calls", replayScaler},
                                   {"hub", updateHub},
                                   {"hub calls", replayHub},
                                   {"compared", replayAndCompare}});
    bench::row("scaler update of 1 MiB / the same calls at the seam", time["scaler"] / time["scaler calls"],
               1.10, "at 5 ns a call it costs as much to make a request up");
    bench::row("scaler update with the dialog as progress sink / without it", time["dialog"] / time["scaler"],
               1.5, "the window takes input 8194 times in 1 ms");
    bench::row("hub update of 256 KiB / the same calls at the seam", time["hub"] / time["hub calls"], 1.10,
               "an update also compares what it reads back, see the next row");
    bench::row("hub update of 256 KiB / the same calls and a comparison of the image",
               time["hub"] / time["compared"], 1.5);
    bench::row("scaler update of 1 MiB: requests off the procedure's count",
               std::abs(scalerCalls.requestCount() - scaler_requests), 0);
    bench::row("hub update of 256 KiB: requests off the procedure's count",
               std::abs(hubCalls.requestCount() - hub_requests), 0);

    // One run is tens of thousands of requests: it needs no repetition to be exact.
    bench::hub.delay = CLOCKS_PER_SEC / 8000; // 125 us
    time = bench::leastTimes({{"scaler", updateScaler}, {"dialog", updateInDialog}, {"calls", replayScaler}},
                             1, 0.001);
    bench::hub.delay = 0;
    bench::row("scaler update with the dialog / without it, at 125 us a request",
               time["dialog"] / time["scaler"], 1.02);
    bench::row("scaler update / the same calls at the seam, at 125 us a request",
               time["scaler"] / time["calls"], 1.02);

    const auto countInScaler = [](Image& image) { writeScaler(image, countAllocations); };
    const auto countInHub = [](Image& image) { writeHub(image, countAllocations); };
    bench::row("heap allocations in the scaler's write loop",
               allocationsInLoops(countInScaler, scaler, scaler_chunks), 0);
    bench::row("heap allocations in the hub's write and read-back loops",
               allocationsInLoops(countInHub, hub, 2 * hub_pieces), 0);
}

/// The time of each further byte, between one size and the next, against that over the whole range.
void benchGrowth()
{
    const std::array<std::size_t, 4> sizes = {64 * kib, 256 * kib, 1024 * kib, 2048 * kib};
    bench::Cases cases;
    for (const std::size_t size : sizes)
        cases[std::to_string(size)] = [image = makeImage(size)]() mutable { writeScaler(image, nullptr, 0); };
    // The smallest difference is a seventh of a millisecond: many short rounds find a quiet moment for each.
    const auto times = bench::leastTimes(cases, 100, 0.005);
    const auto slope = [&times](std::size_t from, std::size_t to) {
        return (times.at(std::to_string(to)) - times.at(std::to_string(from))) /
               static_cast<double>(to - from);
    };
    const double whole = slope(sizes.front(), sizes.back());
    double worst = 0;
    for (std::size_t i = 1; i < sizes.size(); ++i)
        worst = std::max(worst, std::abs(slope(sizes[i - 1], sizes[i]) / whole - 1));
    bench::row("cost of a byte from 64 KiB to 2 MiB: farthest from linear, %", 100 * worst, 5);
}

void benchImages()
{
    const Image bytes = makeImage(4096 * kib);
    const QByteArray image(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
    Image copy(bytes.size());
    QTemporaryFile file;
    if (!file.open() || file.write(image) != image.size() || !file.flush())
        std::abort();
    const QString path = file.fileName();
    const QByteArray nativePath = path.toLocal8Bit();
    const auto copyBytes = [&] {
        std::memcpy(copy.data(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    };
    const auto readFile = [&] {
        const int fd = open(nativePath.constData(), O_RDONLY | O_CLOEXEC);
        void* memory = std::malloc(bytes.size());
        benchmark::DoNotOptimize(read(fd, memory, bytes.size()));
        std::free(memory);
        close(fd);
    };
    auto time = bench::leastTimes({{"checksum16", [&] { benchmark::DoNotOptimize(checksum16(image)); }},
                                   {"memcpy", copyBytes},
                                   {"readImage", [&] { benchmark::DoNotOptimize(readImage(path).size()); }},
                                   {"read", readFile}});
    bench::row("checksum16 over 4 MiB / memcpy of the same bytes", time["checksum16"] / time["memcpy"], 3);
    bench::row("reading an image file of 4 MiB / read into memory", time["readImage"] / time["read"], 1.5);
}

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    const QApplication application(argc, argv);
    g_dialog = new FW_Update_Tool;
    g_dialog->show(); // and detect: no hub yet
    QCoreApplication::processEvents();
    bench::hub.plugged = true;
    Init();
    if (OpenDevice(0) != 1)
        return EXIT_FAILURE;
    benchUpdates();
    benchGrowth();
    benchImages();
    return bench::exitStatus();
}
