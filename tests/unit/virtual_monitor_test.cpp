/// The virtual monitor judged as a device: through the operating-system seam and raw setup packets only, with
/// the numbers written out as they travel, so that a wrong number in the model has nowhere to hide.
#include "hub/platform/clock.h"
#include "hub/platform/usb_platform.h"
#include "sim/virtual_monitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
using platform::pipe_stalled;
using platform::success;

struct VirtualMonitorTest : testing::Test
{
    /// Opens the device at `position` among those present and unlocks its vendor commands.
    bool open(int position = 0)
    {
        const auto walk = platform::enumerateUsbDevices();
        for (int i = 0; i <= position; ++i) {
            handle.reset();
            if (walk->next(&handle) != platform::Found::device)
                return false;
        }
        return handle->open() == success && out(0x02, 1, 0x2E4D) == success;
    }
    platform::Status out(std::uint8_t request, int value, int index = 0, Bytes data = {})
    {
        return handle->controlRequest({0x40, request, std::uint16_t(value), std::uint16_t(index),
                                       std::uint16_t(data.size()), data.empty() ? nullptr : data.data()});
    }
    platform::Status get(std::uint8_t request, int value, int index, std::size_t length)
    {
        in.assign(length, 0xEE);
        return handle->controlRequest(
            {0xC0, request, std::uint16_t(value), std::uint16_t(index), std::uint16_t(length), in.data()});
    }
    Bytes reply(std::size_t from, std::size_t to) const { return {in.data() + from, in.data() + to}; }
    /// Restarts the hub with `request`; true when it was away for more than two seconds and came back.
    bool restart(std::uint8_t request, int value = 0)
    {
        EXPECT_EQ(out(request, value), success);
        for (int tries = 0; tries < 100; ++tries, platform::sleepFor(100ms)) {
            if (open())
                return tries > 20;
        }
        return false;
    }
    void regs(const std::vector<std::pair<int, int>>& writes)
    {
        for (auto [number, value] : writes)
            EXPECT_EQ(out(0xE6, number, 0, {std::uint8_t(value)}), success);
    }
    /// Polls a scaler register; true when it became `wanted` under `mask` and was not so at once.
    bool becomes(int number, int mask, int wanted)
    {
        for (int polls = 0; polls < 200 && get(0xE6, number, 0, 1) == success; ++polls) {
            if ((in[0] & mask) == wanted)
                return polls > 0;
            platform::sleepFor(10ms);
        }
        return false;
    }
    void openScaler(int output, int config)
    {
        ASSERT_EQ(out(0xF6, 0x9401, 0x0103), success);
        regs({{0x6F, 0x80}});
        becomes(0x6F, 0x80, 0x80);
        regs({{0x6A, 3}, {0x6B, 0x0B}, {0x62, 6}, {0x63, 0x50}, {0x6D, 2}, {0x71, 127}});
        regs({{0xF4, 0x9F}, {0xF5, config >> 8}, {0xF4, config & 0xFF}});
        ASSERT_EQ(get(0xE6, 0xF5, 0, 1), success);
        regs({{0xF4, 0xAB}, {0xF5, (in[0] & 0xF8) | 1}});
        regs({{0xF4, 0x9F}, {0xF5, output >> 8}, {0xF4, output & 0xFF}, {0xF5, 1}});
        regs({{0x60, 0x68}, {0x61, 1}, {0x64, 0}, {0x60, 0x69}});
        becomes(0x60, 1, 0);
    }
    int eraseAndCheck(int block, int opcode = 0xD8)
    {
        regs({{0x64, block}, {0x65, 0}, {0x66, 0}, {0x60, 0xB8}, {0x61, opcode}, {0x60, 0xB9}});
        becomes(0x60, 1, 0);
        regs({{0x72, block}, {0x73, 0xFF}, {0x74, 0xFF}, {0x6F, 0x84}});
        EXPECT_TRUE(becomes(0x6F, 4, 0));
        EXPECT_EQ(get(0xE6, 0x75, 0, 1), success);
        return in[0];
    }
    platform::Status load(int at, const Bytes& bytes, int dataLength = 128, bool select = true)
    {
        regs({{0x64, at >> 16}, {0x65, at >> 8}, {0x66, at}});
        becomes(0x6F, 0x10, 0x10);
        EXPECT_EQ(out(0xE6, select ? 0x70 : 0x71, 0), success);
        EXPECT_EQ(out(0xF6, 0x9401, dataLength << 8 | 3), success);
        const platform::Status status = out(0xC6, at, at >> 16, bytes);
        EXPECT_EQ(out(0xF6, 0x9401, 0x0103), success);
        return status;
    }

