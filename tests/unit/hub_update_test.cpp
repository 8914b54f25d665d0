// The whole hub update on the virtual monitor: requests, flash, progress, texts, and what a failure leaves.
#include <map>

#include "hub_fixture.h"
#include "sim/factory_images.h"

namespace {

constexpr unsigned image_size = 0x10000;
constexpr unsigned mark_offset = 0xFEF0;

class HubUpdate : public HubTest
{
protected:
    HubUpdate()
    {
        printed([] {
            Init();
            OpenDevice(0);
        });
        wire();
    }

    /// Runs the update, keeping its text and progress.
    std::int32_t update(Bytes& image)
    {
        progress.clear();
        std::int32_t result = -1;
        text = printed([&] {
            result = UpdateHubFw(image.data(), static_cast<std::uint32_t>(image.size()), collect, &progress);
        });
        return result;
    }
    Bytes flash(unsigned from, std::size_t length)
    {
        const std::uint8_t* bytes = monitor.hub().flash().data() + from;
        return Bytes(bytes, bytes + length);
    }

    sim::VirtualMonitor monitor{bus};
    std::string text;
};

const Bytes original = sim::factoryHubImage({1, 3});
const std::string started = "Update Hub Firmware function... \n";
const std::string verified = started + "Write Flash done. \nVerify Flash...\n";
const std::string finished = verified + "Reset to Flash Code...\n";
const sim::Matches write_request = sim::requestIs(0x40, 0xC8);
const sim::Matches read_request = sim::requestIs(0xC0, 0xD8);

} // namespace

TEST_F(HubUpdate, WritesVerifiesMarksAndRestarts)
{
    Bytes image = original;
    EXPECT_EQ(update(image), 1);
    EXPECT_EQ(text, finished);
    EXPECT_EQ(image, original);
    EXPECT_EQ(flash(0, image_size), original);
    std::vector<int> wanted;
    for (int percent = 10; percent <= 74; percent += 2)
        wanted.push_back(percent);
    wanted.push_back(84);
    EXPECT_EQ(progress, wanted);

    std::vector<Bytes> marks; // as they were sent: by themselves, and in the last piece of the image
    for (const auto& record : bus.log().records()) {
        const std::size_t at = record.setup.length == 2 ? 0 : mark_offset % 4096;
        if (record.setup.request == 0xC8 && record.setup.value + at == mark_offset)
            marks.push_back({record.data[at], record.data[at + 1]});
    }
    EXPECT_EQ(marks, (std::vector<Bytes>{{0, 0}, {0xFF, 0xFF}, {0x55, 0xAA}}));

    const Lines enterRom = {"C0 09 0000 0000 32", "C0 09 0000 0000 32", "40 00 0000 0000 0",
                            "40 02 0001 2E4D 0", "C0 09 0000 0000 32"};
    Lines writes;
    Lines reads;
    for (unsigned offset = 0; offset < image_size; offset += 4096) {
        writes.push_back(format("40 C8 %04X 0000 4096", offset));
        reads.push_back(format("C0 D8 %04X 0000 4096", offset));
    }
    const Lines mark = {"40 C8 FEF0 0000 2"};
    EXPECT_EQ(wire(), enterRom + mark + Lines{"40 E8 0000 0000 0"} + writes + reads + mark +
                          (Lines{"40 E9 0101 0000 0", "40 02 0001 2E4D 0"}));
    printed([] { EXPECT_EQ(GetfwVersion(), 0x0103U); }); // the session is open on the new firmware
    EXPECT_EQ(bus.violations().count(), 0);
}

TEST_F(HubUpdate, TakesAnyLengthWithOrWithoutAMark)
{
    // 10, then a share of 40 for each piece, twice, each cut to a whole number, then 10.
    const std::map<std::size_t, std::vector<int>> lengths = {
        {0, {10, 20}}, {0x1000, {10, 50, 90, 100}}, {0x2400, {10, 27, 44, 48, 65, 82, 86, 96}}};
    for (const auto& [length, wanted] : lengths) {
        Bytes image(length, 0x42);
        EXPECT_EQ(update(image), 1);
        EXPECT_EQ(progress, wanted);
        EXPECT_EQ(flash(0, length), image);
    }
    Bytes unmarked = original;
    unmarked[mark_offset] = 0x12;
    EXPECT_EQ(update(unmarked), 1);
    EXPECT_EQ(flash(0, image_size), unmarked);
    EXPECT_EQ(unmarked[mark_offset], 0x12);
    for (const auto& record : bus.log().records())
        EXPECT_NE(record.setup.length, 2);
    wire();
    printed([&] { EXPECT_EQ(UpdateHubFw(unmarked.data(), image_size, nullptr, nullptr), 0); });
    EXPECT_EQ(wire(), Lines{}); // nothing without a callback
}

TEST_F(HubUpdate, EveryFailureHasItsResultAndTextAndLeavesNoFalseMark)
{
    struct Failure
    {
        std::function<void(sim::Faults&)> arm;
        std::uint32_t result;
        std::string text;
        int percent;           ///< the last one reported, -1 for none
        unsigned written;      ///< bytes of the image that are in flash
        std::uint32_t version; ///< what starts the next time, 0.1 being the ROM
    };
    const Failure failures[] = {
        {[](sim::Faults& on) { on.troubles.hub_never_returns = true; }, 41511,
         started + "Fail To Open Rom Device\nPlease Load Driver firstly\nThen replugin usb hub device\n", -1,
         0, 0x0102},
        {[](sim::Faults& on) { on.refuse(sim::atMatch(sim::requestIs(0x40, 0xE8)).forGood()); }, 0,
         started + "Fail to Erase Flash\n", -1, 0, 0x0001},
        // The mark, two pieces, then the piece at 8192.
        {[](sim::Faults& on) { on.refuse(sim::atMatch(write_request, 4), platform::timeout); },
         platform::timeout, started + "Fail to Write Flash\n", 14, 8192, 0x0001},
        {[](sim::Faults& on) { on.refuse(sim::atMatch(read_request, 3)); }, 1,
         started + "Write Flash done. \nFail to Read Flash\n", 46, mark_offset, 0x0001},
        {[](sim::Faults& on) { on.flipReply(sim::atMatch(read_request, 2), 4095, {0x01}); }, 1,
         verified + "Fail to verify flash\n", 74, mark_offset, 0x0001},
        {[](sim::Faults& on) { on.refuse(sim::atMatch(sim::requestIs(0x40, 0xE9))); }, 1,
         finished + "Fail to Reset to Flash Code\n", 74, image_size, 0x0103}};
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.text);
        Bytes image = original;
        failure.arm(bus.faults());
        EXPECT_EQ(static_cast<std::uint32_t>(update(image)), failure.result);
        EXPECT_EQ(text, failure.text);
        EXPECT_EQ(progress.empty() ? -1 : progress.back(), failure.percent);
        EXPECT_EQ(flash(0, failure.written), Bytes(original.begin(), original.begin() + failure.written));

        bus.faults().clear();
        bus.faults().troubles = {};
        monitor.powerCycle();
        bus.clock().advance(sim::VirtualMonitor::start_up_time);
        printed([&] {
            EXPECT_EQ(OpenDevice(0), 1);
            EXPECT_EQ(GetfwVersion(), failure.version);
        });
    }
}
