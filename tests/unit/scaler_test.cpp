// The scaler's ISP port and the scaler update: every request of the procedures, their waits, what the flash
// holds afterwards, and each way to fail.
#include "hub/i2c/scaler_isp.h"

#include <cerrno>
#include <deque>
#include <map>
#include <optional>

#include "hub/api/hvx_hub.h"
#include "hub_fixture.h"

namespace {

void collect(void* context, std::uint8_t percent)
{
    static_cast<std::vector<int>*>(context)->push_back(percent);
}

Bytes userCodeImage(std::size_t size)
{
    Bytes image(size);
    for (std::size_t i = 0; i < size; ++i)
        image[i] = static_cast<std::uint8_t>(i * 13 + (i >> 9));
    const Bytes header = {0xAA, 0x55, 12, 3};
    std::copy(header.begin(), header.end(), image.begin() + 0xF8FE);
    return image;
}

std::string regWrite(int reg, int value)
{
    char line[48];
    std::snprintf(line, sizeof line, "40 E6 %04X 0000 1 = %02X", reg, value);
    return line;
}

std::string regRead(int reg)
{
    char line[48];
    std::snprintf(line, sizeof line, "C0 E6 %04X 0000 1", reg);
    return line;
}

Lines operator+(Lines a, const Lines& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// The procedures on a port that reads as the case says: replies in turn for each register, then the last.
class ScriptedPort : public sim::BusDevice
{
public:
    using BusDevice::BusDevice;
    platform::Status control(const sim::SetupPacket& setup, std::uint8_t* data) override
    {
        if (refuse && refuse(setup))
            return platform::pipe_stalled;
        if (!setup.isIn())
            return platform::success;
        std::deque<std::uint8_t>& replies = reads[setup.value];
        std::fill_n(data, setup.length, replies.empty() ? std::uint8_t{0} : replies.front());
        if (replies.size() > 1)
            replies.pop_front();
        return platform::success;
    }
    std::map<int, std::deque<std::uint8_t>> reads;
    sim::Matches refuse;
};

class IspPort : public HubTest
{
protected:
    IspPort()
    {
        bus.attach(port);
        HH_Open(nullptr);
        m_uDataLen = 1;
        wire();
    }
    ScriptedPort port{sim::DeviceTraits{0x2E4D, 0x7305, 3}};
};

class ScalerUpdate : public HubTest
{
protected:
    void start(sim::MonitorSetup setup = {})
    {
        monitor.emplace(bus, setup);
        printed([] {
            Init();
            EXPECT_EQ(OpenDevice(0), 1);
        });
        wire();
    }
    std::uint32_t update(Bytes image, std::int8_t userCode = 1, std::uint32_t outReg = 0xFE28,
                         std::uint32_t cfgReg = 0x1038, std::uint8_t blocks = 16)
    {
        progress.clear();
        std::uint32_t result = 0;
        text = printed([&] {
            result = UpdateScalarFw(image.data(), static_cast<std::uint32_t>(image.size()), outReg, cfgReg,
                                    blocks, userCode, collect, &progress);
        });
        return result;
    }
    Bytes flash(std::size_t address, std::size_t length)
    {
        const Bytes& bytes = monitor->scaler().flash().bytes();
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(address);
        return Bytes(first, first + static_cast<std::ptrdiff_t>(length));
    }

    std::optional<sim::VirtualMonitor> monitor;
    std::vector<int> progress;
    std::string text;
};

const std::string started = "Update Scalar function... \n";
const Bytes marker = {0xAA, 0x55};
const Bytes no_marker = {0xFF, 0xFF};

} // namespace

TEST_F(IspPort, EntersIspModeSetsDefaultsAndLiftsProtection)
{
    port.reads = {{0x6F, {0x00, 0x00, 0x80}}, {0xF5, {0xF6}}, {0x60, {0x01, 0x00}}};
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(MP_EnterSPIMode()); }) / 10, 2); // two polls that saw nothing
    EXPECT_EQ(wire(),
              (Lines{regWrite(0x6F, 0x80), regRead(0x6F), regRead(0x6F), regRead(0x6F), regWrite(0xF4, 0x9F),
                     regWrite(0xF5, 0x06), regWrite(0xF4, 0xA0), regWrite(0xF5, 0x74)}));
    EXPECT_EQ(MP_Set_DefaultValue(), platform::success);
    EXPECT_EQ(wire(),
              (Lines{regWrite(0x6A, 0x03), regWrite(0x6B, 0x0B), regWrite(0x6C, 0x00), regWrite(0x62, 0x06),
                     regWrite(0x63, 0x50), regWrite(0xED, 0x88), regWrite(0xEE, 0x04)}));
    const Lines selectCfg = {regWrite(0xF4, 0x9F), regWrite(0xF5, 0x10), regWrite(0xF4, 0x38), regRead(0xF5)};
    const Lines pinOut = {regWrite(0xF4, 0x9F), regWrite(0xF5, 0xFE), regWrite(0xF4, 0x28),
                          regWrite(0xF5, 0x01)};
    EXPECT_EQ(MP_Disable_FlashHWProtect(0xFE28, 0x1038), platform::success);
    EXPECT_EQ(wire(), selectCfg + (Lines{regWrite(0xF4, 0xAB), regWrite(0xF5, 0xF1)}) + pinOut);
    port.refuse = sim::requestIs(0xC0, 0xE6, 0xF5);
    MP_Disable_FlashHWProtect(0xFE28, 0x1038);
    EXPECT_EQ(wire(), selectCfg + pinOut);
    EXPECT_EQ(MP_Disable_FlashSWProtect(), platform::success);
    EXPECT_EQ(wire(), (Lines{regWrite(0x60, 0x68), regWrite(0x61, 0x01), regWrite(0x64, 0x00),
                             regWrite(0x60, 0x69), regRead(0x60), regRead(0x60)}));
}

