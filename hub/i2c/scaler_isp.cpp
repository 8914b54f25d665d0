/// The scaler's ISP port: mode, protection, erase and programming. The register table is in the header.
#include "hub/i2c/scaler_isp.h"

#include "hub/i2c/bridge.h"
#include "hub/platform/clock.h"
#include "hub/transport/control_pipe.h"
#include "hub/transport/session.h"

#include <chrono>

namespace {

using namespace std::chrono_literals;

enum Register : std::uint8_t {
    reg_command = 0x60,
    reg_opcode = 0x61,
    reg_write_enable_opcode = 0x62,
    reg_enable_write_status_opcode = 0x63,
    reg_address_high = 0x64, ///< also the value of a write-status command
    reg_address_mid = 0x65,
    reg_address_low = 0x66,
    reg_read_opcode = 0x6A,
    reg_fast_read_opcode = 0x6B,
    reg_6c = 0x6C,
    reg_program_opcode = 0x6D,
    reg_control = 0x6F,
    reg_data_port = 0x70,
    reg_program_length = 0x71,
    reg_check_end_high = 0x72,
    reg_check_end_mid = 0x73,
    reg_check_end_low = 0x74,
    reg_check_result = 0x75,
    reg_ed = 0xED,
    reg_ee = 0xEE,
    reg_index = 0xF4,
    reg_data = 0xF5
};

constexpr std::uint8_t write_status_prepare = 0x68;
constexpr std::uint8_t write_status_run = 0x69;
constexpr std::uint8_t erase_prepare = 0xB8;
constexpr std::uint8_t erase_run = 0xB9;
constexpr std::uint8_t command_busy = 0x01;

constexpr std::uint8_t opcode_write_status = 0x01;
constexpr std::uint8_t opcode_page_program = 0x02;
constexpr std::uint8_t opcode_read = 0x03;
constexpr std::uint8_t opcode_write_enable = 0x06;
constexpr std::uint8_t opcode_fast_read = 0x0B;
constexpr std::uint8_t opcode_enable_write_status = 0x50;
constexpr std::uint8_t opcode_erase_block = 0xD8;

constexpr std::uint8_t status_unprotected = 0x00;
constexpr std::uint8_t status_protected = 0xFF;

constexpr std::uint8_t control_isp_mode = 0x80;
constexpr std::uint8_t control_start_program = 0xA0;
constexpr std::uint8_t control_programming = 0x20;
constexpr std::uint8_t control_ready = 0x10;
constexpr std::uint8_t control_check = 0x04;

constexpr std::uint8_t check_blank = 0xDE;
constexpr std::uint8_t setup_6c = 0x00;
constexpr std::uint8_t setup_ed = 0x88;
constexpr std::uint8_t ee_programming = 0x04;
constexpr std::uint8_t ee_leave = 0x02;

constexpr std::uint8_t index_page = 0x9F;
constexpr std::uint16_t isp_setup_register = 0x06A0;
constexpr std::uint8_t isp_setup_value = 0x74;
// The pin function is written to this index of cfgReg's page, not to cfgReg's own index.
constexpr std::uint8_t index_pin_function = 0xAB;
constexpr std::uint8_t pin_function_kept = 0xF8;
constexpr std::uint8_t pin_function_output = 0x01;
constexpr std::uint8_t pin_high = 0x01;

constexpr int enter_attempts = 5;
constexpr auto enter_wait = 2ms;
constexpr int long_polls = 500;
constexpr int short_polls = 200;
constexpr auto poll_wait = 10ms;
constexpr auto bad_block_wait = 1ms;

constexpr std::uint8_t block_bytes_super_speed = 128;
constexpr std::uint8_t block_bytes_other = 64;

platform::Status writeRegister(std::uint8_t reg, std::uint8_t value)
{
    return hub::sendBridge(hub::vendor_out, hub::bridge_short_access, reg, 1, &value);
}

platform::Status readRegister(std::uint8_t reg, std::uint8_t* value)
{
    return hub::sendBridge(hub::vendor_in, hub::bridge_short_access, reg, 1, value);
}

/// A poll reads as many bytes as the bridge is configured for and evaluates the first four.
platform::Status pollRead(std::uint32_t reg, std::uint32_t* value)
{
    std::uint8_t bytes[UINT8_MAX] = {};
    const platform::Status status =
        hub::sendBridge(hub::vendor_in, hub::bridge_short_access, reg, m_uDataLen, bytes);
    *value = static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
             static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
    return status;
}

/// Polls `reg` until the bits of `mask` are all as in `wanted`, `polls` times. Returns the status of the last
/// read: running out of polls counts as success, a failed read ends it.
platform::Status poll(std::uint8_t reg, std::uint8_t mask, std::uint8_t wanted, int polls)
{
    platform::Status status = platform::success;
    for (int i = 0; i < polls; ++i) {
        std::uint32_t value = 0;
        status = pollRead(reg, &value);
        if (status != platform::success || (value & mask) == wanted)
            break;
        platform::sleepFor(poll_wait);
    }
    return status;
}

void selectIndirect(std::uint32_t reg)
{
    writeRegister(reg_index, index_page);
    writeRegister(reg_data, static_cast<std::uint8_t>(reg >> 8));
    writeRegister(reg_index, static_cast<std::uint8_t>(reg));
}

platform::Status writeIndirect(std::uint32_t reg, std::uint8_t value)
{
    selectIndirect(reg);
    return writeRegister(reg_data, value);
}

void setAddress(std::uint32_t address)
{
    writeRegister(reg_address_high, static_cast<std::uint8_t>(address >> 16));
    writeRegister(reg_address_mid, static_cast<std::uint8_t>(address >> 8));
    writeRegister(reg_address_low, static_cast<std::uint8_t>(address));
}

void runWriteStatus(std::uint8_t flashStatus)
{
    writeRegister(reg_command, write_status_prepare);
    writeRegister(reg_opcode, opcode_write_status);
    writeRegister(reg_address_high, flashStatus);
    writeRegister(reg_command, write_status_run);
}

void runErase(std::uint8_t block)
{
    setAddress(static_cast<std::uint32_t>(block) << 16);
    writeRegister(reg_command, erase_prepare);
    writeRegister(reg_opcode, opcode_erase_block);
    writeRegister(reg_command, erase_run);
}

/// Has the scaler check one block. If the result cannot be read, `value` still holds the control byte, which is
/// normally not DE, so the block counts as not blank.
bool isBlank(std::uint8_t block)
{
    setAddress(static_cast<std::uint32_t>(block) << 16);
    writeRegister(reg_check_end_high, block);
    writeRegister(reg_check_end_mid, 0xFF);
    writeRegister(reg_check_end_low, 0xFF);
    std::uint8_t value = 0;
    readRegister(reg_control, &value);
    value |= control_check;
    writeRegister(reg_control, value);
    poll(reg_control, control_check, 0, long_polls);
    readRegister(reg_check_result, &value);
    return value == check_blank;
}

/// The data length of the bridge follows the link: 128 bytes over SuperSpeed, 64 below.
bool blockBytesForLink(std::uint8_t* bytes)
{
    std::uint8_t speed = 0;
    if (!g_Dev || g_Dev->speed(&speed) != platform::success)
        return false;
    const bool superSpeed = speed == static_cast<std::uint8_t>(platform::LinkSpeed::super);
    *bytes = superSpeed ? block_bytes_super_speed : block_bytes_other;
    return true;
}

} // namespace

