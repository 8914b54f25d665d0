// Restarts, ROM entry, erase and version of the hub on the virtual monitor.
#include "hub/firmware/hub_control.h"

#include "hub/transport/vendor_commands.h"
#include "hub_fixture.h"

namespace {

class HubControl : public HubTest
{
protected:
    HubControl() { open(); }
    void open()
    {
        ASSERT_TRUE(HH_Open(nullptr));
        wire();
    }
    /// Seconds that a restart and waiting for the hub take.
    long restartTime(std::uint8_t kind, bool comesBack = true)
    {
        return milliseconds([=] { EXPECT_EQ(HvxFun_ResetAndWait(kind), comesBack); }) / 1000;
    }
    sim::VirtualMonitor monitor{bus};
};

const std::string status_request = "C0 09 0000 0000 32";
const std::string rom_reset = "40 00 0000 0000 0";
const std::string hub_reset = "40 01 0000 0000 0";

} // namespace

TEST_F(HubControl, EntersTheRomByARestartOnlyFromCode)
{
    EXPECT_TRUE(HvxFun_OpenRomDevice());
    wire(); // an update's first requests
    EXPECT_EQ(HvxFun_GetFwVer(), 0x0001);
    EXPECT_TRUE(HvxFun_OpenRomDevice());
    EXPECT_EQ(wire(), Lines(2, status_request));
}

TEST_F(HubControl, PollsEveryTwoSecondsOrOneInResetModeOne)
{
    // The hub needs between two and four seconds to come back.
    EXPECT_EQ(restartTime(ROM_MODE), 4);
    EXPECT_EQ(restartTime(HUB_RESET), 4);
    // From now on the status block says reset mode 1.
    bus.faults().replaceReply(sim::atMatch(sim::requestIs(0xC0, 0x09)).forGood(), 13, {1});
    EXPECT_EQ(restartTime(ROM_MODE), 3);
    EXPECT_EQ(restartTime(CODE_MODE), 4); // only the way into the ROM is the shorter one
    bus.faults().troubles.hub_never_returns = true;
    EXPECT_EQ(restartTime(CODE_MODE, false), 40);
    EXPECT_EQ(g_ErrCode, 5);
}

TEST_F(HubControl, ARefusedResetIsNotAskedAgain)
{
    bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0x00)).forGood());
    EXPECT_EQ(milliseconds([] { EXPECT_FALSE(HvxFun_ResetAndWait(ROM_MODE)); }), 3 * 128);
    EXPECT_EQ(wire(), (Lines{status_request, rom_reset})); // the session went with the first attempt

    const auto reset = [this](bool (*function)(std::uint8_t), std::uint8_t kind, const Lines& requests) {
        open();
        const bool accepted = function(kind);
        EXPECT_EQ(g_Dev, nullptr);
        EXPECT_EQ(wire(), requests);
        return accepted;
    };
    EXPECT_FALSE(reset(HvxFun_ResetDevEx, ROM_MODE, {rom_reset}));
    EXPECT_TRUE(reset(HvxFun_ResetDevEx, 7, {}));
    EXPECT_TRUE(reset(HvxFun_ResetDev, 7, {}));
    EXPECT_TRUE(reset(HvxFun_ResetDev, HUB_RESET, {hub_reset}));
}

TEST_F(HubControl, AHubThatComesBackInCodeIsNoRomDevice)
{
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
    EXPECT_EQ(milliseconds([] { EXPECT_FALSE(HvxFun_EraseFlash()); }), 3 * 128); // refused outside the ROM
    EXPECT_EQ(wire(), Lines(3, erase));
    ASSERT_TRUE(HvxFun_OpenRomDevice());
    wire();
    const long eraseTime = milliseconds([] { HH_EraseFlash(0); });
    bus.faults().refuse(sim::atRequest(1));
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(HvxFun_EraseFlash()); }) - eraseTime, 2 * 128);
    EXPECT_EQ(wire(), Lines(3, erase));
    EXPECT_EQ(monitor.hub().flash(), Bytes(monitor.hub().flash().size(), 0xFF));
}
