// Discovery, session and control pipe against devices made for the case: hubs, foreign devices, and devices
// that the operating system has trouble with.
#include <deque>
#include <set>

#include "hub/transport/control_pipe.h"
#include "hub/transport/hub_ids.h"
#include "hub/transport/vendor_commands.h"
#include "hub_fixture.h"

namespace {

class Transport : public HubTest
{
protected:
    Responder& plug(std::uint16_t vid, std::uint16_t pid)
    {
        Responder& device = devices.emplace_back(sim::DeviceTraits{vid, pid});
        bus.attach(device);
        return device;
    }
    Responder& plugHub() { return plug(0x2E4D, 0x7305); }
    void plugForeign(int count)
    {
        for (int i = 0; i < count; ++i)
            plug(0x1234, 0x7305);
    }
    bool openFrom(std::uint32_t start)
    {
        position = start;
        return HH_Open(&position);
    }

    std::deque<Responder> devices;
    std::uint32_t position = 0;
};

const Lines enabled = {"40 02 0001 2E4D 0"};

} // namespace

TEST(HubIds, AreEightRowsThenNothing)
{
    std::set<std::uint16_t> pids;
    for (std::size_t i = 0; i < g_pidvidCouple.size(); ++i) {
        const PidVidCouple& row = g_pidvidCouple[i];
        EXPECT_EQ(row.enabled, i < 8 ? 1 : 0);
        EXPECT_EQ(row.vid, i < 8 ? 0x2E4D : 0);
        EXPECT_EQ(row.pid2, 0);
        pids.insert(row.pid);
    }
    EXPECT_EQ(pids,
              (std::set<std::uint16_t>{0, 0x0300, 0x0301, 0x0304, 0x0305, 0x7300, 0x7301, 0x7304, 0x7305}));
    EXPECT_TRUE(isInVidPidPool(0x2E4D, 0x0301));
    EXPECT_TRUE(isInVidPidPool(0x2E4D, 0)); // no row has a second id
    EXPECT_FALSE(isInVidPidPool(0x2E4D, 0x7302));
    EXPECT_FALSE(isInVidPidPool(0x2E4C, 0x7300));
    EXPECT_FALSE(isInVidPidPool(0, 0)); // the empty rows are not enabled
    EXPECT_TRUE(isInVidPidPidPool(0x2E4D, 0x7304, 0));
    EXPECT_FALSE(isInVidPidPidPool(0x2E4D, 0, 0x7304));
}

TEST_F(Transport, OpenWalksTheHubsByPosition)
{
    plugForeign(3);
    Responder& first = plugHub();
    plugForeign(3);
    Responder& second = plugHub();
    EXPECT_TRUE(IsExistDevice());
    EXPECT_EQ(wire(), Lines{}); // looking opens nothing

    EXPECT_TRUE(openFrom(0));
    EXPECT_EQ(position, 3U);
    EXPECT_EQ(wire(), enabled);
    HH_Close();
    EXPECT_TRUE(openFrom(4));
    EXPECT_EQ(position, 7U);
    HH_Close();
    HH_Close(); // nothing to close
    EXPECT_TRUE(HH_Open(nullptr));
    EXPECT_TRUE(first.isOpen());
    HH_Close();
    EXPECT_FALSE(openFrom(8));
    EXPECT_EQ(g_ErrCode, 5);
    EXPECT_EQ(g_Dev, nullptr);
    for (const auto& device : devices) {
        EXPECT_EQ(device.counters().opens, device.counters().closes);
        EXPECT_EQ(device.counters().live_interfaces, 0);
    }
    EXPECT_EQ(first.counters().opens + second.counters().opens, 3);
}

TEST_F(Transport, DevicesWithoutAnInterfaceHaveNoPosition)
{
    plugForeign(1);
    plugForeign(1);
    devices[1].troubles.no_plug_in = true;
    EXPECT_FALSE(IsExistDevice());
    EXPECT_EQ(g_ErrCode, 3);
    plugHub().troubles.no_interface = true;
    EXPECT_FALSE(IsExistDevice());
    EXPECT_EQ(g_ErrCode, 4);
    EXPECT_FALSE(openFrom(0));
    EXPECT_EQ(g_ErrCode, 5);
    plugHub();
    EXPECT_TRUE(openFrom(0));
    EXPECT_EQ(position, 1U);
}

TEST_F(Transport, OpenFailsWithACode)
{
    EXPECT_FALSE(openFrom(0)); // an empty bus
    EXPECT_EQ(g_ErrCode, 5);
    bus.refuseEnumeration(true);
    EXPECT_FALSE(openFrom(0));
    EXPECT_EQ(g_ErrCode, 2);
    g_ErrCode = 0;
    EXPECT_FALSE(IsExistDevice());
    EXPECT_EQ(g_ErrCode, 2);
    bus.refuseEnumeration(false);

    plugHub().troubles.held_by_other = true;
    Responder& free = plugHub();
    EXPECT_FALSE(openFrom(0));
    EXPECT_EQ(g_ErrCode, 5);
    EXPECT_EQ(free.counters().opens, 0); // only the first match is tried
    EXPECT_EQ(devices[0].counters().live_interfaces, 0);
}

TEST_F(Transport, UnreadIdsAreZeroAndARefusedEnableIsNoFailure)
{
    plugHub().troubles.vendor_id = platform::io_error;
    EXPECT_FALSE(openFrom(0));
    Responder& hub = plug(0x2E4D, 0x9999);
    hub.troubles.product_id = platform::io_error; // product id 0 of the right vendor
    hub.status = platform::pipe_stalled;
    EXPECT_TRUE(openFrom(0));
    EXPECT_EQ(position, 1U);
}

