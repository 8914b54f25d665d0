// The hub object and the flat functions: which hub is opened, what is printed, what a closed hub refuses.
#include "hub/api/hub_api.h"

#include <deque>

#include "hub/api/hvx_hub.h"
#include "hub_fixture.h"

namespace {

/// A hub as far as the status block goes: version 0x8102, SuperSpeed product 0x7305, High-Speed 0x0305.
class StatusHub : public sim::BusDevice
{
public:
    using BusDevice::BusDevice;
    platform::Status control(const sim::SetupPacket& setup, std::uint8_t* data) override
    {
        if (setup.request == 0x02)
            return platform::success;
        const Bytes block = {0x2E, 0x4D, 0x73, 0x05, 0x03, 0x05, 0, 0, 0, 0, 0x81, 0x02, 0, 0, 0, 2};
        if (setup.request != 0x09 || setup.length > block.size())
            return platform::pipe_stalled;
        std::copy_n(block.begin(), setup.length, data);
        return platform::success;
    }
};

class HubApi : public HubTest
{
protected:
    HubApi()
    {
        printed([] { Init(); });
    }
    StatusHub& plug(std::uint8_t speed, std::uint16_t pid = 0x7305)
    {
        StatusHub& hub = hubs.emplace_back(sim::DeviceTraits{0x2E4D, pid, speed, 0x14100000});
        bus.attach(hub);
        return hub;
    }
    void plugForeign(int count)
    {
        for (int i = 0; i < count; ++i)
            plug(2, 0x9999);
    }
    std::deque<StatusHub> hubs;
};

constexpr std::uint8_t full = 1;
constexpr std::uint8_t high = 2;
constexpr std::uint8_t super_speed = 3;
const std::string usb3_search = "---->CMpFlow::MP_MultiOpenDevice_USB3\n";
const std::string usb2_search = "---->CMpFlow::MP_MultiOpenDevice_USB2\n";

} // namespace

TEST_F(HubApi, BothFacesOfOneHubOpenAtSuperSpeed)
{
    plugForeign(2);
    plug(super_speed);
    StatusHub& highFace = plug(high, 0x0305);
    std::uint32_t position = 0;
    EXPECT_EQ(printed([&] { EXPECT_TRUE(g_hub->MP_MultiOpenDevice(&position)); }),
              "MP_MultiOpenDevice index=0n0 \n" + usb3_search +
                  "MP_MultiOpenDevice got usb3.0 hub , device index=0n2 \n");
    EXPECT_EQ(position, 2U);
    EXPECT_EQ(g_hub->isUsb2, 0);
    EXPECT_EQ(g_hub->isOpened, 1);
    EXPECT_EQ(highFace.counters().opens, 0);

    short vid = 0;
    short pid = 0;
    short version = 0;
    std::uint32_t version32 = 0;
    EXPECT_EQ(printed([&] { EXPECT_TRUE(g_hub->GetBasicInfo(vid, pid, version, version32)); }),
              " Got SuperSpeed hub vid=0x2e4d,pid=0x7305 \n");
    EXPECT_EQ(version, static_cast<short>(0x8102));
    EXPECT_EQ(version32, 0xFFFF8102U);
    myUSB_DEVICE_SPEED speed{};
    EXPECT_TRUE(g_hub->GetSpeed(&speed));
    EXPECT_EQ(speed, myUSB_SPEED_SUPER);

    wire();
    EXPECT_EQ(CloseDevice(), 1);
    EXPECT_EQ(wire(), Lines{"40 02 0000 2E4D 0"}); // locked again before it is let go
    EXPECT_EQ(CloseDevice(), 1);
    EXPECT_EQ(wire(), Lines{});
}