    sim::VirtualBus bus;
    std::unique_ptr<platform::Device> handle;
    Bytes in;
};

TEST_F(VirtualMonitorTest, HandleBelongsToOneStayOnTheBus)
{
    std::unique_ptr<platform::Device> survivor;
    {
        sim::VirtualBus inner;
        sim::VirtualMonitor monitor(inner);
        ASSERT_TRUE(open());
        ASSERT_EQ(platform::enumerateUsbDevices()->next(&survivor), platform::Found::device);
        EXPECT_EQ(survivor->open(), platform::exclusive_access);
        EXPECT_EQ(survivor->controlRequest({0x40, 0x02, 1, 0x2E4D, 0, nullptr}), platform::not_open);
        monitor.unplug();
        EXPECT_FALSE(std::exchange(handle, nullptr)->close() == success || open());
        monitor.plugIn();
        EXPECT_EQ(survivor->open(), platform::no_device) << "what came back is a new device";
        EXPECT_TRUE(open());
    }
    std::uint16_t id = 7;
    EXPECT_EQ(survivor->vendorId(&id), platform::no_device);
    EXPECT_EQ(get(0x09, 0, 0, 32), platform::no_device);
    EXPECT_EQ(id, 7);
}

TEST_F(VirtualMonitorTest, HubRunsWhatItsFlashHoldsAndObeysOnlyWhenUnlocked)
{
    const sim::VirtualMonitor monitor(bus);
    ASSERT_TRUE(open(1));
    EXPECT_EQ(get(0x09, 0, 0, 32), success);
    EXPECT_EQ(reply(0, 16), (Bytes{0x2E, 0x4D, 0x73, 5, 3, 5, 0, 0, 0, 0, 1, 2, 0, 0, 0, 2}));
    EXPECT_EQ(out(0xC8, 0, 0, {0}), pipe_stalled) << "only the ROM programs";
    EXPECT_EQ(out(0x02, 1, 0x2E4E), pipe_stalled);
    EXPECT_EQ(out(0x02, 0, 0x2E4D), success);
    EXPECT_EQ(get(0x09, 0, 0, 32), pipe_stalled) << "locked";
    ASSERT_TRUE(open());
    EXPECT_TRUE(restart(0x00));
    EXPECT_EQ(get(0x09, 0, 0, 16), success);
    EXPECT_EQ(reply(2, 16), (Bytes{0x73, 0, 3, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}));
    EXPECT_EQ(out(0xF6, 0x6E01, 0x8080), pipe_stalled) << "the bridge lives in the code";

    EXPECT_EQ(out(0xC8, 0xFEF0, 0, {0, 0}), success);
    EXPECT_TRUE(restart(0xE9, 0x0101));
    EXPECT_EQ(get(0x09, 0, 0, 16), success);
    EXPECT_EQ(in[15], 0) << "still the ROM: no valid mark";
    EXPECT_EQ(out(0xE8, 0), success);
    EXPECT_EQ(out(0xC8, 0x9000, 0, {0x3C, 0xC3}), success);
    EXPECT_EQ(out(0xC8, 0x8FF0, 0, {0x55, 0xAA}), success);
    EXPECT_EQ(out(0xC8, 0x7EF9, 0, {7, 9}), success);
    EXPECT_EQ(bus.violations().count(), 0);
    EXPECT_EQ(out(0xC8, 0x7EFA, 0, {0x16}), success);
    EXPECT_EQ(bus.violations().count(), 1) << "bits do not come back without an erase";
    EXPECT_EQ(out(0xC8, 0xFFFF, 3, {1, 2}), pipe_stalled) << "the flash ends there";
    EXPECT_TRUE(restart(0x01));
    EXPECT_EQ(get(0x09, 0, 0, 16), success);
    EXPECT_EQ(reply(10, 16), (Bytes{7, 0x09 & 0x16, 0, 0, 0, 2}));
}