TEST_F(IspPort, IspModeIsRefusedButNeverOverdue)
{
    port.reads[0x6F] = {0x00};
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(MP_EnterSPIMode()); }) / 100, 50); // 500 polls, 10 ms apart
    EXPECT_EQ(wire().size(), 1U + 500 + 4);
    port.refuse = sim::requestIs(0xC0, 0xE6, 0x6F);
    EXPECT_FALSE(MP_EnterSPIMode());
    EXPECT_EQ(wire(), (Lines{regWrite(0x6F, 0x80), regRead(0x6F)}));
    port.refuse = sim::requestIs(0x40, 0xE6, 0x6F);
    EXPECT_EQ(milliseconds([] { EXPECT_FALSE(MP_EnterSPIMode()); }), 10); // five attempts, 2 ms each
    EXPECT_EQ(wire().size(), 5U);
}

TEST_F(IspPort, ErasesAndChecksBlockByBlock)
{
    port.reads = {{0x60, {0x01, 0x00}}, {0x6F, {0x90, 0x94, 0x90}}, {0x75, {0xDE, 0x00, 0xDE}}};
    EXPECT_TRUE(MP_I2C_BlockErase(16, 1));
    EXPECT_EQ(wire(), (Lines{regWrite(0x64, 0x10), regWrite(0x65, 0x00), regWrite(0x66, 0x00),
                             regWrite(0x60, 0xB8), regWrite(0x61, 0xD8), regWrite(0x60, 0xB9), regRead(0x60),
                             regRead(0x60), regWrite(0x64, 0x10), regWrite(0x65, 0x00), regWrite(0x66, 0x00),
                             regWrite(0x72, 0x10), regWrite(0x73, 0xFF), regWrite(0x74, 0xFF), regRead(0x6F),
                             regWrite(0x6F, 0x94), regRead(0x6F), regRead(0x6F), regRead(0x75)}));

    const auto erased = [&](std::uint16_t first, std::uint16_t count, bool wanted) {
        EXPECT_EQ(MP_I2C_BlockErase(first, count), wanted);
        std::vector<int> blocks;
        for (const auto& record : bus.log().records()) {
            if (record.setup.value == 0x72)
                blocks.push_back(record.data[0]);
        }
        wire();
        return blocks;
    };
    // The first check is bad, the blocks after it are erased all the same; block numbers wrap.
    EXPECT_EQ(erased(250, 10, false), (std::vector<int>{250, 251, 252, 253, 254, 255, 0, 1, 2, 3}));
    EXPECT_EQ(erased(0, 0, true), std::vector<int>{});
    // A block whose end of erase cannot be read is not checked; an unread check result is no good one.
    port.refuse = sim::requestIs(0xC0, 0xE6, 0x60);
    EXPECT_EQ(erased(0, 2, true), std::vector<int>{});
    port.refuse = sim::requestIs(0xC0, 0xE6, 0x75);
    EXPECT_EQ(erased(0, 1, false), std::vector<int>{0});
    port.refuse = nullptr;
    port.reads[0x60] = {0x01};
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(MP_I2C_BlockErase(1, 1)); }) / 100, 50); // overdue is not failed
}

