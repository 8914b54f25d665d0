/// The virtual monitor, judged as a device: what it refuses, forgets and holds against the host. That it also
/// does its work, the updates show.
#include "bench.h"
#include "hub/firmware/hub_control.h"
#include "hub/i2c/scaler_isp.h"
#include "hub/transport/control_pipe.h"
#include "hub/transport/vendor_commands.h"

class VirtualMonitor : public Bench
{
protected:
    bool set(std::uint8_t number, std::uint8_t value) { return MP_I2C_Write(number, &value, 1); }
    bool get(std::uint8_t number) { return MP_I2C_Read(number, data, 1); }
    void wait(int ms)
    {
        bus.clock().advance(std::chrono::milliseconds(ms));
        forget();
    }
    /// A scaler whose last block is erased, if these are the registers of its protection pin.
    bool openFlash(std::uint32_t output, std::uint32_t config)
    {
        openMonitor();
        MP_I2C_SetSlaveAddr(1, 1);
        MP_I2C_Initial(nullptr, 0, output, config, 0, false);
        MP_I2C_WriteInitalize(128);
        const bool blank = MP_I2C_BlockErase(0x1F, 1);
        forget();
        return blank;
    }
    /// Puts bytes to the data port at 0x1FF800, with this data length through this port.
    bool put(std::uint8_t length = 128, std::uint8_t port = 0x70, std::uint32_t count = 1)
    {
        set(0x64, 0x1F);
        set(0x65, 0xF8);
        set(0x66, 0);
        wait(2);
        MP_I2C_SetDataPort(port);
        MP_I2C_SetSlaveAddr(1, length);
        const bool taken = hub::sendBridge(0x40, 0xC6, 0x1FF800, count, data) == platform::success;
        MP_I2C_SetSlaveAddr(1, 1);
        return taken;
    }
};

TEST_F(VirtualMonitor, GuardsItsHub)
{
    std::uint8_t void_mark[] = {0x50, 0x02}, mark[] = {0x55, 0xAA};
    openMonitor();
    check("code does not program", HH_WriteFlash(0, data, 1), "...; = E000404F");
    check("code does not erase", HH_EraseFlash(0), "...; = E000404F");
    check("the status block has 32 bytes", HH_Status(data, 33), "...; = E000404F");
    check("a wrong key does not lock", Proxy_SendVendorCmd(0x40, 2, 0, 0x2E4E, 0, nullptr),
          "...; = E000404F");
    check("a locked hub obeys nothing", Results{HH_VdCmdEnable(0), HH_Status(data, 16)}, "...; = 0 E000404F");
    check("the key unlocks", Results{HH_VdCmdEnable(1), HH_Status(data, 16)}, "...; = 0 0");
    HvxFun_OpenRomDevice();
    forget();
    check("the ROM has ids and a version of its own", HH_Status(data, 12),
          "C0 09 0000 0000 12: 2E 4D 73 00 03 00 00 00 00 00 00 01; = 0");
    check("the ROM has no bridge", MP_I2C_Write(0, data, 1), "...; = 0");
    check("flash ends at 256 KiB", HH_WriteFlash(0x3FFFF, data, 2), "...; = E000404F");
    check("4096 bytes are the most", HH_ReadFlash(0, data, 4097), "...; = E000404F");
    check("bits do not come back",
          Results{HH_WriteFlash(0xFEF0, void_mark, 2), HH_WriteFlash(0xFEF0, mark, 2)},
          "...; = 0 0; violation: hub flash: programmed over cells that are not erased");
    check("a hub without a valid mark stays in ROM",
          Results{HvxFun_ResetAndWait(CODE_MODE), HvxFun_IsRomCode()}, "...; = 1 1");
}

TEST_F(VirtualMonitor, AnswersForItsDisplayInItsOwnTime)
{
    std::uint8_t level[] = {0x82, 1, 0xC9, 0};
    openMonitor();
    check("no slave is there at first", hub::writeBridgeBlock(0x51, level, 4), "...; = 0");
    hub::configureBridge(0x6E, 1, 0);
    check("the display listens at one register", hub::writeBridgeBlock(0x52, level, 4), "...; = 0");
    check("a message is taken", hub::writeBridgeBlock(0x51, level, 4), "...; = 1");
    wait(38);
    check("a reply read too early is null", hub::readBridgeBlock(0x51, data, 3),
          "...; C0 D6 0051 0000 3: 6E 80 BE; = 1; violation: display: reply read too early");
    wait(2);
    check("all bytes and 50 make 0", hub::readBridgeBlock(0x51, data, 11),
          "...; C0 D6 0051 0000 11: 6E 88 02 00 C9 00 FF FF 0B 00 76; = 1");
    check("a reply is read once", hub::readBridgeBlock(0x51, data, 3),
          "...; C0 D6 0051 0000 3: 6E 80 BE; = 1");
}

TEST_F(VirtualMonitor, GuardsItsScaler)
{
    openMonitor();
    MP_I2C_SetSlaveAddr(1, 1);
    forget();
    check("registers need ISP mode", Results{set(0x64, 5), get(0x64)}, "64 <- 05; 64 is 00; = 1 1");
    check("an erase needs ISP mode", set(0x60, 0xB9),
          "...; = 1; violation: scaler: flash operation outside ISP mode");
    check("ISP mode takes its time", Results{set(0x6F, 0x80), get(0x6F)}, "6F <- 80; 6F is 00; = 1 1");
    wait(26);
    check("then it is there", get(0x6F), "6F is 90; = 1");
    hub::configureBridge(0x6E, 1, 0);
    check("ISP mode has no display", hub::writeBridgeBlock(0x51, data, 4), "...; = 0");
    check("another model's output register does not unprotect", openFlash(0xFE19, 0x1038), "= 0");
    check("nor does another model's config register", openFlash(0xFE28, 0x1029), "= 0");
    check("its own do", openFlash(0xFE28, 0x1038), "= 1");
    check("a link has one length", put(64),
          "...; = 0; violation: bridge: block write to the ISP port with the wrong data length");
    check("data go to the port", put(128, 0x71),
          "...; = 0; violation: scaler: program data while the data port is not selected");
    check("a page has its length", put(128, 0x70, 129),
          "...; = 0; violation: scaler: program data longer than the length register says");
    check("nothing came through", set(0x6F, 0xA0),
          "...; violation: scaler: programming started without data");
    data[0] = 2;
    check("a good byte is taken", put(), "...; = 1");
    check("one block at a time", put(),
          "...; = 0; violation: scaler: program data before the data port is ready");
    check("it is programmed", set(0x6F, 0xA0), "6F <- A0; = 1");
    data[0] = 4;
    put();
    check("bits do not come back", set(0x6F, 0xA0),
          "...; violation: scaler flash: programmed over cells that are not erased");
    check("busy is busy", set(0x6F, 0xA0), "...; violation: scaler: flash operation while busy");
    wait(2);
    MP_Disable_FlashHWProtect(0xFE28, 0x1029);
    put();
    check("a protected flash does not listen", set(0x6F, 0xA0), "...; 6F <- A0; = 1");
    MP_I2C_Reset();
    forget();
    check("a scaler that restarts does not answer", get(0x6F), "6F is refused; = 0");
}
