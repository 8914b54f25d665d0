// Restarts, ROM entry, erase and version of the hub on the virtual monitor.
#include "hub/firmware/hub_control.h"

#include "hub_fixture.h"

namespace {

class HubControl : public HubTest
{
protected:
    void start(sim::MonitorSetup setup = {})
    {
        monitor = std::make_unique<sim::VirtualMonitor>(bus, setup);
        ASSERT_TRUE(HH_Open(nullptr));
        wire();
    }
    std::unique_ptr<sim::VirtualMonitor> monitor;
};

const std::string status_request = "C0 09 0000 0000 32";
const std::string rom_reset = "40 00 0000 0000 0";
const std::string enable = "40 02 0001 2E4D 0";

} // namespace

TEST_F(HubControl, EntersTheRomByARestartOnlyFromCode)
{
    start();
    EXPECT_FALSE(HvxFun_IsRomCode());
    EXPECT_EQ(HvxFun_GetFwVer(), 0x0102);
    wire();
    EXPECT_TRUE(HvxFun_OpenRomDevice());
    // Asked for its state, then for its reset mode; the restarted hub is enabled and asked again.
    EXPECT_EQ(wire(), (Lines{status_request, status_request, rom_reset, enable, status_request}));
    EXPECT_FALSE(monitor->hub().runsCode());
    EXPECT_TRUE(HvxFun_IsRomCode());
    EXPECT_EQ(HvxFun_GetFwVer(), 0x0001);

    wire();
    EXPECT_TRUE(HvxFun_OpenRomDevice());
    EXPECT_EQ(wire(), Lines{status_request});
    EXPECT_TRUE(HvxFun_ResetAndWait(CODE_MODE));
    EXPECT_EQ(wire(), (Lines{"40 E9 0101 0000 0", enable}));
    EXPECT_TRUE(monitor->hub().runsCode());
    EXPECT_EQ(bus.violations().count(), 0);
}

TEST_F(HubControl, PollsEveryTwoSecondsOrOneInResetModeOne)
{
    // The hub needs between two and four seconds to come back.
    start();
    EXPECT_EQ(HvxFun_GetResetMode(), 0);
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(HvxFun_ResetAndWait(ROM_MODE)); }) / 1000, 4);
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(HvxFun_ResetAndWait(HUB_RESET)); }) / 1000, 4);
    g_Dev.reset();

    monitor.reset();
    sim::MonitorSetup quick;
    quick.reset_mode = 1;
    start(quick);
    EXPECT_EQ(HvxFun_GetResetMode(), 1);
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(HvxFun_ResetAndWait(ROM_MODE)); }) / 1000, 3);
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(HvxFun_ResetAndWait(CODE_MODE)); }) / 1000, 4);
}

TEST_F(HubControl, GivesUpAHubThatNeverComesBack)
{
    start();
    bus.faults().troubles.hub_never_returns = true;
    EXPECT_EQ(milliseconds([] { EXPECT_FALSE(HvxFun_ResetAndWait(ROM_MODE)); }) / 1000, 40);
    EXPECT_EQ(g_Dev, nullptr);
    EXPECT_EQ(g_ErrCode, 5);
}

TEST_F(HubControl, ARefusedResetIsNotAskedAgain)
{
    start();
    bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0x00)).forGood());
    EXPECT_EQ(milliseconds([] { EXPECT_FALSE(HvxFun_ResetAndWait(ROM_MODE)); }), 3 * 128);
    EXPECT_EQ(wire(), (Lines{status_request, rom_reset})); // the session went with the first attempt
    EXPECT_EQ(g_Dev, nullptr);

    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_FALSE(HvxFun_ResetDevEx(ROM_MODE));
    EXPECT_EQ(g_Dev, nullptr);
    ASSERT_TRUE(HH_Open(nullptr));
    wire();
    EXPECT_TRUE(HvxFun_ResetDevEx(7));
    EXPECT_EQ(g_Dev, nullptr);
    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_TRUE(HvxFun_ResetDev(7));
    EXPECT_EQ(g_Dev, nullptr);
    EXPECT_EQ(wire(), Lines{enable});
    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_TRUE(HvxFun_ResetDev(HUB_RESET));
    EXPECT_EQ(wire(), (Lines{enable, "40 01 0000 0000 0"}));
}

TEST_F(HubControl, AHubThatComesBackInCodeIsNoRomDevice)
{
    start();
    // The status block of the restarted hub: flag bit 1 set.
    bus.faults().replaceReply(sim::atMatch(sim::requestIs(0xC0, 0x09), 3), 15, {0x02});
    EXPECT_FALSE(HvxFun_OpenRomDevice());
    EXPECT_EQ(g_ErrCode, 12);
    bus.faults().refuse(sim::atMatch(sim::requestIs(0xC0, 0x09)).forGood());
    EXPECT_FALSE(HvxFun_IsRomCode());
    EXPECT_EQ(HvxFun_GetResetMode(), 0);
    EXPECT_EQ(HvxFun_GetFwVer(), 0);
}

TEST_F(HubControl, EraseIsTriedThreeTimesAndWaitsAfterEach)
{
    const std::string erase = "40 E8 0000 0000 0";
    start();
    EXPECT_GE(milliseconds([] { EXPECT_FALSE(HvxFun_EraseFlash()); }), 3 * 128); // refused outside the ROM
    EXPECT_EQ(wire(), Lines(3, erase));
    ASSERT_TRUE(HvxFun_OpenRomDevice());
    wire();
    bus.faults().refuse(sim::atRequest(1));
    EXPECT_TRUE(HvxFun_EraseFlash());
    EXPECT_EQ(wire(), Lines(2, erase));
    EXPECT_EQ(monitor->hub().flash(), Bytes(monitor->hub().flash().size(), 0xFF));
    EXPECT_GE(milliseconds([] { EXPECT_TRUE(HvxFun_EraseFlash()); }), 128);
}