TEST_F(IspPort, WaitComparesAsManyBytesAsConfigured)
{
    EXPECT_TRUE(MP_I2C_Wait(0x6F, 0xFF, 0x80, 9));
    EXPECT_EQ(wire(), Lines{});
    EXPECT_TRUE(MP_I2C_Wait(0x0012006F, 0xFF, 0x80, 25)); // never matches: two attempts
    EXPECT_EQ(wire(), Lines(2, "C0 E6 006F 0012 1"));
    port.reads[0x6F] = {0x80};
    m_uDataLen = 200; // more than the four bytes that are compared
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(MP_I2C_Wait(0x6F, 0xFFFF00FF, 0x80800080, 100)); }), 0);
    EXPECT_EQ(wire(), Lines{"C0 E6 006F 0000 200"});
    port.refuse = sim::requestIs(0xC0, 0xE6);
    EXPECT_FALSE(MP_I2C_Wait(0x6F, 0xFF, 0, 100));
}

TEST_F(IspPort, WritesAChunkInTheSizeOfTheLink)
{
    Bytes data(128, 0x3C);
    port.reads[0x6F] = {0x80, 0x90, 0xB0, 0x90};
    const auto chunk = [](const std::string& access, int readyPolls, int busyPolls) {
        return Lines{regWrite(0x64, 0x12), regWrite(0x65, 0x34), regWrite(0x66, 0x80)} +
               Lines(readyPolls, regRead(0x6F)) +
               Lines{"40 E6 0070 0000 0", "40 F6 9401 " + access + " 0", "40 C6 3480 0012 128",
                     "40 F6 9401 0103 0", regWrite(0x6F, 0xA0)} +
               Lines(busyPolls, regRead(0x6F));
    };
    EXPECT_TRUE(MP_I2C_WriteSerialFlash(0x123480, data.data(), 128, 128));
    EXPECT_EQ(wire(), chunk("8003", 2, 2));
    port.traits.speed = 2;
    EXPECT_TRUE(MP_I2C_WriteSerialFlash(0x123480, data.data(), 128, 128));
    EXPECT_EQ(wire(), chunk("4003", 1, 1));
    port.reads[0x6F] = {0x20}; // never ready, always programming: 500 and 200 polls, and no failure
    EXPECT_TRUE(MP_I2C_WriteSerialFlash(0x123480, data.data(), 128, 128));
    EXPECT_EQ(wire(), chunk("4003", 500, 200));
}

TEST_F(IspPort, AChunkFailsByItsPollsItsSpeedOrItsBlock)
{
    Bytes data(2, 0x3C);
    port.reads[0x6F] = {0x90};
    const auto write = [&] { return MP_I2C_WriteSerialFlash(0, data.data(), 2, 128); };
    port.refuse = sim::requestIs(0x40, 0xC6);
    EXPECT_FALSE(write());
    EXPECT_EQ(wire().back(), "40 F6 9401 0103 0"); // one-byte access is back before the failure is seen
    EXPECT_EQ(m_uDataLen, 1);
    port.refuse = sim::requestIs(0xC0, 0xE6, 0x6F);
    EXPECT_FALSE(write());
    EXPECT_EQ(wire().back(), regRead(0x6F));
    int polls = 0;
    port.refuse = [&](const sim::SetupPacket& setup) { return setup.isIn() && ++polls == 2; };
    EXPECT_FALSE(write());
    EXPECT_EQ(wire().back(), regRead(0x6F));
    port.refuse = [](const sim::SetupPacket& setup) { return setup.request == 0xF6 || setup.value == 0x70; };
    errno = 5;
    EXPECT_EQ(printed([&] { EXPECT_TRUE(write()); }), "Error Code : 5Error Code : 5Error Code : 5");
    port.refuse = nullptr;
    port.troubles.speed = platform::io_error;
    wire();
    EXPECT_FALSE(write());
    EXPECT_EQ(wire().back(), "40 E6 0070 0000 0");
}

TEST_F(IspPort, PreparesAndLeaves)
{
    EXPECT_TRUE(MP_I2C_WriteInitalize(128));
    EXPECT_EQ(wire(), (Lines{regWrite(0x6D, 0x02), regWrite(0x71, 0x7F)}));
    const Lines protect = {regWrite(0x60, 0x68), regWrite(0x61, 0x01), regWrite(0x64, 0xFF),
                           regWrite(0x60, 0x69)};
    EXPECT_TRUE(MP_I2C_Reset());
    EXPECT_EQ(wire(), protect + (Lines{regRead(0x60), regWrite(0xEE, 0x02)}));
    port.reads[0x60] = {0x01};
    EXPECT_TRUE(MP_I2C_Reset());
    EXPECT_EQ(wire(), protect + Lines(200, regRead(0x60)) + Lines{regWrite(0xEE, 0x02)});
    port.refuse = sim::requestIs(0xC0, 0xE6);
    EXPECT_FALSE(MP_I2C_Reset());
    EXPECT_EQ(wire(), protect + Lines{regRead(0x60)});
}

