/// The virtual monitor judged as a device: what it refuses, forgets and counts against the host. That it answers
/// as the hub library expects, and that the library's numbers are right, the library's own tests show.
#include "hub/firmware/hub_control.h"
#include "hub/i2c/scaler_isp.h"
#include "hub/platform/clock.h"
#include "hub/transport/control_pipe.h"
#include "hub/transport/vendor_commands.h"
#include "hub_fixture.h"

#include <numeric>

namespace {

using namespace std::chrono_literals;
using platform::pipe_stalled;
using platform::success;

class VirtualMonitor : public HubTest
{
protected:
    VirtualMonitor() { EXPECT_TRUE(HH_Open(nullptr)); }
    static platform::Status out(std::uint8_t request, int value, int index = 0, Bytes data = {})
    {
        return Proxy_SendVendorCmd2(0x40, request, std::uint16_t(value), std::uint16_t(index),
                                    std::uint16_t(data.size()), data.data());
    }
    Bytes get(std::uint8_t request, int value, int index, std::size_t length)
    {
        Bytes in(length, 0xEE);
        status = Proxy_SendVendorCmd2(0xC0, request, std::uint16_t(value), std::uint16_t(index),
                                      std::uint16_t(length), in.data());
        return in;
    }
    /// As an update does before it erases.
    static void enterIspMode(std::uint32_t outReg, std::uint32_t cfgReg)
    {
        MP_I2C_SetSlaveAddr(1, 1);
        EXPECT_TRUE(MP_EnterSPIMode());
        MP_Set_DefaultValue();
        MP_I2C_WriteInitalize(128);
        MP_Disable_FlashHWProtect(outReg, cfgReg);
        MP_Disable_FlashSWProtect();
    }
    static void set(const std::vector<std::pair<int, int>>& registers)
    {
        for (const auto& [number, value] : registers)
            EXPECT_EQ(out(0xE6, number, 0, {std::uint8_t(value)}), success);
    }
    /// Puts bytes into the data port without the library's care.
    static platform::Status load(int at, const Bytes& bytes, std::uint8_t length = 128, int port = 0x70)
    {
        set({{0x64, at >> 16}, {0x65, at >> 8}, {0x66, at}});
        platform::sleepFor(100ms);
        EXPECT_EQ(out(0xE6, port, 0), success);
        MP_I2C_SetSlaveAddr(1, length);
        const platform::Status loaded = out(0xC6, at, at >> 16, bytes);
        MP_I2C_SetSlaveAddr(1, 1);
        set({{0x6F, 0xA0}});
        platform::sleepFor(100ms);
        return loaded;
    }

    sim::VirtualMonitor monitor{bus};
    platform::Status status = success;
};

} // namespace

TEST_F(VirtualMonitor, HubRunsWhatItsFlashHoldsAndObeysOnlyWhenUnlocked)
{
    EXPECT_EQ(get(0x09, 0, 0, 16), (Bytes{0x2E, 0x4D, 0x73, 5, 3, 5, 0, 0, 0, 0, 1, 2, 0, 0, 0, 2}));
    EXPECT_EQ(out(0xC8, 0, 0, {0}), pipe_stalled) << "only the ROM programs";
    EXPECT_EQ(out(0x02, 1, 0x2E4E), pipe_stalled);
    EXPECT_EQ(out(0x02, 0, 0x2E4D), success);
    get(0x09, 0, 0, 32);
    EXPECT_EQ(status, pipe_stalled) << "locked";
    EXPECT_EQ(out(0x02, 1, 0x2E4D), success);
    ASSERT_TRUE(HvxFun_OpenRomDevice());
    EXPECT_EQ(get(0x09, 0, 0, 16), (Bytes{0x2E, 0x4D, 0x73, 0, 3, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}));
    EXPECT_EQ(out(0xF6, 0x6E01, 0x8080), pipe_stalled) << "the bridge lives in the code";

    EXPECT_EQ(out(0xC8, 0xFEF0, 0, {0, 0}), success);
    EXPECT_TRUE(HvxFun_ResetAndWait(CODE_MODE));
    EXPECT_TRUE(HvxFun_IsRomCode()) << "no valid mark";
    EXPECT_EQ(out(0xE8, 0), success);
    EXPECT_EQ(out(0xC8, 0x9000, 0, {0x3C, 0xC3}), success);
    EXPECT_EQ(out(0xC8, 0x8FF0, 0, {0x55, 0xAA}), success);
    EXPECT_EQ(out(0xC8, 0x7EF9, 0, {7, 9}), success);
    EXPECT_EQ(bus.violations().count(), 0);
    EXPECT_EQ(out(0xC8, 0x7EFA, 0, {0x16}), success);
    EXPECT_EQ(bus.violations().count(), 1) << "bits do not come back without an erase";
    EXPECT_EQ(out(0xC8, 0xFFFF, 3, {1, 2}), pipe_stalled) << "the flash ends there";
    EXPECT_TRUE(HvxFun_ResetAndWait(HUB_RESET));
    EXPECT_EQ(HvxFun_GetFwVer(), 0x700 | (0x09 & 0x16));
}

