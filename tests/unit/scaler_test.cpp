// The scaler's ISP port and the scaler update: every request of the procedures, their waits, what the flash
// holds afterwards, and each way to fail.
#include "hub/i2c/scaler_isp.h"

#include <cerrno>
#include <deque>
#include <map>
#include <optional>

#include "hub_fixture.h"

namespace {

/// A port that reads as the case says: replies in turn for each register, then the last for good.
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
    /// The requests since the last call: "6F=80" writes a register, "6F?" reads it, "6F?x3" does so three
    /// times; other requests stand whole in brackets.
    std::string accesses()
    {
        std::string text;
        std::string last;
        int times = 0;
        const auto add = [&](const std::string& next) {
            if (next != last && times > 0)
                text += (text.empty() ? "" : " ") + last + (times > 1 ? "x" + std::to_string(times) : "");
            times = next == last ? times + 1 : 1;
            last = next;
        };
        for (const auto& record : bus.log().records()) {
            const sim::SetupPacket& s = record.setup;
            const bool isRegister = s.request == 0xE6 && s.index == 0 && s.length == 1;
            add(!isRegister ? "[" + wireLine(record) + "]"
                : s.isIn()  ? format("%02X?", s.value)
                            : format("%02X=%02X", s.value, record.data[0]));
        }
        add("");
        bus.log().clear();
        return text;
    }
    ScriptedPort port{sim::DeviceTraits{0x2E4D, 0x7305, 3}};
};

const sim::Matches block_write = sim::requestIs(0x40, 0xC6);
const sim::Matches register_read = sim::requestIs(0xC0, 0xE6);
const sim::Matches control_read = sim::requestIs(0xC0, 0xE6, 0x6F);
const sim::Matches control_write = sim::requestIs(0x40, 0xE6, 0x6F);

Bytes userCodeImage(std::size_t size)
{
    Bytes image(size);
    for (std::size_t i = 0; i < size; ++i)
        image[i] = static_cast<std::uint8_t>(i * 13 + (i >> 9));
    const Bytes header = {0xAA, 0x55, 12, 3};
    std::copy(header.begin(), header.end(), image.begin() + 0xF8FE);
    if (size > 0xFF8FF)
        image[0xFF8FE] = image[0xFF8FF] = 0xFF; // the marker has its place there
    return image;
}

class ScalerUpdate : public HubTest
{
protected:
    /// A new monitor, and the library as in a new process.
    void start()
    {
        printed([&] {
            Deinit();
            monitor.reset();
            monitor.emplace(bus);
            Init();
            EXPECT_EQ(OpenDevice(0), 1);
        });
        bus.violations().clear();
        wire();
    }
    std::uint32_t update(Bytes image, std::int8_t userCode = 1, std::uint8_t blocks = 16)
    {
        progress.clear();
        std::uint32_t result = 0;
        text = printed([&] {
            result = UpdateScalarFw(image.data(), static_cast<std::uint32_t>(image.size()), 0xFE28, 0x1038,
                                    blocks, userCode, collect, &progress);
        });
        return result;
    }
    Bytes flash(std::size_t address, std::size_t length)
    {
        const std::uint8_t* bytes = monitor->scaler().flash().bytes().data() + address;
        return Bytes(bytes, bytes + length);
    }
    bool hasMarker() { return flash(0x1FF8FE, 2) == Bytes{0xAA, 0x55}; }

    std::optional<sim::VirtualMonitor> monitor;
    std::string text;
};

const std::string started = "Update Scalar function... \n";

} // namespace

TEST_F(IspPort, EntersIspModeSetsDefaultsAndLiftsProtection)
{
    port.reads = {{0x6F, {0x00, 0x00, 0x80}}, {0xF5, {0xF6}}, {0x60, {0x01, 0x00}}};
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(MP_EnterSPIMode()); }) / 10, 2); // two polls that saw nothing
    EXPECT_EQ(accesses(), "6F=80 6F?x3 F4=9F F5=06 F4=A0 F5=74");
    EXPECT_EQ(MP_Set_DefaultValue(), platform::success);
    EXPECT_EQ(accesses(), "6A=03 6B=0B 6C=00 62=06 63=50 ED=88 EE=04");
    EXPECT_EQ(MP_Disable_FlashHWProtect(0xFE28, 0x1038), platform::success);
    EXPECT_EQ(accesses(), "F4=9F F5=10 F4=38 F5? F4=AB F5=F1 F4=9F F5=FE F4=28 F5=01");
    port.refuse = sim::requestIs(0xC0, 0xE6, 0xF5);
    MP_Disable_FlashHWProtect(0xFE28, 0x1038);
    EXPECT_EQ(accesses(), "F4=9F F5=10 F4=38 F5? F4=9F F5=FE F4=28 F5=01");
    EXPECT_EQ(MP_Disable_FlashSWProtect(), platform::success);
    EXPECT_EQ(accesses(), "60=68 61=01 64=00 60=69 60?x2");
}