TEST_F(ScalerUpdate, WritesTheImageThenTheMarkerAtBothSpeeds)
{
    for (const bool superSpeed : {true, false}) {
        sim::MonitorSetup setup;
        setup.has_super_speed_face = superSpeed;
        start(setup);
        const Bytes image = userCodeImage(0x10001);
        EXPECT_EQ(update(image), 0U);
        EXPECT_EQ(text, started);
        EXPECT_EQ(flash(0x100000, image.size()), image);
        EXPECT_EQ(flash(0x1FF8FE, 2), marker);
        EXPECT_EQ(progress.size(), 1U + 513 + 1);
        EXPECT_EQ(bus.violations().messages(), Lines{});

        std::vector<std::pair<std::uint32_t, int>> blocks;
        for (const auto& record : bus.log().records()) {
            if (record.setup.request == 0xC6)
                blocks.emplace_back(record.setup.address(), record.setup.length);
        }
        ASSERT_EQ(blocks.size(), 514U);
        EXPECT_EQ(blocks[512], (std::pair<std::uint32_t, int>(0x110000, 1)));
        EXPECT_EQ(blocks[513], (std::pair<std::uint32_t, int>(0x1FF8FE, 2)));
        bus.clock().advance(std::chrono::seconds(8));
        EXPECT_EQ(monitor->display().runningVersion(), (sim::Version{12, 3}));
        CloseDevice();
        monitor.reset();
        g_hub = nullptr;
        wire();
    }
}

TEST_F(ScalerUpdate, AMegabyteCostsRequestsAndNothingElse)
{
    start();
    bus.log().setEnabled(false);
    const Bytes image = userCodeImage(0xFF800);
    EXPECT_EQ(update(image), 0U);
    EXPECT_EQ(flash(0x100000, image.size()), image);
    EXPECT_EQ(bus.violations().count(), 0);
}

TEST_F(ScalerUpdate, LiftsProtectionOnlyByTheModelsOwnRegisters)
{
    struct Case
    {
        sim::Model model;
        std::uint32_t outReg;
        std::uint32_t cfgReg;
        bool lifted;
    };
    const Case cases[] = {
        {sim::Model::qx1320, 0xFE19, 0x1029, true},  {sim::Model::qx1650, 0xFE28, 0x1038, true},
        {sim::Model::qx1655, 0xFE28, 0x1038, true},  {sim::Model::qx1320, 0xFE28, 0x1038, false},
        {sim::Model::qx1650, 0xFE19, 0x1029, false}, {sim::Model::qx1320, 0xFE19, 0x1038, false},
        {sim::Model::qx1650, 0xFE19, 0x1038, false}};
    for (const Case& c : cases) {
        sim::MonitorSetup setup;
        setup.model = c.model;
        start(setup);
        m_uDataLen = 1;
        MP_I2C_SetSlaveAddr(1, 1);
        ASSERT_TRUE(MP_EnterSPIMode());
        EXPECT_TRUE(monitor->scaler().hardwareProtected());
        MP_Set_DefaultValue();
        MP_Disable_FlashHWProtect(c.outReg, c.cfgReg);
        EXPECT_EQ(monitor->scaler().hardwareProtected(), !c.lifted);
        EXPECT_TRUE(monitor->scaler().flash().isProtected());
        MP_Disable_FlashSWProtect();
        EXPECT_EQ(monitor->scaler().flash().isProtected(), !c.lifted);
        CloseDevice();
        monitor.reset();
        g_hub = nullptr;
    }
}

TEST_F(ScalerUpdate, TheEraseRangeDoesNotFollowTheWriteBase)
{
    sim::MonitorSetup setup;
    setup.model = sim::Model::qx1655;
    start(setup);
    const Bytes image = userCodeImage(0x10001);
    const Bytes factory = flash(0, 0x100000);
    EXPECT_EQ(update(image, 1, 0xFE28, 0x1038, 32), 0U);
    EXPECT_EQ(flash(0, 0x100000), factory);
    EXPECT_EQ(flash(0x100000, image.size()), image);
    EXPECT_EQ(flash(0x200000, 0x200000), Bytes(0x200000, 0xFF));
    std::vector<int> blocks;
    for (const auto& record : bus.log().records()) {
        if (record.setup.request == 0xE6 && record.setup.value == 0x72)
            blocks.push_back(record.data[0]);
    }
    EXPECT_EQ(blocks.size(), 32U);
    EXPECT_EQ(blocks.front(), 32);
    EXPECT_EQ(blocks.back(), 63);
}

