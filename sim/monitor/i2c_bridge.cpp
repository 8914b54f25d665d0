/// Takes each request to the configured slave.
#include "sim/monitor/i2c_bridge.h"

namespace sim {

namespace {

constexpr std::uint8_t request_configure = 0xF6;
constexpr std::uint8_t request_short = 0xE6;
constexpr std::uint8_t request_block_write = 0xC6;
constexpr std::uint8_t request_block_read = 0xD6;

constexpr std::uint8_t display_slave = 0x6E;
constexpr std::uint8_t display_data_length = 0x80;
constexpr std::uint8_t display_mode = 0x80;
constexpr std::uint8_t display_mode_mask = 0xF8;
constexpr std::uint32_t ddc_host_address = 0x51;

constexpr std::uint8_t scaler_slave = 0x94;
constexpr std::uint8_t scaler_mode = 0x03;
constexpr std::uint8_t register_data_length = 1;
constexpr std::uint8_t super_speed_data_length = 128;
constexpr std::uint8_t high_speed_data_length = 64;
constexpr std::uint32_t last_register = 0xFF;

std::uint8_t highByte(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value >> 8U);
}

std::uint8_t lowByte(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value);
}

} // namespace

I2cBridge::I2cBridge(const Environment& environment, DdcDisplay& display, ScalerIsp& scaler)
    : env_(environment)
    , display_(display)
    , scaler_(scaler)
{
}

platform::Status I2cBridge::control(const SetupPacket& setup, std::uint8_t* data, bool superSpeed)
{
    if (setup.request == request_configure)
        return configure(setup);
    if (setup.request_type != vendor_out && setup.request_type != vendor_in)
        return platform::pipe_stalled;
    bool acknowledged = false;
    if (displaySelected())
        acknowledged = displayTransfer(setup, data);
    else if (scalerSelected() && setup.request == request_short)
        acknowledged = scalerShortTransfer(setup, data);
    else if (scalerSelected() && setup.request == request_block_write)
        acknowledged = scalerBlockWrite(setup, data, superSpeed);
    return acknowledged ? platform::success : platform::pipe_stalled;
}

platform::Status I2cBridge::configure(const SetupPacket& setup)
{
    if (setup.request_type != vendor_out || setup.length != 0)
        return platform::pipe_stalled;
    config_ = {highByte(setup.value), lowByte(setup.value), highByte(setup.index), lowByte(setup.index)};
    return platform::success;
}

bool I2cBridge::displaySelected() const
{
    return config_.slave == display_slave && config_.address_length == 1 &&
           config_.data_length == display_data_length && (config_.mode & display_mode_mask) == display_mode;
}

bool I2cBridge::scalerSelected() const
{
    return config_.slave == scaler_slave && config_.address_length == 1 && config_.mode == scaler_mode;
}

bool I2cBridge::displayTransfer(const SetupPacket& setup, std::uint8_t* data)
{
    if (setup.address() != ddc_host_address || setup.length == 0)
        return false;
    if (setup.request == request_block_write && !setup.isIn())
        return display_.write(data, setup.length);
    return setup.request == request_block_read && setup.isIn() && display_.read(data, setup.length);
}

bool I2cBridge::scalerShortTransfer(const SetupPacket& setup, std::uint8_t* data)
{
    if (config_.data_length != register_data_length || setup.length > register_data_length) {
        env_.violations.add("bridge: short transfer to the ISP port with the wrong data length");
        return false;
    }
    if (!scaler_.answers() || setup.address() > last_register)
        return false;
    const std::uint8_t number = lowByte(setup.value);
    if (setup.length == 0) {
        scaler_.selectRegister(number);
        return !setup.isIn();
    }
    if (setup.isIn())
        *data = scaler_.readRegister(number);
    else
        scaler_.writeRegister(number, *data);
    return true;
}

bool I2cBridge::scalerBlockWrite(const SetupPacket& setup, const std::uint8_t* data, bool superSpeed)
{
    if (config_.data_length != (superSpeed ? super_speed_data_length : high_speed_data_length)) {
        env_.violations.add("bridge: block write to the ISP port with the wrong data length");
        return false;
    }
    return !setup.isIn() && scaler_.answers() && scaler_.writeBlock(setup.address(), data, setup.length);
}

} // namespace sim