TEST_F(IspPort, IspModeIsRefusedButNeverOverdue)
{
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(MP_EnterSPIMode()); }) / 100, 50); // 500 polls, 10 ms apart
    EXPECT_EQ(accesses(), "6F=80 6F?x500 F4=9F F5=06 F4=A0 F5=74");
    port.refuse = control_read;
    EXPECT_FALSE(MP_EnterSPIMode());
    EXPECT_EQ(accesses(), "6F=80 6F?");
    port.refuse = control_write;
    EXPECT_EQ(milliseconds([] { EXPECT_FALSE(MP_EnterSPIMode()); }), 10); // five attempts, 2 ms each
    EXPECT_EQ(accesses(), "6F=80x5");
}

TEST_F(IspPort, ErasesAndChecksBlockByBlock)
{
    port.reads = {{0x60, {0x01, 0x00}}, {0x6F, {0x90, 0x94, 0x90}}, {0x75, {0xDE, 0x00, 0xDE}}};
    EXPECT_TRUE(MP_I2C_BlockErase(16, 1));
    EXPECT_EQ(accesses(), "64=10 65=00 66=00 60=B8 61=D8 60=B9 60?x2 "
                          "64=10 65=00 66=00 72=10 73=FF 74=FF 6F? 6F=94 6F?x2 75?");

    const auto checks = [&](std::uint16_t first, std::uint16_t count, bool wanted) {
        EXPECT_EQ(MP_I2C_BlockErase(first, count), wanted);
        const std::string all = accesses();
        return all.find("72=") == std::string::npos ? "" : all.substr(all.rfind("72="), 5);
    };
    // The first check is bad, the blocks after it are erased all the same; block numbers wrap.
    EXPECT_EQ(checks(250, 10, false), "72=03");
    // A block whose end of erase cannot be read is not checked; an unread check result is no good one.
    port.refuse = sim::requestIs(0xC0, 0xE6, 0x60);
    EXPECT_EQ(checks(0, 2, true), "");
    port.refuse = sim::requestIs(0xC0, 0xE6, 0x75);
    EXPECT_EQ(checks(0, 1, false), "72=00");
    port.refuse = nullptr;
    port.reads[0x60] = {0x01};
    EXPECT_EQ(milliseconds([] { EXPECT_TRUE(MP_I2C_BlockErase(1, 1)); }) / 100, 50); // overdue is not failed
}

TEST_F(IspPort, WaitComparesAsManyBytesAsConfigured)
{
    EXPECT_TRUE(MP_I2C_Wait(0x6F, 0xFF, 0x80, 9));
    EXPECT_TRUE(MP_I2C_Wait(0x0012006F, 0xFF, 0x80, 25)); // never matches: two attempts
    EXPECT_EQ(accesses(), "[C0 E6 006F 0012 1]x2");
    port.reads[0x6F] = {0x80};
    m_uDataLen = 200; // more than the four bytes that are compared
    EXPECT_TRUE(MP_I2C_Wait(0x6F, 0xFFFF00FF, 0x80800080, 100));
    EXPECT_EQ(accesses(), "[C0 E6 006F 0000 200]");
    port.refuse = register_read;
    EXPECT_FALSE(MP_I2C_Wait(0x6F, 0xFF, 0, 100));
}

TEST_F(IspPort, WritesAChunkInTheSizeOfTheLink)
{
    Bytes data(128, 0x3C);
    const auto write = [&] { return MP_I2C_WriteSerialFlash(0x123480, data.data(), 128, 128); };
    const std::string address = "64=12 65=34 66=80";
    const std::string block = " [40 C6 3480 0012 128] [40 F6 9401 0103 0]";
    port.reads[0x6F] = {0x80, 0x90, 0xB0, 0x90};
    EXPECT_TRUE(write());
    EXPECT_EQ(accesses(),
              address + " 6F?x2 [40 E6 0070 0000 0] [40 F6 9401 8003 0]" + block + " 6F=A0 6F?x2");
    port.traits.speed = 2;
    port.reads[0x6F] = {0x20}; // never ready, always programming: 500 and 200 polls, and no failure
    EXPECT_TRUE(write());
    EXPECT_EQ(accesses(),
              address + " 6F?x500 [40 E6 0070 0000 0] [40 F6 9401 4003 0]" + block + " 6F=A0 6F?x200");

    port.reads[0x6F] = {0x90};
    port.refuse = block_write;
    EXPECT_FALSE(write());
    EXPECT_EQ(accesses(), address + " 6F? [40 E6 0070 0000 0] [40 F6 9401 4003 0]" + block);
    port.refuse = control_read;
    EXPECT_FALSE(write());
    EXPECT_EQ(accesses(), address + " 6F?");
    port.refuse = [](const sim::SetupPacket& setup) { return setup.request == 0xF6 || setup.value == 0x70; };
    errno = 5;
    EXPECT_EQ(printed([&] { EXPECT_TRUE(write()); }), "Error Code : 5Error Code : 5Error Code : 5");
    port.refuse = nullptr;
    port.troubles.speed = platform::io_error;
    EXPECT_FALSE(write());
}

