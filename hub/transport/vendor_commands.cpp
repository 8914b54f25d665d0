/// The hub's vendor commands; the table is in the header.
#include "hub/transport/vendor_commands.h"

#include "hub/transport/control_pipe.h"
#include "hub/transport/setup_packet.h"

namespace {

enum Command : std::uint8_t {
    command_reset_rom = 0x00,
    command_reset = 0x01,
    command_enable = 0x02,
    command_status = 0x09,
    command_read_mem = 0x0D,
    command_write_mem = 0x0E,
    command_write_flash = 0xC8,
    command_read_flash = 0xD8,
    command_erase_flash = 0xE8,
    command_reset_code = 0xE9
};

} // namespace

platform::Status HH_VdCmdEnable(std::uint16_t enable)
{
    return Proxy_SendVendorCmd(hub::vendor_out, command_enable, enable, kVdCmdKey, 0, nullptr);
}

platform::Status HH_HubResetRom()
{
    return Proxy_SendVendorCmd(hub::vendor_out, command_reset_rom, 0, 0, 0, nullptr);
}

platform::Status HH_HubReset()
{
    return Proxy_SendVendorCmd(hub::vendor_out, command_reset, 0, 0, 0, nullptr);
}

platform::Status HH_HubResetCode(std::uint8_t a, std::uint8_t b)
{
    const auto value = static_cast<std::uint16_t>(a | b << 8);
    return Proxy_SendVendorCmd(hub::vendor_out, command_reset_code, value, 0, 0, nullptr);
}

platform::Status HH_Status(std::uint8_t* buf, std::uint32_t len)
{
    return Proxy_SendVendorCmd(hub::vendor_in, command_status, 0, 0, len, buf);
}

platform::Status HH_ReadMem(std::uint32_t addr, std::uint8_t* buf, std::uint32_t len)
{
    return Proxy_SendVendorCmd(hub::vendor_in, command_read_mem, 0, hub::lowHalf(addr), len, buf);
}

platform::Status HH_WriteMem(std::uint32_t addr, std::uint8_t* buf, std::uint32_t len)
{
    return Proxy_SendVendorCmd(hub::vendor_out, command_write_mem, 0, hub::lowHalf(addr), len, buf);
}

platform::Status HH_ReadFlash(std::uint32_t addr, std::uint8_t* buf, std::uint32_t len)
{
    return Proxy_SendVendorCmd(hub::vendor_in, command_read_flash, hub::lowHalf(addr), hub::highHalf(addr),
                               len, buf);
}

platform::Status HH_WriteFlash(std::uint32_t addr, std::uint8_t* buf, std::uint32_t len)
{
    return Proxy_SendVendorCmd(hub::vendor_out, command_write_flash, hub::lowHalf(addr), hub::highHalf(addr),
                               len, buf);
}

platform::Status HH_EraseFlash(std::uint32_t addr)
{
    return Proxy_SendVendorCmd(hub::vendor_out, command_erase_flash, hub::lowHalf(addr), hub::highHalf(addr),
                               0, nullptr);
}
