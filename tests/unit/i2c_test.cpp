/// The bridge's requests, and what the scaler's ISP port does beside the whole update (scaler_update_test.cpp),
/// with a scripted scaler that gives each register the values it is told.
#include "hub/i2c/scaler_isp.h"
#include "recording_fixture.h"

using Bridge = RecordingTest;

TEST_F(Bridge, SendsTheseRequests)
{
    std::uint8_t send[] = {0x40, 0xE6, 0x34, 0x12, 0x78, 0x56, 2, 0};
    std::uint8_t receive[] = {0xC0, 0xE6, 0x34, 0x12, 0x78, 0x56, 2, 0};
    const auto carry = [&] {
        const bool packet = HH_CtrlPipeOut(send, data), written = MP_I2C_Write(0x123456, data, 1);
        return Results{packet, written, MP_I2C_Read(0x123456, data, 2), HH_CtrlPipeIn(receive, data)};
    };
    const auto set = [&](std::uint8_t addr, std::uint8_t size) {
        return Results{HH_CtrlPipeNoDataOut(send), MP_I2C_SetDataPort(0x70), MP_I2C_SetSlaveAddr(addr, size)};
    };
    plug("H");
    openHub();
    check("packets and short requests carry data", carry(), R"(40 E6 1234 5678 2: 00 00; 40 E6 3456 0012 1: 00
        C0 E6 3456 0012 2: 2E 4D; C0 E6 1234 5678 2: 2E 4D; = 1 1 1 1)");
    send[6] = 0;
    check("a port is selected by a write of no bytes, the slave is the ISP port", set(1, 128),
          "40 E6 1234 5678 0; select 70; 40 F6 9401 8003 0; = 1 1 1; lengths 1 128");
    bus.faults().refuse(sim::atRequest(1).forGood());
    check("with data a failure is the result", carry(), "...; = 0 0 0 0");
    check("without data errno is printed, and the lengths are kept", set(2, 64), R"(
        40 E6 1234 5678 0 refused; 'Error Code : 11'..; select 70 refused; 'Error Code : 11'..
        40 F6 9402 4003 0 refused; 'Error Code : 11'..; = 1 1 1; lengths 2 64)");
}

TEST_F(Bridge, IsReachedThroughAnOpenHubOnly)
{
    const auto calls = [this] {
        const bool set = object.USB2I2C_ConfigAddr(0x6E, 2, 0xFD);
        const bool written = object.USB2I2C_Write(0x12345678, data, 0x102);
        return Results{set, written, object.USB2I2C_Read(0x12345678, data, -2)};
    };
    plug("H");
    openHub();
    g_hub = &object;
    check("a closed object sends nothing", calls(), "= 0 0 0");
    object.isOpened = 1;
    forget();
    check("three bits of S are mode bits, and a length may be negative", calls(), R"(
        ' --><-- HH_CtlPipeNoDataOut '; 40 F6 6E02 8085 0; 'Open hvx hub device for write success.'
        40 C6 5678 1234 258; 'Open hvx hub device for read success.'; C0 D6 5678 1234 65534, 5 ms; = 1 1 1; busSpeed 2)");
}

class ScalerPort : public RecordingTest
{
protected:
    /// A session with this link, the bridge set to single bytes, and a scaler that does everything at once.
    void openScaler(const char* link)
    {
        plug(link);
        openHub();
        MP_I2C_SetSlaveAddr(1, 1);
        device().reads = {{0x60, {0}}, {0x6F, {0x90}}, {0x75, {0xDE}}, {0xF5, {0xF6}}};
        forget();
    }
    /// What a register reads, one after another; the last stays.
    void reads(int number, std::deque<std::uint8_t> values) { device().reads[number] = std::move(values); }
};

