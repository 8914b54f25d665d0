// Discovery, session and control pipe against devices made for the case: hubs, foreign devices, and devices
// that the operating system has trouble with.
#include <deque>
#include <tuple>

#include "hub/transport/control_pipe.h"
#include "hub/transport/hub_ids.h"
#include "hub/transport/vendor_commands.h"
#include "hub_fixture.h"

namespace {

class Transport : public HubTest
{
protected:
    /// One device: H a hub, f a foreign device; a hub p without plug-in, i without interface, x that another
    /// process holds, v whose vendor id and 0 whose product id cannot be read, r that refuses every request.
    Responder& plug(char kind)
    {
        const std::uint16_t vendor = kind == 'f' ? 0x1234 : 0x2E4D;
        Responder& device = devices.emplace_back(sim::DeviceTraits{vendor, 0x7305});
        device.troubles.no_plug_in = kind == 'p';
        device.troubles.no_interface = kind == 'i';
        device.troubles.held_by_other = kind == 'x';
        device.troubles.vendor_id = kind == 'v' ? platform::io_error : platform::success;
        device.troubles.product_id = kind == '0' ? platform::io_error : platform::success;
        device.status = kind == 'r' ? platform::pipe_stalled : platform::success;
        bus.attach(device);
        return device;
    }
    Responder& openHub()
    {
        Responder& hub = plug('H');
        EXPECT_TRUE(HH_Open(nullptr));
        wire();
        return hub;
    }

    std::deque<Responder> devices;
};

} // namespace

TEST(HubIds, AreEightProductsOfOneVendor)
{
    std::vector<int> products;
    for (int id = 0; id <= 0xFFFF; ++id) {
        if (isInVidPidPool(0x2E4D, static_cast<std::uint16_t>(id)))
            products.push_back(id);
    }
    // 0 is the second id that no row has.
    EXPECT_EQ(products,
              (std::vector<int>{0, 0x0300, 0x0301, 0x0304, 0x0305, 0x7300, 0x7301, 0x7304, 0x7305}));
    EXPECT_FALSE(isInVidPidPool(0x2E4C, 0x7300));
    EXPECT_FALSE(isInVidPidPool(0, 0)); // the empty rows are not enabled
    EXPECT_TRUE(isInVidPidPidPool(0x2E4D, 0x7304, 0));
    EXPECT_FALSE(isInVidPidPidPool(0x2E4D, 0x7304, 0x7304));
}

TEST_F(Transport, OpensTheFirstHubFromAPosition)
{
    using Position = std::uint32_t;
    constexpr Position none = 99;
    // Devices; whether there is a hub, and the code that looking leaves; where the search for one begins and
    // ends, and the code that it leaves.
    const std::tuple<std::string, bool, int, Position, Position, int> walks[] = {
        {"", false, 0, 0, none, 5},     {"!", false, 2, 0, none, 2}, // the bus cannot be listed
        {"fffHfffH", true, 0, 0, 3, 0}, {"fffHfffH", true, 0, 4, 7, 0}, {"fffHfffH", true, 0, 8, none, 5},
        {"fp", false, 3, 0, none, 5}, // what yields no interface has no position
        {"fpiH", true, 4, 0, 1, 4},     {"xH", true, 0, 0, none, 5}, // only the first hub is tried
        {"v", false, 0, 0, none, 5}, // an unread id is 0, and 0 is a hub's product id
        {"v0", true, 0, 0, 1, 0},       {"r", true, 0, 0, 0, 0}}; // refused vendor commands are seen later
    for (const auto& [kinds, exists, existsError, start, wanted, openError] : walks) {
        SCOPED_TRACE(kinds);
        devices.clear();
        for (const char kind : kinds)
            plug(kind);
        bus.refuseEnumeration(kinds == "!");
        g_ErrCode = 0;
        EXPECT_EQ(IsExistDevice(), exists);
        EXPECT_EQ(g_ErrCode, existsError);
        g_ErrCode = 0;
        Position position = start;
        const bool found = wanted != none;
        EXPECT_EQ(HH_Open(&position), found);
        EXPECT_EQ(position, found ? wanted : start);
        EXPECT_EQ(g_ErrCode, openError);
        EXPECT_EQ(wire(), found ? Lines{"40 02 0001 2E4D 0"} : Lines{});
        HH_Close();
        HH_Close(); // nothing to close
        for (const Responder& device : devices) {
            EXPECT_EQ(device.counters().opens, device.counters().closes);
            EXPECT_EQ(device.counters().live_interfaces, 0);
        }
    }
}

TEST_F(Transport, SpeedIsThatOfTheOpenHub)
{
    myUSB_DEVICE_SPEED speed = myUSB_SPEED_SUPER;
    EXPECT_EQ(HH_Speed(&speed), 29U);
    Responder& hub = openHub();
    EXPECT_EQ(HH_Speed(nullptr), 4U);
    hub.traits.speed = 0;
    for (const std::uint32_t wanted : {1U, 2U, 3U, 4U, 0U, 0U}) {
        EXPECT_EQ(HH_Speed(&speed), 0U);
        EXPECT_EQ(speed, wanted);
        ++hub.traits.speed;
    }
    speed = myUSB_SPEED_HIGH;
    hub.troubles.speed = platform::io_error;
    EXPECT_EQ(HH_Speed(&speed), platform::io_error);
    EXPECT_EQ(speed, myUSB_SPEED_UNKNOWN);
}

TEST_F(Transport, VendorCommandsOnTheWire)
{
    Responder& hub = openHub();
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
    bus.faults().timeOut(sim::atRequest(1));
    EXPECT_EQ(milliseconds([&] { Proxy_SendVendorCmd2(0xC0, 0x77, 1, 2, 3, data); }) / 1000, 10);
    HH_Close();
    wire();
    EXPECT_EQ(sendAll(), std::vector<platform::Status>(13, 0xE00002F0U));
    EXPECT_EQ(wire(), Lines{});
}

TEST_F(Transport, ASetupPacketWithoutDataTellsItsFailure)
{
    Responder& hub = openHub();
    std::uint8_t packet[] = {0x40, 0xF6, 0x01, 0x6E, 0x80, 0x80, 0x07, 0x09};
    const auto send = [&](bool wanted) {
        return printed([&] { EXPECT_EQ(HH_CtlPipeNoDataOut(packet), wanted); });
    };
    const std::string called = " --><-- HH_CtlPipeNoDataOut \n";
    const std::string failed = called + "HH_CtlPipeNoDataOut failed,ret=";
    const std::string shown = ", packet={0x40,0xf6,0x01,0x6e,0x80,0x80,0x07,0x09}\n";
    EXPECT_EQ(send(true), called);
    EXPECT_EQ(wire(), Lines{"40 F6 6E01 8080 0"}); // whatever its length says
    hub.status = platform::pipe_stalled;
    EXPECT_EQ(send(false), failed + "0xe000404f" + shown);
    HH_Close();
    EXPECT_EQ(send(false), failed + "0xe00002f0" + shown);
}