TEST_F(VirtualMonitor, DisplayTakesItsTimeAndAnswersInFragments)
{
    monitor.display().setCapabilities(std::string(26, 'a') + "bcd");
    get(0xD6, 0x51, 0, 11);
    EXPECT_EQ(status, pipe_stalled) << "no slave configured";
    EXPECT_EQ(out(0xF6, 0x6E01, 0x8080), success);
    EXPECT_EQ(out(0xC6, 0x51, 0, {0x82, 0x01, 0xC9, 0xFF}), success);
    EXPECT_EQ(get(0xD6, 0x51, 0, 4), (Bytes{0x6E, 0x80, 0xBE, 0}));
    EXPECT_EQ(bus.violations().count(), 1) << "fetched too early";
    platform::sleepFor(100ms);
    EXPECT_EQ(get(0xD6, 0x51, 0, 12), (Bytes{0x6E, 0x88, 2, 0, 0xC9, 0, 0xFF, 0xFF, 11, 0, 0x76, 0}));
    for (auto [offset, length] : {std::pair<std::uint8_t, std::uint8_t>{0, 0x9D}, {26, 0x86}, {29, 0x83}}) {
        EXPECT_EQ(out(0xC6, 0x51, 0, {0x83, 0xF3, 0, offset, 0xFF}), success);
        platform::sleepFor(100ms);
        const Bytes in = get(0xD6, 0x51, 0, 32);
        EXPECT_EQ(Bytes(in.begin(), in.begin() + 5), (Bytes{0x6E, length, 0xE3, 0, offset}));
        EXPECT_EQ(std::accumulate(in.begin(), in.end(), 0x50, std::bit_xor<>()), 0) << "checksum";
    }
}

TEST_F(VirtualMonitor, ScalerFlashObeysOnlyWhenAllIsSet)
{
    const Bytes& flash = monitor.scaler().flash().bytes();
    enterIspMode(0xFE19, 0x1038);
    EXPECT_FALSE(MP_I2C_BlockErase(31, 1)) << "another model's output register";
    enterIspMode(0xFE28, 0x1029);
    EXPECT_FALSE(MP_I2C_BlockErase(31, 1)) << "another model's config register";
    enterIspMode(0xFE28, 0x1038);
    EXPECT_TRUE(MP_I2C_BlockErase(31, 1));
    EXPECT_EQ(bus.violations().count(), 0);
    EXPECT_EQ(load(0x1FF800, {1, 2, 3}, 64), pipe_stalled);
    EXPECT_EQ(load(0x1FF800, {1, 2, 3}, 128, 0x71), pipe_stalled);
    EXPECT_EQ(load(0x1FF800, Bytes(129)), pipe_stalled);
    EXPECT_EQ(bus.violations().count(), 6) << "each load, and each start without data";
    EXPECT_EQ(load(0x1FF800, {1, 2, 3}), success);
    EXPECT_EQ(Bytes(&flash[0x1FF800], &flash[0x1FF804]), (Bytes{1, 2, 3, 0xFF}));
    set({{0x60, 0x68}, {0x61, 1}, {0x64, 0xFF}, {0x60, 0x69}});
    platform::sleepFor(100ms);
    EXPECT_EQ(load(0x1FF803, {4}), success);
    EXPECT_EQ(flash[0x1FF803], 0xFF) << "protected again";
}