TEST_F(HubApi, TheUsb2SearchStartsAtZero)
{
    plugForeign(5);
    plug(full, 0x0305);
    std::uint32_t position = 7;
    EXPECT_EQ(printed([&] { EXPECT_TRUE(g_hub->MP_MultiOpenDevice(&position)); }),
              "MP_MultiOpenDevice index=0n7 \n" + usb3_search + usb2_search +
                  "MP_MultiOpenDevice got usb2.0 hub , device index=0n5 \n");
    EXPECT_EQ(position, 5U);
    EXPECT_EQ(g_hub->isUsb2, 1);
    EXPECT_EQ(printed([] { EXPECT_EQ(GetfwVersion(), 0xFFFF8102U); }),
              " Got Unknown speed hub vid=0x2e4d,pid=0x7305 \n");
    hubs.back().traits.speed = high;
    EXPECT_EQ(printed([] { GetfwVersion(); }), " Got HighSpeed hub vid=0x2e4d,pid=0x305 \n");
    // Not this object's business any more once it is closed.
    CloseDevice();
    std::uint32_t location = 0;
    EXPECT_FALSE(g_hub->GetLocation(&location));
}

TEST_F(HubApi, NoHubIsSaid)
{
    std::uint32_t position = 4;
    EXPECT_EQ(printed([&] { EXPECT_FALSE(g_hub->MP_MultiOpenDevice(&position)); }),
              "MP_MultiOpenDevice index=0n4 \n" + usb3_search + usb2_search +
                  "Failed to find any Halvrex Hub device exist \n");
    EXPECT_EQ(position, 0U);
    EXPECT_EQ(g_hub->isUsb2, 1);
    EXPECT_EQ(g_hub->isOpened, 0);
    EXPECT_EQ(printed([] { EXPECT_EQ(AvailableDevices(), 0); }),
              usb3_search + usb2_search + "Get Available Devices=0 \n");
}

TEST_F(HubApi, ASearchFailsOnlyExactlyAtItsBound)
{
    plugForeign(29);
    plug(high); // position 29: rejected for its speed, the next one would be the bound
    std::uint32_t position = 0;
    printed([&] { EXPECT_FALSE(g_hub->MP_MultiOpenDevice_USB3(&position)); });
    EXPECT_EQ(position, 30U);
    EXPECT_EQ(g_Dev, nullptr);
    hubs.back().traits.product_id = 0x9999;
    plug(high); // position 30: rejected beyond the bound, which counts as found
    position = 0;
    printed([&] { EXPECT_TRUE(g_hub->MP_MultiOpenDevice_USB3(&position)); });
    EXPECT_EQ(position, 31U);
    EXPECT_EQ(g_Dev, nullptr);
    printed([] { EXPECT_TRUE(g_hub->OpenDevice_USB3()); }); // bound 20, also passed
    hubs.back().troubles.speed = platform::io_error;
    printed([] { EXPECT_FALSE(g_hub->OpenDevice_USB2()); });
    EXPECT_NE(g_Dev, nullptr); // left open, closed by the next CloseDevice
    CloseDevice();
    EXPECT_EQ(g_Dev, nullptr);
}

TEST_F(HubApi, TheObjectsOwnOpenTakesEitherSpeed)
{
    plug(high, 0x0305);
    EXPECT_EQ(printed([] { EXPECT_TRUE(g_hub->OpenDevice()); }),
              "---->CMpFlow::MP_OpenDevice_USB3\n---->CMpFlow::MP_OpenDevice_USB2\n");
    EXPECT_EQ(g_hub->isOpened, 1);
    CloseDevice();
    plug(super_speed);
    printed([] { EXPECT_TRUE(g_hub->OpenDevice()); });
    EXPECT_EQ(g_hub->isOpened, 0); // the SuperSpeed path does not say so
    EXPECT_NE(g_Dev, nullptr);
}

TEST_F(HubApi, CountsOnlyUsb2Faces)
{
    plug(super_speed);
    EXPECT_EQ(printed([] { EXPECT_EQ(AvailableDevices(), 0); }),
              usb3_search + usb3_search + usb2_search +
                  "Get Usb3.0 Hub Devices=1 \nGet Available Devices=0 \n");
    plug(high);
    plug(high);
    EXPECT_EQ(printed([] { EXPECT_EQ(AvailableDevices(), 2); }),
              usb3_search + usb3_search + usb2_search + usb2_search + usb2_search +
                  "Get Usb3.0 Hub Devices=1 \nGet Available Devices=2 \n");
    EXPECT_EQ(g_Dev, nullptr);
}