TEST_F(ScalerPort, EntersAndLeavesItsMode)
{
    openScaler("S");
    reads(0x6F, {0x7F, 0x80});
    reads(0x60, {0xFF, 0xFE});
    const Results good{MP_EnterSPIMode(), MP_Set_DefaultValue(), MP_I2C_WriteInitalize(9)};
    check("bit 7 is the mode; good writes are told", good, R"(
        6F <- 80; 6F is 7F, 10 ms; 6F is 80; F4 <- 9F; ...; 6D <- 02; 71 <- 08; = 1 0 1)");
    check("the pin keeps its upper bits, at an index of its own", MP_Disable_FlashHWProtect(0xFE28, 0x1029),
          R"(
        F4 <- 9F; F5 <- 10; F4 <- 29; F5 is F6; F4 <- AB; F5 <- F1; F4 <- 9F; F5 <- FE; F4 <- 28; F5 <- 01; = 0)");
    check("bit 0 is busy", MP_Disable_FlashSWProtect(), "...; 60 is FF, 10 ms; 60 is FE; = 0");
    reads(0x6F, {0});
    reads(0x60, {1});
    const Results overdue{MP_EnterSPIMode(), MP_Disable_FlashSWProtect(), MP_I2C_Reset()};
    check("overdue is not failed", overdue, R"(
        6F <- 80; 6F is 00, 10 ms x 500; F4 <- 9F; F5 <- 06; F4 <- A0; F5 <- 74
        60 <- 68; 61 <- 01; 64 <- 00; 60 <- 69; 60 is 01, 10 ms x 500
        60 <- 68; 61 <- 01; 64 <- FF; 60 <- 69; 60 is 01, 10 ms x 200; EE <- 02; = 1 0 1)");
    refuse(0, 0xC0, 0xE6);
    const Results pin{MP_EnterSPIMode(), MP_Disable_FlashHWProtect(1, 2)};
    check("an unread mode is failed, an unread pin is left", pin, R"(
        6F <- 80; 6F is refused; F4 <- 9F; F5 <- 00; F4 <- 02; F5 is refused; F4 <- 9F; F5 <- 00; F4 <- 01; F5 <- 01; = 0 0)");
    const Results end{MP_Disable_FlashSWProtect(), MP_I2C_Reset()};
    check("an unread status is told, an unread end keeps the mode", end, "*; 60 is refused; = E000404F 0");
    refuse(0, 0x40, 0xE6);
    const Results mode{MP_EnterSPIMode(), MP_I2C_Initial(nullptr, 0, 1, 2, 3, true)};
    check("the mode is asked for five times, and needed", mode, "6F <- 80 refused, 2 ms x 10; = 0 0");
    const Results last{MP_Set_DefaultValue(), MP_Disable_FlashHWProtect(1, 2)};
    check("the last refused write is told", last, "...; = E000404F E000404F");
}

TEST_F(ScalerPort, ErasesAndChecksBlockByBlock)
{
    openScaler("S");
    check("no block, no request", MP_I2C_BlockErase(3, 0), "= 1");
    reads(0x60, {1, 0});
    reads(0x6F, {0x90, 0x94, 0xFB, 0x90});
    check("erase and check are awaited", MP_I2C_BlockErase(0x10, 1), R"(
        64 <- 10; 65 <- 00; 66 <- 00; 60 <- B8; 61 <- D8; 60 <- B9; 60 is 01, 10 ms; 60 is 00
        64 <- 10; 65 <- 00; 66 <- 00; 72 <- 10; 73 <- FF; 74 <- FF
        6F is 90; 6F <- 94; 6F is 94, 10 ms; 6F is FB; 75 is DE; = 1)");
    reads(0x75, {0, 0xDE});
    check("blocks after a bad one are erased, and wrap", MP_I2C_BlockErase(0xFE, 3), R"(
        64 <- FE; ...; 75 is 00, 1 ms; 64 <- FF; ...; 75 is DE; 64 <- 00; ...; 75 is DE; = 0)");
    refuse(1, 0xC0, 0xE6, 0x60);
    check("an erase whose end cannot be read is not checked", MP_I2C_BlockErase(7, 2), R"(
        64 <- 07; ...; 60 is refused; 64 <- 08; ...; 60 is 00; ...; 75 is DE; = 1)");
    refuse(1, 0xC0, 0xE6, 0x75);
    check("an unread check is a bad one", MP_I2C_BlockErase(0, 1), "...; 6F is 90; 75 is refused, 1 ms; = 0");
    reads(0x6F, {4});
    reads(0x60, {1});
    refuse(1, 0xC0, 0xE6, 0x6F);
    check("overdue is not failed", MP_I2C_BlockErase(1, 1), R"(
        ...; 60 is 01, 10 ms x 500; 64 <- 01; ...; 6F is refused; 6F <- 04; 6F is 04, 10 ms x 500; 75 is DE; = 1)");
    openScaler("S");
    const auto erase = [](bool user_code) { return MP_I2C_Initial(nullptr, 0, 1, 2, 2, user_code); };
    check("without user code it starts at 0", erase(false), "...; 72 <- 00; ...; 72 <- 01; ...; = 1");
    check("user code starts at its size", erase(true), "...; 60 is 00; 64 <- 02; ...; 72 <- 03; ...; = 1");
}