TEST_F(VirtualMonitorTest, DisplayTakesItsTimeAndAnswersInFragments)
{
    sim::VirtualMonitor monitor(bus);
    monitor.display().setCapabilities(std::string(26, 'a') + "bcd");
    ASSERT_TRUE(open());
    EXPECT_EQ(get(0xD6, 0x51, 0, 11), pipe_stalled) << "no slave configured";
    EXPECT_EQ(out(0xF6, 0x6E01, 0x8080), success);
    EXPECT_EQ(out(0xC6, 0x51, 0, {0x82, 0x01, 0xC9, 0xFF}), success);
    EXPECT_EQ(get(0xD6, 0x51, 0, 4), success);
    EXPECT_EQ(in, (Bytes{0x6E, 0x80, 0xBE, 0}));
    EXPECT_EQ(bus.violations().count(), 1) << "fetched too early";
    platform::sleepFor(100ms);
    EXPECT_EQ(get(0xD6, 0x51, 0, 12), success);
    EXPECT_EQ(in, (Bytes{0x6E, 0x88, 2, 0, 0xC9, 0, 0xFF, 0xFF, 11, 0, 0x76, 0}));
    for (auto [offset, length] : {std::pair<std::uint8_t, std::uint8_t>{0, 0x9D}, {26, 0x86}, {29, 0x83}}) {
        EXPECT_EQ(out(0xC6, 0x51, 0, {0x83, 0xF3, 0, offset, 0xFF}), success);
        platform::sleepFor(100ms);
        EXPECT_EQ(get(0xD6, 0x51, 0, 32), success);
        EXPECT_EQ(reply(0, 5), (Bytes{0x6E, length, 0xE3, 0, offset}));
        EXPECT_EQ(std::accumulate(in.begin(), in.end(), 0x50, std::bit_xor<>()), 0) << "checksum";
    }
    EXPECT_EQ(out(0xC6, 0x51, 0, {0x84, 0x03, 0x04, 0x00, 0x01, 0xFF}), success);
    EXPECT_EQ(monitor.display().factoryResets(), 1);
}

TEST_F(VirtualMonitorTest, ScalerFlashObeysOnlyWhenAllIsSet)
{
    sim::VirtualMonitor monitor(bus);
    const Bytes& flash = monitor.scaler().flash().bytes();
    ASSERT_TRUE(open());
    openScaler(0xFE19, 0x1038);
    EXPECT_EQ(eraseAndCheck(31), 0) << "another model's output register";
    openScaler(0xFE28, 0x1029);
    EXPECT_EQ(eraseAndCheck(31), 0) << "another model's config register";
    openScaler(0xFE28, 0x1038);
    EXPECT_EQ(eraseAndCheck(31, 0x20), 0) << "another opcode";
    EXPECT_EQ(bus.violations().count(), 0);
    EXPECT_EQ(eraseAndCheck(31), 0xDE);

    EXPECT_EQ(load(0x1FF800, {1, 2, 3}, 64), pipe_stalled);
    EXPECT_EQ(load(0x1FF800, {1, 2, 3}, 128, false), pipe_stalled);
    EXPECT_EQ(load(0x1FF800, Bytes(129)), pipe_stalled);
    EXPECT_EQ(bus.violations().count(), 3) << bus.violations().messages().back();
    EXPECT_EQ(load(0x1FF800, {1, 2, 3}), success);
    regs({{0x6F, 0xA0}});
    EXPECT_TRUE(becomes(0x6F, 0x20, 0));
    EXPECT_EQ(Bytes(&flash[0x1FF800], &flash[0x1FF804]), (Bytes{1, 2, 3, 0xFF}));
    regs({{0x60, 0x68}, {0x61, 1}, {0x64, 0xFF}, {0x60, 0x69}});
    EXPECT_TRUE(becomes(0x60, 1, 0));
    EXPECT_EQ(load(0x1FF803, {4}), success);
    regs({{0x6F, 0xA0}});
    EXPECT_EQ(flash[0x1FF803], 0xFF) << "protected again";
    EXPECT_EQ(bus.violations().count(), 3);
}

