/// What the virtual monitor refuses, forgets and reports as violations. The tests of the updates cover what it does
/// when it is used correctly.
#include "hub/firmware/hub_control.h"
#include "hub/i2c/scaler_isp.h"
#include "hub/transport/control_pipe.h"
#include "hub/transport/vendor_commands.h"
#include "recording_fixture.h"

class VirtualMonitor : public RecordingTest
{
protected:
    bool set(std::uint8_t number, std::uint8_t value) { return MP_I2C_Write(number, &value, 1); }
    bool get(std::uint8_t number) { return MP_I2C_Read(number, data, 1); }
    /// The status of bytes put to the data port at 0x1FF800, with this data length through this port.
    bool put(std::uint8_t length = 128, std::uint8_t port = 0x70, std::uint32_t count = 1)
    {
        set(0x64, 0x1F);
        set(0x65, 0xF8);
        set(0x66, 0);
        bus.clock().advance(std::chrono::milliseconds(2));
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
    const Results in_code{HH_WriteFlash(0, data, 1), HH_EraseFlash(0), HH_Status(data, 33)};
    check("code does not program or erase, status has 32 bytes", in_code, "*; = E000404F E000404F E000404F");
    const Results locked{HH_VdCmdEnable(0), HH_Status(data, 16), HH_VdCmdEnable(1), HH_Status(data, 16)};
    check("a locked hub obeys nothing until it is unlocked", locked, "*; = 0 E000404F 0 0");
    HvxFun_OpenRomDevice();
    forget();
    check("ROM has no bridge", MP_I2C_Write(0, data, 1), "...; = 0");
    const Results beyond{HH_WriteFlash(0x3FFFF, data, 2), HH_ReadFlash(0, data, 4097)};
    check("flash has 256 KiB, 4096 bytes are the most", beyond, "*; = E000404F E000404F");
    const Results twice{HH_WriteFlash(0xFEF0, void_mark, 2), HH_WriteFlash(0xFEF0, mark, 2)};
    check("bits stay", twice, "*; = 0 0; violation: hub flash: programmed over cells that are not erased");
    const Results restart{HvxFun_ResetAndWait(CODE_MODE), HvxFun_IsRomCode()};
    check("a hub without a valid mark stays in ROM", restart, "*; = 1 1");
}

TEST_F(VirtualMonitor, GuardsItsScaler)
{
    const auto unprotect = [this](std::uint32_t output, std::uint32_t config) {
        openMonitor();
        MP_I2C_SetSlaveAddr(1, 1);
        MP_I2C_Initial(nullptr, 0, output, config, 0, false);
        MP_I2C_WriteInitalize(128);
        return MP_I2C_BlockErase(0x1F, 1);
    };
    const bool other_output = unprotect(0xFE19, 0x1038), other_config = unprotect(0xFE28, 0x1029);
    const Results opened{other_output, other_config, unprotect(0xFE28, 0x1038)};
    forget();
    check("another model's registers do not unprotect", opened, "= 0 0 1");
    const Results refused{put(64), put(128, 0x71), put(128, 0x70, 129), set(0x6F, 0xA0)};
    check("a link and a page have their length, data their port, and nothing came through", refused,
          R"(...; = 0 0 0 1; violation: bridge: block write to the ISP port with the wrong data length
        violation: scaler: program data while the data port is not selected
        violation: scaler: program data longer than the length register says
        violation: scaler: programming started without data)");
    data[0] = 2;
    put();
    set(0x6F, 0xA0);
    data[0] = 4;
    forget();
    const Results busy{put(), set(0x6F, 0xA0), set(0x6F, 0xA0)};
    check("bits do not come back, and busy is busy", busy, R"(...; = 1 1 1
        violation: scaler flash: programmed over cells that are not erased
        violation: scaler: flash operation while busy)");
    openMonitor();
    MP_I2C_SetSlaveAddr(1, 1);
    forget();
    const Results outside{set(0x64, 5), get(0x64), set(0x60, 0xB9)};
    check("registers and flash need ISP mode", outside, R"(64 <- 05; 64 is 00; 60 <- B9; = 1 1 1
        violation: scaler: flash operation outside ISP mode)");
}