TEST_F(ScalerPort, WaitsForARegister)
{
    openScaler("S");
    const Results out{MP_I2C_Wait(0x6F, 0xFF, 0x80, 9), MP_I2C_Wait(0x12006F, 0xFF, 0x80, 29)};
    check("running out is not failed", out, "C0 E6 006F 0012 1: 90, 10 ms x 2; = 1 1");
    refuse(1, 0xC0, 0xE6, 0x6F);
    check("a failed read ends it", MP_I2C_Wait(0x6F, 0xFF, 0, 100), "6F is refused; = 0");
    m_uDataLen = 5;
    forget();
    const Results met{MP_I2C_Wait(1, 0xFFFFFFFF, 0x05734D2E, 100), MP_I2C_Wait(1, 0xFF, 0x2E, 10)};
    check("four of the bytes read count", met, "C0 E6 0001 0000 5: 2E 4D 73 05 03 x 2; = 1 1");
}

TEST_F(ScalerPort, ProgramsAChunk)
{
    const auto chunk = [this] { return MP_I2C_WriteSerialFlash(0x123480, data, 128, 128); };
    openScaler("S");
    reads(0x6F, {0x8F, 0x90, 0xB0, 0xDF});
    check("over SuperSpeed it goes in 128 bytes", chunk(), R"(
        64 <- 12; 65 <- 34; 66 <- 80; 6F is 8F, 10 ms; 6F is 90; select 70; 40 F6 9401 8003 0; 40 C6 3480 0012 128
        40 F6 9401 0103 0; 6F <- A0; 6F is B0, 10 ms; 6F is DF; = 1)");
    openScaler("H");
    reads(0x6F, {0x20});
    check("over High-Speed in 64; overdue is not failed", chunk(), R"(
        64 <- 12; 65 <- 34; 66 <- 80; 6F is 20, 10 ms x 500; select 70; 40 F6 9401 4003 0; 40 C6 3480 0012 128
        40 F6 9401 0103 0; 6F <- A0; 6F is 20, 10 ms x 200; = 1)");
    reads(0x6F, {0x90});
    refuse(1, 0x40, 0xC6, 0x3480);
    check("a refused block sets the bridge back", chunk(), "*; 40 C6 * refused; 40 F6 9401 0103 0; = 0");
    refuse(1, 0xC0, 0xE6, 0x6F);
    check("an unread ready fails", chunk(), "64 <- 12; 65 <- 34; 66 <- 80; 6F is refused; = 0");
    refuse(2, 0xC0, 0xE6, 0x6F);
    check("an unread end fails", chunk(), "...; 6F <- A0; 6F is refused; = 0");
    refuse(1, 0x40, 0xE6, 0x70);
    check("a refused port is shown", chunk(), "*; select 70 refused; 'Error Code : 11'..; *; 6F is 90; = 1");
    device().troubles.speed = platform::io_error;
    check("an unread link speed fails", chunk(), "...; select 70; = 0");
    fresh();
    check("without a session it fails", chunk(), "= 0");
}
