// The hub object and the flat functions: which hub is opened, what is printed, what a closed hub refuses.
#include "hub/api/hub_api.h"

#include <deque>

#include "hub/api/hvx_hub.h"
#include "hub_fixture.h"

namespace {

class HubApi : public HubTest
{
protected:
    HubApi()
    {
        printed([] { Init(); });
    }
    /// Plugs one device a letter: a hub at F full, H high or S super speed, or any other device. Their status
    /// block: version 0x8102, SuperSpeed product 0x7305, High-Speed 0x0305.
    void plug(const std::string& kinds)
    {
        for (const char kind : kinds) {
            const auto speed = static_cast<std::uint8_t>(kind == 'S' ? 3 : kind == 'F' ? 1 : 2);
            const std::uint16_t pid = kind == 'S' ? 0x7305 : kind == 'H' || kind == 'F' ? 0x0305 : 0x9999;
            hubs.emplace_back(sim::DeviceTraits{0x2E4D, pid, speed, 0x14100000}).reply = {
                0x2E, 0x4D, 0x73, 0x05, 0x03, 0x05, 0, 0, 0, 0, 0x81, 0x02, 0, 0, 0, 2};
            bus.attach(hubs.back());
        }
    }
    std::deque<Responder> hubs;
};

const std::string usb3_search = "---->CMpFlow::MP_MultiOpenDevice_USB3\n";
const std::string usb2_search = "---->CMpFlow::MP_MultiOpenDevice_USB2\n";

} // namespace

TEST_F(HubApi, OpensSuperSpeedFromAPositionElseUsb2FromTheStart)
{
    struct Search
    {
        const char* devices;
        unsigned start;
        unsigned found;
        const char* usb; ///< null: no hub
        std::string face;
    };
    const Search searches[] = {{"ffSH", 0, 2, "3.0", "SuperSpeed hub vid=0x2e4d,pid=0x7305"},
                               {"fffffF", 7, 5, "2.0", "Unknown speed hub vid=0x2e4d,pid=0x7305"},
                               {"H", 0, 0, "2.0", "HighSpeed hub vid=0x2e4d,pid=0x305"},
                               {"f", 4, 0, nullptr, ""}};
    for (const Search& search : searches) {
        SCOPED_TRACE(search.devices);
        hubs.clear();
        plug(search.devices);
        const bool found = search.usb != nullptr;
        const bool isUsb3 = search.face[0] == 'S';
        std::uint32_t position = search.start;
        EXPECT_EQ(printed([&] { EXPECT_EQ(g_hub->MP_MultiOpenDevice(&position), found); }),
                  format("MP_MultiOpenDevice index=0n%d \n", search.start) + usb3_search +
                      (isUsb3 ? "" : usb2_search) +
                      (found ? format("MP_MultiOpenDevice got usb%s hub , device index=0n%d \n", search.usb,
                                      search.found)
                             : "Failed to find any Halvrex Hub device exist \n"));
        EXPECT_EQ(position, search.found);
        wire();
        EXPECT_EQ(g_hub->isUsb2, isUsb3 ? 0 : 1);
        EXPECT_EQ(printed([&] { EXPECT_EQ(GetfwVersion(), found ? 0xFFFF8102U : 0); }),
                  found ? " Got " + search.face + " \n"
                        : " Device has not been opened before Get Firmware Version Function.");
        EXPECT_EQ(CloseDevice() + CloseDevice(), 2);
        // Locked again before it is let go, once.
        EXPECT_EQ(wire(), found ? (Lines{"C0 09 0000 0000 16", "40 02 0000 2E4D 0"}) : Lines{});
    }
}

TEST_F(HubApi, ASearchFailsOnlyExactlyAtItsBound)
{
    // A hub rejected for its speed leads to the bound, or beyond it, which counts as found.
    const auto searchPast = [this](std::size_t position, bool (*search)()) {
        hubs.clear();
        plug(std::string(position, 'f') + 'H');
        bool found = false;
        printed([&] { found = search(); });
        return found;
    };
    const auto multiOpen = [] {
        std::uint32_t position = 0;
        return g_hub->MP_MultiOpenDevice_USB3(&position);
    };
    EXPECT_FALSE(searchPast(29, multiOpen));
    EXPECT_TRUE(searchPast(30, multiOpen));
    EXPECT_TRUE(searchPast(20, [] { return g_hub->OpenDevice_USB3(); }));
    EXPECT_EQ(g_Dev, nullptr);
    hubs.back().troubles.speed = platform::io_error;
    printed([] { EXPECT_FALSE(g_hub->OpenDevice_USB2()); });
    EXPECT_NE(g_Dev, nullptr); // left open, closed by the next CloseDevice
    CloseDevice();
    EXPECT_EQ(g_Dev, nullptr);
}

