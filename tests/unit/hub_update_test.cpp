// The whole hub update on the virtual monitor: requests, flash, progress, texts, and what a failure leaves.
#include "hub_fixture.h"

namespace {

constexpr std::size_t image_size = 0x10000;
constexpr std::size_t mark_offset = 0xFEF0;

/// A hub image, version 1.3, with its vendor-config block in the last 256 bytes and a valid mark before it.
Bytes makeImage(std::size_t size = image_size)
{
    Bytes image(size);
    for (std::size_t i = 0; i < size; ++i)
        image[i] = static_cast<std::uint8_t>(i * 7 + (i >> 8));
    for (std::size_t block = size % 256; block < size; block += 256)
        image[block] = 0x11; // no other block may look like vendor config
    if (size > 0x8000) {
        image[0x7EF9] = 1;
        image[0x7EFA] = 3;
    }
    const std::size_t config = size - 256;
    image[config] = 0x55;
    image[config + 1] = 0xAA;
    image[config - 16] = 0x55;
    image[config - 15] = 0xAA;
    return image;
}

void collect(void* context, std::uint8_t percent)
{
    static_cast<std::vector<int>*>(context)->push_back(percent);
}

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
    bool flashHolds(const Bytes& image)
    {
        return std::equal(image.begin(), image.end(), monitor.hub().flash().begin());
    }
    bool flashMarkIs(std::uint8_t a, std::uint8_t b)
    {
        return monitor.hub().flash()[mark_offset] == a && monitor.hub().flash()[mark_offset + 1] == b;
    }

    sim::VirtualMonitor monitor{bus};
    std::vector<int> progress;
    std::string text;
};

const std::string started = "Update Hub Firmware function... \n";
const std::string verified = started + "Write Flash done. \nVerify Flash...\n";
const std::string finished = verified + "Reset to Flash Code...\n";
const sim::Matches write_request = sim::requestIs(0x40, 0xC8);
const sim::Matches read_request = sim::requestIs(0xC0, 0xD8);

} // namespace

TEST_F(HubUpdate, WritesVerifiesMarksAndRestarts)
{
    const Bytes original = makeImage();
    Bytes image = original;
    EXPECT_EQ(update(image), 1);
    EXPECT_EQ(text, finished);
    EXPECT_EQ(image, original);
    EXPECT_TRUE(flashHolds(original));
    EXPECT_TRUE(monitor.hub().runsCode());
    EXPECT_EQ(monitor.hub().runningVersion(), (sim::Version{1, 3}));
    EXPECT_EQ(GetfwVersion(), 0x0103U); // the session is open on the new firmware
    EXPECT_EQ(bus.violations().count(), 0);

    std::vector<int> wanted;
    for (int percent = 10; percent <= 74; percent += 2)
        wanted.push_back(percent);
    wanted.push_back(84);
    EXPECT_EQ(progress, wanted);
}

TEST_F(HubUpdate, SendsTheMarkFirstVoidAndLastValid)
{
    Bytes image = makeImage();
    update(image);
    const auto& records = bus.log().records();
    Lines flashRequests;
    for (const auto& record : records) {
        const auto request = record.setup.request;
        if (request == 0xC8 || request == 0xD8 || request == 0xE8)
            flashRequests.push_back(wireLine(record));
        if (request == 0xC8 && record.setup.length == 2) {
            EXPECT_EQ(record.data, flashRequests.size() == 1 ? (Bytes{0, 0}) : (Bytes{0x55, 0xAA}));
        }
        if (request == 0xC8 && record.setup.value == 0xF000) {
            EXPECT_EQ((Bytes{record.data[0xEF0], record.data[0xEF1]}), (Bytes{0xFF, 0xFF}));
        }
    }
    Lines wanted = {"40 C8 FEF0 0000 2", "40 E8 0000 0000 0"};
    char line[32];
    for (const char* format : {"40 C8 %04X 0000 4096", "C0 D8 %04X 0000 4096"}) {
        for (unsigned offset = 0; offset < image_size; offset += 4096) {
            std::snprintf(line, sizeof line, format, offset);
            wanted.emplace_back(line);
        }
    }
    wanted.push_back("40 C8 FEF0 0000 2");
    EXPECT_EQ(flashRequests, wanted);
    EXPECT_EQ(wireLine(records[records.size() - 2]), "40 E9 0101 0000 0");
}

