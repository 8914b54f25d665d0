/// Which device is the monitor's hub, the session with it, and every request of the hub's own.
#include "hub/transport/control_pipe.h"
#include "hub/transport/hub_ids.h"
#include "hub/transport/vendor_commands.h"
#include "recording_fixture.h"

using Discovery = RecordingTest;
using Session = RecordingTest;
using VendorCommands = RecordingTest;

TEST(HubIds, AreEightProductsOfOneVendor)
{
    std::vector<int> products; // 0 is the second id that no row has
    for (int id = 0; id <= 0xFFFF; ++id)
        products.insert(products.end(), isInVidPidPool(0x2E4D, static_cast<std::uint16_t>(id)), id);
    EXPECT_EQ(products, (std::vector{0, 0x0300, 0x0301, 0x0304, 0x0305, 0x7300, 0x7301, 0x7304, 0x7305}));
    EXPECT_FALSE(isInVidPidPool(0x2E4C, 0x7300) || isInVidPidPool(0, 0)) << "another vendor, or an empty row";
    EXPECT_TRUE(isInVidPidPidPool(0x2E4D, 0x7304, 0));
    EXPECT_FALSE(isInVidPidPidPool(0x2E4C, 0x7304, 0) || isInVidPidPidPool(0x2E4D, 0x7303, 0) ||
                 isInVidPidPidPool(0x2E4D, 0x7304, 0x7304) || isInVidPidPidPool(0, 0, 0));
}

TEST_F(Discovery, OpensTheFirstHubFromAPositionOn)
{
    const auto search = [this](const char* rule, const char* letters, std::uint32_t position,
                               const char* exists, const std::string& opened) {
        plug(letters);
        check(rule, IsExistDevice(), exists);
        const bool found = HH_Open(&position);
        check(rule, Results{found, position}, (found ? "40 02 0001 2E4D 0; " : "") + opened);
        HH_Close();
        check("closing ends a session", 0, found ? "= 0; no session" : "= 0");
    };
    search("an empty bus has no hub", "", 0, "= 0", "= 0 0; error 5");
    search("the first of two hubs is opened", "fffHfffH", 0, "= 1", "= 1 3; session");
    search("a hub before the position is left aside", "fffHfffH", 4, "= 1", "= 1 7; session");
    search("beyond the last device there is no hub", "fffHfffH", 8, "= 1", "= 0 8; error 5");
    search("the right vendor's other product is no hub", "w", 0, "= 0", "= 0 0; error 5");
    search("another vendor's product is no hub", "m", 0, "= 0", "= 0 0; error 5");
    search("a device without plug-in is error 3 at first", "fp", 0, "= 0; error 3", "= 0 0; error 5");
    search("a device without interface is error 4 at first", "fi", 0, "= 0; error 4", "= 0 0; error 5");
    search("both do not count for the position", "fpiH", 0, "= 1; error 4", "= 1 1; session");
    search("a held hub ends the search, whatever follows", "xH", 0, "= 1", "= 0 0; error 5");
    search("an unread vendor id is no hub's", "v", 0, "= 0", "= 0 0; error 5");
    search("an unread product id is 0, which a hub may have", "v0", 0, "= 1", "= 1 1; session");
    plug("H");
    bus.refuseEnumeration(true);
    check("a bus that cannot be listed is error 2", IsExistDevice(), "= 0; error 2");
    g_ErrCode = 0;
    forget();
    check("for opening, too", HH_Open(nullptr), "= 0; error 2");
}

TEST_F(Session, KnowsSpeedAndLocation)
{
    myUSB_DEVICE_SPEED speed{9};
    std::uint32_t location = 9;
    const auto now = [&] { return Results{HH_Speed(&speed), speed}; };
    check("without a session the speed is result 29 and stays", now(), "= 29 9");
    check("without a session there is no location", HH_GetLocation(&location), "= 0");
    plug("H");
    bus.faults().refuse(sim::atRequest(1));
    check("a hub may refuse its commands", HH_Open(nullptr), "40 02 0001 2E4D 0 refused; = 1; session");
    check("no place for the speed is result 4", HH_Speed(nullptr), "= 4");
    for (std::uint8_t code = 6; code-- > 0;) {
        device().traits.speed = code;
        check("the speed is the system's code + 1", now(), format("= 0 %d", code < 4 ? code + 1 : 0));
    }
    device().troubles.speed = platform::io_error;
    check("a speed that cannot be read is unknown", now(), "= E00002BC 0");
}

TEST_F(VendorCommands, AreTheseRequests)
{
    std::uint8_t send[] = {0x40, 0xE6, 0x34, 0x12, 0x78, 0x56, 2, 0};
    std::uint8_t receive[] = {0xC0, 0xE6, 0x34, 0x12, 0x78, 0x56, 2, 0};
    const auto packets = [&] {
        return Results{HH_CtlPipeIn(receive, data), HH_CtlPipeOut(send, data), HH_CtlPipeOut(receive, data)};
    };
    const auto senders = [&] {
        return Results{Proxy_SendVendorCmd(0xC0, 9, 1, 2, 0x10003, data),
                       Proxy_SendVendorCmd2(0x40, 9, 1, 2, 0x10001, data)};
    };
    plug("H");
    openHub();
    buffer[0] = 0x5A;
    buffer[1] = 0xA5;
    check("the first byte of the mode is the low one", HH_HubResetCode(1, 2), "40 E9 0201 0000 0; = 0");
    check("erasing has an address", HH_EraseFlash(0x12345), "40 E8 2345 0001 0; = 0");
    check("flash is written", HH_WriteFlash(0x12345, data, 2), "40 C8 2345 0001 2: 5A A5; = 0");
    check("memory is written", HH_WriteMem(0x12345, data, 1), "40 0E 0000 2345 1: 5A; = 0");
    check("memory is read", HH_ReadMem(0x12345, data, 2), "C0 0D 0000 2345 2: 2E 4D; = 0");
    check("flash is read", HH_ReadFlash(0x12345, data, 2), "C0 D8 2345 0001 2: 2E 4D; = 0");
    check("lengths have 16 bits", senders(), "C0 09 0001 0002 3: 2E 4D 73; 40 09 0001 0002 1: 2E; = 0 0");
    check("byte 0 of a packet alone tells the direction", packets(),
          "C0 E6 1234 5678 2: 2E 4D; 40 E6 1234 5678 2: 2E 4D; C0 E6 1234 5678 2: 2E 4D; = 1 1 1");
    bus.faults().timeOut(sim::atRequest(1).forGood());
    check("a request waits as long as the system does, a timed one 10 s", senders(), R"(
        C0 09 0001 0002 3 -> E00002D6, 5000 ms; 40 09 0001 0002 1: 2E -> E00002D6, 10000 ms
        = E00002D6 E00002D6)");
    repair();
    bus.faults().refuse(sim::atRequest(1).forGood());
    check("a failure is the result", Results{HH_HubReset(), packets().text}, "...; = E000404F = 0 0 0");
    check("without data a failure is told", HH_CtlPipeNoDataOut(send),
          R"(' --><-- HH_CtlPipeNoDataOut '; 40 E6 1234 5678 0 refused
        'HH_CtlPipeNoDataOut failed,ret=0xe000404f, packet={0x40,0xe6,0x34,0x12,0x78,0x56,0x02,0x00}'; = 0)");
    HH_Close();
    check("without a session nothing is sent", senders(), "= E00002F0 E00002F0; no session");
}