TEST_F(HubApi, TheObjectsOwnOpenTakesEitherSpeed)
{
    plug("H");
    EXPECT_EQ(printed([] { EXPECT_TRUE(g_hub->OpenDevice()); }),
              "---->CMpFlow::MP_OpenDevice_USB3\n---->CMpFlow::MP_OpenDevice_USB2\n");
    EXPECT_EQ(g_hub->isOpened, 1);
    CloseDevice();
    plug("S");
    printed([] { EXPECT_TRUE(g_hub->OpenDevice()); });
    EXPECT_EQ(g_hub->isOpened, 0); // the SuperSpeed path does not say so
}

TEST_F(HubApi, CountsOnlyUsb2Faces)
{
    EXPECT_EQ(printed([] { EXPECT_EQ(AvailableDevices(), 0); }),
              usb3_search + usb2_search + "Get Available Devices=0 \n");
    plug("SHH");
    EXPECT_EQ(printed([] { EXPECT_EQ(AvailableDevices(), 2); }),
              usb3_search + usb3_search + usb2_search + usb2_search + usb2_search +
                  "Get Usb3.0 Hub Devices=1 \nGet Available Devices=2 \n");
    EXPECT_EQ(g_Dev, nullptr);
}

TEST_F(HubApi, DescribesTheHubItOpened)
{
    plug("H");
    char text[128] = "";
    int index = 3;
    int isUsb3 = 9;
    const auto describe = [&] {
        int result = -1;
        printed([&] { result = OpenAndGetInfo(text, 0, &index, &isUsb3); });
        return result;
    };
    EXPECT_EQ(describe(), 1);
    EXPECT_STREQ(text, "Hub 3 - USB\\VID_2E4D&PID_0305&Rev_ffff8102 - port 336592896, parent 0");
    EXPECT_EQ(index, 0);
    EXPECT_EQ(isUsb3, 0);
    hubs.back().traits.speed = 3;
    EXPECT_EQ(describe(), 1);
    EXPECT_EQ(isUsb3, 1);
    hubs.back().troubles.location = platform::io_error;
    EXPECT_EQ(describe(), 0);
    hubs.clear();
    index = 2;
    EXPECT_EQ(describe(), 0);
    EXPECT_EQ(index, 0);
}

TEST_F(HubApi, ClosedAndMissingHubsRefuse)
{
    struct Call
    {
        std::function<std::int64_t()> call;
        std::string said;
    };
    std::uint8_t buffer[8] = {};
    const Call calls[] = {
        {[&] { return ReadI2C(0x51, buffer, 8); }, "Read 7305 USB2I2C function ... \n"},
        {[&] { return WriteI2C(0x51, buffer, 8); }, "Write 7305 I2C function... \n"},
        {[&] { return UpdateHubFw(buffer, 8, nullptr, nullptr); }, "Update Hub Firmware function... \n"},
        {[&] { return UpdateScalarFw(buffer, 8, 1, 2, 3, 1, nullptr, nullptr); },
         "Update Scalar function... \n"}};
    const auto refusedSaying = [&](const std::string& why) {
        for (const Call& each : calls)
            EXPECT_EQ(printed([&] { EXPECT_EQ(each.call(), 0); }), each.said + why);
    };
    refusedSaying("     Invalid Handle.");
    EXPECT_EQ(printed([] { EXPECT_EQ(SetBusSpeed(0x6E, 1, 0), 0); }),
              format("SetBusSpeed g_hub= 0x%p, addr=0x6e,Value=0x1,S=0x0 \n", static_cast<void*>(g_hub)) +
                  "     Invalid Handle on set_BusSpeed function .");
    plug("H");
    printed([] { OpenDevice(0); });
    bus.faults().refuse(sim::atMatch(sim::requestIs(0xC0, 0x09)));
    EXPECT_EQ(printed([] { EXPECT_EQ(GetfwVersion(), 0U); }), " Hub GetBasicInfo fail.\n");
    EXPECT_EQ(printed([] { EXPECT_FALSE(Init()); }), " USB2I2C framework has been inited before.");
    EXPECT_EQ(printed([] {
                  Deinit();
                  Deinit();
              }),
              "Deinit USB2I2C framework success.");
    EXPECT_EQ(hubs.back().counters().live_interfaces, 0);
    refusedSaying("");
    EXPECT_EQ(printed([] { EXPECT_EQ(AvailableDevices() + OpenDevice(0) + CloseDevice(), 0); }), "");
    EXPECT_EQ(printed([] { EXPECT_EQ(GetfwVersion(), 0U); }), "");
}