bool MP_I2C_Initial(std::uint8_t* /*data*/, std::uint32_t /*len*/, std::uint32_t outReg, std::uint32_t cfgReg,
                    std::uint8_t blocks, bool userCode)
{
    if (!MP_EnterSPIMode())
        return false;
    MP_Set_DefaultValue();
    MP_Disable_FlashHWProtect(outReg, cfgReg);
    MP_Disable_FlashSWProtect();
    return MP_I2C_BlockErase(userCode ? blocks : 0, blocks);
}

bool MP_EnterSPIMode()
{
    int attempt = 0;
    while (writeRegister(reg_control, control_isp_mode) != platform::success) {
        platform::sleepFor(enter_wait);
        if (++attempt == enter_attempts)
            return false;
    }
    if (poll(reg_control, control_isp_mode, control_isp_mode, long_polls) != platform::success)
        return false;
    writeIndirect(isp_setup_register, isp_setup_value);
    return true;
}

platform::Status MP_Set_DefaultValue()
{
    writeRegister(reg_read_opcode, opcode_read);
    writeRegister(reg_fast_read_opcode, opcode_fast_read);
    writeRegister(reg_6c, setup_6c);
    writeRegister(reg_write_enable_opcode, opcode_write_enable);
    writeRegister(reg_enable_write_status_opcode, opcode_enable_write_status);
    writeRegister(reg_ed, setup_ed);
    return writeRegister(reg_ee, ee_programming);
}