TEST_F(Transport, SpeedAndLocation)
{
    Responder& hub = plugHub();
    hub.traits.location = 0x14200000;
    myUSB_DEVICE_SPEED speed = myUSB_SPEED_SUPER;
    std::uint32_t location = 1;
    EXPECT_EQ(HH_Speed(&speed), 29U);
    EXPECT_EQ(speed, myUSB_SPEED_SUPER);
    EXPECT_FALSE(HH_GetLocation(&location));

    ASSERT_TRUE(openFrom(0));
    EXPECT_EQ(HH_Speed(nullptr), 4U);
    const myUSB_DEVICE_SPEED wanted[] = {myUSB_SPEED_LOW,   myUSB_SPEED_FULL,    myUSB_SPEED_HIGH,
                                         myUSB_SPEED_SUPER, myUSB_SPEED_UNKNOWN, myUSB_SPEED_UNKNOWN};
    for (std::uint8_t code = 0; code < 6; ++code) {
        hub.traits.speed = code;
        EXPECT_EQ(HH_Speed(&speed), 0U);
        EXPECT_EQ(speed, wanted[code]);
    }
    EXPECT_TRUE(HH_GetLocation(&location));
    EXPECT_EQ(location, 0x14200000U);

    speed = myUSB_SPEED_HIGH;
    hub.troubles.speed = platform::io_error;
    hub.troubles.location = platform::io_error;
    EXPECT_EQ(HH_Speed(&speed), platform::io_error);
    EXPECT_EQ(speed, myUSB_SPEED_UNKNOWN);
    EXPECT_FALSE(HH_GetLocation(&location));
}

TEST_F(Transport, VendorCommandsOnTheWire)
{
    Responder& hub = plugHub();
    ASSERT_TRUE(openFrom(0));
    wire();
    Bytes buffer(0x10010);
    std::uint8_t* const data = buffer.data();
    const auto sendAll = [data] {
        return std::vector<platform::Status>{HH_VdCmdEnable(0),
                                             HH_HubResetRom(),
                                             HH_HubReset(),
                                             HH_HubResetCode(1, 1),
                                             HH_HubResetCode(0x34, 0x12),
                                             HH_Status(data, 32),
                                             HH_ReadMem(0x12345, data, 16),
                                             HH_WriteMem(0x12345, data, 16),
                                             HH_ReadFlash(0x12345, data, 16),
                                             HH_WriteFlash(0xFEDC8000, data, 4096),
                                             HH_EraseFlash(0),
                                             HH_ReadFlash(0, data, 0x10010),
                                             Proxy_SendVendorCmd2(0xC0, 0x77, 1, 2, 3, data)};
    };
    EXPECT_EQ(sendAll(), std::vector<platform::Status>(13, platform::success));
    EXPECT_EQ(wire(),
              (Lines{"40 02 0000 2E4D 0", "40 00 0000 0000 0", "40 01 0000 0000 0", "40 E9 0101 0000 0",
                     "40 E9 1234 0000 0", "C0 09 0000 0000 32", "C0 0D 0000 2345 16", "40 0E 0000 2345 16",
                     "C0 D8 2345 0001 16", "40 C8 8000 FEDC 4096", "40 E8 0000 0000 0", "C0 D8 0000 0000 16",
                     "C0 77 0001 0002 3"}));
    hub.status = platform::timeout;
    EXPECT_EQ(sendAll(), std::vector<platform::Status>(13, platform::timeout));
    HH_Close();
    wire();
    EXPECT_EQ(sendAll(), std::vector<platform::Status>(13, 0xE00002F0U));
    EXPECT_EQ(wire(), Lines{});
}

TEST_F(Transport, SetupPacketsGoOutAsTheyStand)
{
    Responder& hub = plugHub();
    ASSERT_TRUE(openFrom(0));
    wire();
    std::uint8_t in[] = {0xC0, 0xD6, 0x51, 0x00, 0x34, 0x12, 0x04, 0x00};
    std::uint8_t noData[] = {0x40, 0xF6, 0x01, 0x6E, 0x80, 0x80, 0x07, 0x09};
    Bytes data(4);
    EXPECT_TRUE(HH_CtlPipeOut(in, data.data())); // the direction is in the packet
    EXPECT_EQ(data, Bytes(4, 0x5A));
    EXPECT_TRUE(HH_CtlPipeIn(in, data.data()));
    EXPECT_EQ(printed([&] { EXPECT_TRUE(HH_CtlPipeNoDataOut(noData)); }), " --><-- HH_CtlPipeNoDataOut \n");
    EXPECT_EQ(wire(), (Lines{"C0 D6 0051 1234 4", "C0 D6 0051 1234 4", "40 F6 6E01 8080 0"}));

    const auto failing = [&](const char* status) {
        EXPECT_FALSE(HH_CtlPipeOut(in, data.data()));
        EXPECT_FALSE(HH_CtlPipeIn(in, data.data()));
        EXPECT_EQ(printed([&] { EXPECT_FALSE(HH_CtlPipeNoDataOut(noData)); }),
                  std::string(" --><-- HH_CtlPipeNoDataOut \nHH_CtlPipeNoDataOut failed,ret=") + status +
                      ", packet={0x40,0xf6,0x01,0x6e,0x80,0x80,0x07,0x09}\n");
    };
    hub.status = platform::pipe_stalled;
    failing("0xe000404f");
    HH_Close();
    failing("0xe00002f0");
}