TEST_F(IspPort, PreparesAndLeaves)
{
    EXPECT_TRUE(MP_I2C_WriteInitalize(128));
    EXPECT_EQ(accesses(), "6D=02 71=7F");
    port.reads[0x60] = {0x01};
    EXPECT_TRUE(MP_I2C_Reset());
    EXPECT_EQ(accesses(), "60=68 61=01 64=FF 60=69 60?x200 EE=02");
    port.refuse = register_read;
    EXPECT_FALSE(MP_I2C_Reset());
    EXPECT_EQ(accesses(), "60=68 61=01 64=FF 60=69 60?");
}

TEST_F(ScalerUpdate, WithoutUserCodeAnImageGoesToAddressZero)
{
    start();
    Bytes image(300, 0x42);
    EXPECT_EQ(update(image, 0, 1), 0U);
    EXPECT_EQ(progress, (std::vector<int>{20, 54, 88, 100, 100}));
    image.resize(0x10000, 0xFF);
    EXPECT_EQ(flash(0, 0x10000), image);
    EXPECT_FALSE(hasMarker());
}

TEST_F(ScalerUpdate, TheMarkerComesLastAndLiesInsideTheLargestImage)
{
    start();
    Bytes image = userCodeImage(0x100000);
    // A null callback changes nothing.
    printed([&] { UpdateScalarFw(image.data(), 0x100000, 0xFE28, 0x1038, 16, 1, nullptr, nullptr); });
    EXPECT_TRUE(hasMarker());
    image[0xFF8FE] = 0xAA;
    image[0xFF8FF] = 0x55;
    EXPECT_EQ(flash(0x100000, image.size()), image);
    std::vector<std::uint32_t> written;
    for (const auto& record : bus.log().records()) {
        if (record.setup.request == 0xC6)
            written.push_back(record.setup.address());
    }
    ASSERT_EQ(written.size(), 0x2000U + 1);
    EXPECT_EQ(written[0x1FFF], 0x1FFF80U);
    EXPECT_EQ(written[0x2000], 0x1FF8FEU);
    EXPECT_EQ(bus.violations().messages(), Lines{});
}

TEST_F(ScalerUpdate, RefusesWhatIsNoUserCodeWithoutARequest)
{
    start();
    Bytes spoilt[] = {userCodeImage(0x10001), userCodeImage(0x10001)};
    spoilt[0][0xF8FE] ^= 1;
    spoilt[1][0xF8FF] ^= 1;
    for (const Bytes& image : {Bytes{}, userCodeImage(0x10000), spoilt[0], spoilt[1]}) {
        EXPECT_EQ(update(image), 41521U);
        EXPECT_EQ(text, started + (image.empty() ? "Wrong Fw file" : ""));
        EXPECT_EQ(wire(), Lines{});
    }
}

TEST_F(ScalerUpdate, EveryFailureHasItsResultAndLeavesNoMarker)
{
    struct Failure
    {
        std::function<void(sim::Faults&)> arm;
        std::uint32_t result;
        std::string said;
        std::size_t reports;
        bool inIspMode; ///< left as it is
    };
    const Failure failures[] = {
        {[](sim::Faults& on) { on.refuse(sim::atMatch(control_write).forGood()); }, 41512,
         "Fail To I2C Initial\n", 0, false},
        {[](sim::Faults& on) { on.troubles.scaler_never_in_isp_mode = true; }, 41512, "Fail To I2C Initial\n",
         0, false},
        {[](sim::Faults& on) { on.troubles.bad_erase_check = 20; }, 41512, "Fail To I2C Initial\n", 0, true},
        // Overdue is no failure, but the scaler refuses a block that it is not ready for.
        {[](sim::Faults& on) { on.troubles.scaler_never_ready = true; }, 41513,
         "Fail To I2C WriteSerialFlash\n", 1, true},
        {[](sim::Faults& on) { on.refuse(sim::atMatch(block_write, 3)); }, 41513,
         "Fail To I2C WriteSerialFlash\n", 3, true},
        {[](sim::Faults& on) { on.refuse(sim::atMatch(block_write, 514)); }, 41519,
         "Failed to I2C WriteSerialFlash for Scalar UserCode \n", 514, true}};
    const Bytes image = userCodeImage(0x10001);
    for (const Failure& failure : failures) {
        start();
        failure.arm(bus.faults());
        EXPECT_EQ(update(image), failure.result);
        EXPECT_EQ(text, started + failure.said);
        EXPECT_EQ(progress.size(), failure.reports);
        EXPECT_EQ(monitor->scaler().inIspMode(), failure.inIspMode);
        EXPECT_FALSE(hasMarker());
        bus.faults().clear();
        bus.faults().troubles = {};
    }
}