platform::Status MP_Disable_FlashHWProtect(std::uint32_t outReg, std::uint32_t cfgReg)
{
    selectIndirect(cfgReg);
    std::uint8_t function = 0;
    if (readRegister(reg_data, &function) == platform::success) {
        writeRegister(reg_index, index_pin_function);
        writeRegister(reg_data,
                      static_cast<std::uint8_t>((function & pin_function_kept) | pin_function_output));
    }
    return writeIndirect(outReg, pin_high);
}

platform::Status MP_Disable_FlashSWProtect()
{
    runWriteStatus(status_unprotected);
    return poll(reg_command, command_busy, 0, long_polls);
}

bool MP_I2C_BlockErase(std::uint16_t first, std::uint16_t count)
{
    bool allBlank = true;
    for (std::uint16_t i = 0; i != count; ++i) {
        const auto block = static_cast<std::uint8_t>(first + i);
        runErase(block);
        if (poll(reg_command, command_busy, 0, long_polls) != platform::success)
            continue;
        if (!isBlank(block)) {
            platform::sleepFor(bad_block_wait);
            allBlank = false;
        }
    }
    return allBlank;
}

bool MP_I2C_Wait(std::uint32_t reg, std::uint32_t mask, std::uint32_t value, std::uint32_t timeoutMs)
{
    for (auto polls = std::chrono::milliseconds(timeoutMs) / poll_wait; polls > 0; --polls) {
        std::uint32_t local = 0;
        if (pollRead(reg, &local) != platform::success)
            return false;
        if ((local & mask) == value)
            return true;
        platform::sleepFor(poll_wait);
    }
    return true;
}

bool MP_I2C_WriteInitalize(std::uint16_t size)
{
    writeRegister(reg_program_opcode, opcode_page_program);
    writeRegister(reg_program_length, static_cast<std::uint8_t>(size - 1));
    return true;
}

bool MP_I2C_Reset()
{
    runWriteStatus(status_protected);
    if (poll(reg_command, command_busy, 0, short_polls) != platform::success)
        return false;
    writeRegister(reg_ee, ee_leave);
    return true;
}

bool MP_I2C_WriteSerialFlash(std::uint32_t addr, std::uint8_t* data, std::uint32_t len,
                             std::uint32_t /*pageSize*/)
{
    setAddress(addr);
    if (poll(reg_control, control_ready, control_ready, long_polls) != platform::success)
        return false;
    MP_I2C_SetDataPort(reg_data_port);
    std::uint8_t blockBytes = 0;
    if (!blockBytesForLink(&blockBytes))
        return false;
    MP_I2C_SetSlaveAddr(1, blockBytes);
    const platform::Status written =
        hub::sendBridge(hub::vendor_out, hub::bridge_block_write, addr, len, data);
    // Back to one byte before the status is checked: every later poll depends on it.
    MP_I2C_SetSlaveAddr(1, 1);
    if (written != platform::success)
        return false;
    writeRegister(reg_control, control_start_program);
    return poll(reg_control, control_programming, 0, short_polls) == platform::success;
}