TEST_F(VirtualMonitorTest, FaultStrikesTheRequestItIsAimedAt)
{
    const sim::VirtualMonitor monitor(bus);
    ASSERT_TRUE(open());
    sim::Faults& faults = bus.faults();
    faults.timeOut(sim::atRequest(2));
    faults.loseAnswer(sim::atMatch(sim::requestIs(0x40, 0x0E)));
    EXPECT_EQ(get(0x09, 0, 0, 4), success);
    const sim::Duration before = bus.clock().now();
    EXPECT_EQ(get(0x09, 0, 0, 4), platform::timeout);
    EXPECT_GE(bus.clock().now() - before, 5s);
    EXPECT_EQ(out(0x0E, 0, 0x10, {1, 2, 3, 4}), platform::timeout);
    EXPECT_EQ(get(0x0D, 0, 0x10, 4), success);
    EXPECT_EQ(in, (Bytes{1, 2, 3, 4})) << "carried out all the same";
    faults.shortenReply(sim::atRequest(1), 2);
    faults.flipReply(sim::atRequest(2), 3, {0xFF, 0xFF});
    EXPECT_EQ(get(0x0D, 0, 0x10, 4), success);
    EXPECT_EQ(in, (Bytes{1, 2, 0xEE, 0xEE}));
    EXPECT_EQ(get(0x0D, 0, 0x10, 4), success);
    EXPECT_EQ(in, (Bytes{1, 2, 3, 0xFB}));
    faults.refuse(sim::atMatch(sim::requestIs(0xC0, 0x0D), 2).forGood());
    EXPECT_EQ(get(0x0D, 0, 0x10, 4), success);
    EXPECT_EQ(get(0x0D, 0, 0x10, 4), pipe_stalled);
    EXPECT_EQ(get(0x0D, 0, 0x10, 4), pipe_stalled);
    EXPECT_EQ(faults.fired(), 6);
    EXPECT_EQ(get(0x09, 0, 0, 4), success);
}

TEST_F(VirtualMonitorTest, PowerCutTearsWhatRunsAndForgetsTheRest)
{
    sim::VirtualMonitor monitor(bus);
    const Bytes& scaler_flash = monitor.scaler().flash().bytes();
    ASSERT_TRUE(open());
    openScaler(0xFE28, 0x1038);
    const Bytes before = scaler_flash;
    bus.faults().cutPower(sim::atMatch(sim::requestIs(0x40, 0xE6, 0x60), 2), sim::Moment::after, 4);
    regs({{0x64, 16}, {0x60, 0xB8}, {0x61, 0xD8}, {0x60, 0xB9}});
    EXPECT_EQ(get(0x09, 0, 0, 16), platform::no_device);
    const Bytes blank(256, 0xFF);
    const Bytes block(&scaler_flash[0x100000], &scaler_flash[0x100100]);
    EXPECT_TRUE(block != blank && block != Bytes(&before[0x100000], &before[0x100100])) << "half erased";

    EXPECT_FALSE(open());
    monitor.powerOn();
    platform::sleepFor(sim::VirtualMonitor::start_up_time);
    ASSERT_TRUE(open());
    EXPECT_FALSE(monitor.scaler().inIspMode());
    EXPECT_TRUE(monitor.scaler().hardwareProtected());
    EXPECT_TRUE(restart(0x00));
    bus.faults().cutPower(sim::atMatch(sim::requestIs(0x40, 0xC8)), sim::Moment::during, 3);
    EXPECT_EQ(out(0xC8, 0x100, 0, Bytes(4096, 0)), platform::no_device);
    const auto zeros = std::count(&monitor.hub().flash()[0x100], &monitor.hub().flash()[0x1100], 0);
    EXPECT_TRUE(zeros > 100 && zeros < 4096) << zeros;
    EXPECT_EQ(bus.violations().count(), 0);
}

} // namespace