TEST_F(ScalerUpdate, WithoutUserCodeAnImageGoesToAddressZero)
{
    start();
    Bytes image(300, 0x42);
    EXPECT_EQ(update(image, 0, 0xFE28, 0x1038, 1), 0U);
    EXPECT_EQ(progress, (std::vector<int>{20, 54, 88, 100, 100}));
    EXPECT_EQ(flash(0, 300), image);
    EXPECT_EQ(flash(300, 0x10000 - 300), Bytes(0x10000 - 300, 0xFF));
    EXPECT_EQ(flash(0x1FF8FE, 2), no_marker);

    Bytes again = userCodeImage(0x10001);
    bus.clock().advance(std::chrono::seconds(8));
    printed([&] {
        EXPECT_EQ(UpdateScalarFw(again.data(), 0x10001, 0xFE28, 0x1038, 16, 1, nullptr, nullptr), 0U);
    });
    EXPECT_EQ(flash(0x100000, again.size()), again); // a null callback changes nothing
}

TEST_F(ScalerUpdate, RefusesWhatIsNoUserCodeWithoutARequest)
{
    start();
    const auto refused = [&](const Bytes& image, const std::string& said) {
        EXPECT_EQ(update(image), 41521U);
        EXPECT_EQ(text, started + said);
        EXPECT_EQ(wire(), Lines{});
    };
    refused({}, "Wrong Fw file");
    refused(userCodeImage(0x10000), "");
    for (const std::size_t offset : {0xF8FE, 0xF8FF}) {
        Bytes image = userCodeImage(0x10001);
        image[offset] ^= 0x01;
        refused(image, "");
    }
}

TEST_F(ScalerUpdate, EveryFailureHasItsResultAndLeavesNoMarker)
{
    const Bytes image = userCodeImage(0x10001);
    const auto fails = [&](std::uint32_t result, const std::string& said) {
        EXPECT_EQ(update(image), result);
        EXPECT_EQ(text, started + said);
        EXPECT_EQ(flash(0x1FF8FE, 2), no_marker);
        bus.faults().clear();
        bus.faults().troubles = {};
    };
    start();
    bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0xE6, 0x6F)).forGood());
    fails(41512, "Fail To I2C Initial\n");
    bus.faults().troubles.bad_erase_check = 20;
    fails(41512, "Fail To I2C Initial\n");
    EXPECT_TRUE(monitor->scaler().inIspMode()); // left as it is
    EXPECT_EQ(progress, std::vector<int>{});
    bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0xC6), 3));
    fails(41513, "Fail To I2C WriteSerialFlash\n");
    EXPECT_EQ(progress, (std::vector<int>{20, 20, 20}));
    bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0xC6), 514));
    fails(41519, "Failed to I2C WriteSerialFlash for Scalar UserCode \n");
    bus.faults().unplug(sim::atMatch(sim::requestIs(0x40, 0xC6), 100));
    // The bridge is configured for the block, then the monitor is gone.
    EXPECT_EQ(update(image), 41513U);
    EXPECT_NE(text.find("Fail To I2C WriteSerialFlash\n"), std::string::npos);

    monitor->plugIn();
    printed([] { EXPECT_EQ(OpenDevice(0), 1); });
    EXPECT_EQ(update(image), 0U); // the next run finishes
    EXPECT_EQ(flash(0x100000, image.size()), image);
    EXPECT_EQ(flash(0x1FF8FE, 2), marker);
    EXPECT_EQ(bus.violations().messages(), Lines{});
}

TEST_F(ScalerUpdate, AnOverdueScalerIsNotAFailure)
{
    start();
    bus.faults().troubles.scaler_never_in_isp_mode = true;
    EXPECT_EQ(update(userCodeImage(0x10001)), 41512U); // found by the check of the blocks
    bus.faults().troubles = {};
    bus.violations().clear();
    monitor->powerCycle();
    bus.clock().advance(sim::VirtualMonitor::start_up_time);
    printed([] { OpenDevice(0); });
    bus.faults().troubles.scaler_never_ready = true;
    bus.log().setEnabled(false);
    // Each chunk waits five seconds and goes on; the scaler refuses a block that it is not ready for.
    EXPECT_EQ(update(userCodeImage(0x10001)), 41513U);
}