TEST_F(HubApi, DescribesTheHubItOpened)
{
    StatusHub& hub = plug(high, 0x0305);
    char text[128] = "";
    int index = 3;
    int isUsb3 = 9;
    printed([&] { EXPECT_EQ(OpenAndGetInfo(text, 0, &index, &isUsb3), 1); });
    EXPECT_STREQ(text, "Hub 3 - USB\\VID_2E4D&PID_0305&Rev_ffff8102 - port 336592896, parent 0");
    EXPECT_EQ(index, 0);
    EXPECT_EQ(isUsb3, 0);
    hub.traits.speed = super_speed;
    printed([&] { EXPECT_EQ(OpenAndGetInfo(text, 0, &index, &isUsb3), 1); });
    EXPECT_EQ(isUsb3, 1);
    hub.troubles.location = platform::io_error;
    printed([&] { EXPECT_EQ(OpenAndGetInfo(text, 0, &index, &isUsb3), 0); });
    bus.detach(hub);
    index = 2;
    printed([&] { EXPECT_EQ(OpenAndGetInfo(text, 0, &index, &isUsb3), 0); });
    EXPECT_EQ(index, 0);
}

TEST_F(HubApi, ClosedAndMissingHubsRefuse)
{
    std::uint8_t buffer[8] = {};
    EXPECT_EQ(printed([] { EXPECT_EQ(GetfwVersion(), 0U); }),
              " Device has not been opened before Get Firmware Version Function.");
    EXPECT_EQ(printed([&] { EXPECT_EQ(ReadI2C(0x51, buffer, 8), 0); }),
              "Read 7305 USB2I2C function ... \n     Invalid Handle.");
    EXPECT_EQ(printed([&] { EXPECT_EQ(WriteI2C(0x51, buffer, 8), 0); }),
              "Write 7305 I2C function... \n     Invalid Handle.");
    EXPECT_EQ(printed([&] { EXPECT_EQ(UpdateHubFw(buffer, 8, nullptr, nullptr), 0); }),
              "Update Hub Firmware function... \n     Invalid Handle.");
    EXPECT_EQ(printed([&] { EXPECT_EQ(UpdateScalarFw(buffer, 8, 1, 2, 3, 1, nullptr, nullptr), 0U); }),
              "Update Scalar function... \n     Invalid Handle.");
    char trace[96];
    std::snprintf(trace, sizeof trace, "SetBusSpeed g_hub= 0x%p, addr=0x6e,Value=0x1,S=0x0 \n",
                  static_cast<void*>(g_hub));
    EXPECT_EQ(printed([] { EXPECT_EQ(SetBusSpeed(0x6E, 1, 0), 0); }),
              std::string(trace) + "     Invalid Handle on set_BusSpeed function .");
    StatusHub& hub = plug(high);
    printed([] { EXPECT_EQ(OpenDevice(0), 1); });
    bus.faults().refuse(sim::atMatch(sim::requestIs(0xC0, 0x09)));
    EXPECT_EQ(printed([] { EXPECT_EQ(GetfwVersion(), 0U); }), " Hub GetBasicInfo fail.\n");
    EXPECT_EQ(hub.counters().live_interfaces, 1);

    EXPECT_EQ(printed([] { EXPECT_FALSE(Init()); }), " USB2I2C framework has been inited before.");
    EXPECT_EQ(printed([] {
                  Deinit();
                  Deinit();
              }),
              "Deinit USB2I2C framework success.");
    EXPECT_EQ(hub.counters().live_interfaces, 0);
    EXPECT_EQ(printed([] {
                  EXPECT_EQ(AvailableDevices() + OpenDevice(0) + CloseDevice(), 0);
                  EXPECT_EQ(GetfwVersion(), 0U);
              }),
              "");
    EXPECT_EQ(printed([&] { EXPECT_EQ(ReadI2C(0x51, buffer, 8), 0); }), "Read 7305 USB2I2C function ... \n");
}