TEST_F(HubUpdate, TakesAnyLength)
{
    // 4096 + 4096 + 1024 bytes: 10, +17.7 +17.7 +4.4, twice, each cut to a whole number.
    Bytes image = makeImage(0x2400);
    EXPECT_EQ(update(image), 1);
    EXPECT_EQ(progress, (std::vector<int>{10, 27, 44, 48, 65, 82, 86, 96}));
    EXPECT_TRUE(flashHolds(makeImage(0x2400)));

    Bytes empty;
    EXPECT_EQ(update(empty), 1);
    EXPECT_EQ(text, finished);
    EXPECT_EQ(progress, (std::vector<int>{10, 20}));
}

TEST_F(HubUpdate, WritesAnImageWithoutAMarkAsItIs)
{
    Bytes image = makeImage();
    image[mark_offset] = 0x12;
    const Bytes original = image;
    EXPECT_EQ(update(image), 1);
    EXPECT_EQ(image, original);
    EXPECT_TRUE(flashHolds(original));
    EXPECT_FALSE(monitor.hub().runsCode()); // nothing marks it as valid
    for (const auto& record : bus.log().records())
        EXPECT_NE(record.setup.length, 2);
}

TEST_F(HubUpdate, NeedsACallbackAndAHubInRomMode)
{
    Bytes image = makeImage();
    printed([&] { EXPECT_EQ(UpdateHubFw(image.data(), image_size, nullptr, nullptr), 0); });
    EXPECT_EQ(wire(), Lines{});

    const Bytes before = monitor.hub().flash();
    bus.faults().troubles.hub_never_returns = true;
    EXPECT_EQ(update(image), 41511);
    EXPECT_EQ(text,
              started +
                  "Fail To Open Rom Device\nPlease Load Driver firstly\nThen replugin usb hub device\n");
    EXPECT_EQ(monitor.hub().flash(), before);
    EXPECT_EQ(progress, std::vector<int>{});
}

TEST_F(HubUpdate, AFailedEraseEndsIt)
{
    Bytes image = makeImage();
    bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0xE8)).forGood());
    EXPECT_EQ(update(image), 0);
    EXPECT_EQ(text, started + "Fail to Erase Flash\n");
    EXPECT_EQ(progress, std::vector<int>{});
    bus.faults().clear();
}

TEST_F(HubUpdate, AFailedWriteLeavesTheRestErasedAndTheNextRunFinishes)
{
    Bytes image = makeImage();
    // The mark, two pieces, then the piece at 8192.
    bus.faults().refuse(sim::atMatch(write_request, 4), platform::timeout);
    EXPECT_EQ(static_cast<std::uint32_t>(update(image)), platform::timeout);
    EXPECT_EQ(text, started + "Fail to Write Flash\n");
    const Bytes& flash = monitor.hub().flash();
    EXPECT_TRUE(std::equal(flash.begin(), flash.begin() + 8192, image.begin()));
    EXPECT_EQ(Bytes(flash.begin() + 8192, flash.end()), Bytes(flash.size() - 8192, 0xFF));

    monitor.powerCycle();
    bus.clock().advance(std::chrono::seconds(10));
    EXPECT_FALSE(monitor.hub().runsCode());
    printed([] { EXPECT_EQ(OpenDevice(0), 1); });
    EXPECT_EQ(GetfwVersion(), 0x0001U);
    image = makeImage();
    EXPECT_EQ(update(image), 1);
    EXPECT_TRUE(flashHolds(image));
    EXPECT_TRUE(monitor.hub().runsCode());
}

TEST_F(HubUpdate, AReadBackThatFailsOrDiffersLeavesNoMark)
{
    Bytes image = makeImage();
    bus.faults().refuse(sim::atMatch(read_request, 3));
    EXPECT_EQ(update(image), 1);
    EXPECT_EQ(text, started + "Write Flash done. \nFail to Read Flash\n");
    EXPECT_EQ(progress.back(), 46);
    EXPECT_TRUE(flashMarkIs(0xFF, 0xFF));

    image = makeImage();
    bus.faults().flipReply(sim::atMatch(read_request, 16), 4095, {0x01});
    EXPECT_EQ(update(image), 1);
    EXPECT_EQ(text, verified + "Fail to verify flash\n");
    EXPECT_EQ(progress.back(), 74);
    EXPECT_TRUE(flashMarkIs(0xFF, 0xFF));
    EXPECT_FALSE(monitor.hub().runsCode());
}

TEST_F(HubUpdate, AHubThatDoesNotRestartIsSaid)
{
    Bytes image = makeImage();
    bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0xE9)));
    EXPECT_EQ(update(image), 1);
    EXPECT_EQ(text, finished + "Fail to Reset to Flash Code\n");
    EXPECT_EQ(progress.back(), 74);
    EXPECT_TRUE(flashHolds(makeImage()));
}
