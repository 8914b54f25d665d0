/// The I2C master inside the hub chip. It is part of the code in flash; the ROM has none.
///
///     bRequest  dir       wValue, wIndex                          data
///     0xF6      out       slave << 8 | register-address length,   -       configures, until the next 0xF6
///                         data length << 8 | mode
///     0xE6      in / out  register address, 32 bits               bytes   short transfer
///     0xC6      out       address, 32 bits                        bytes   block write
///     0xD6      in        address, 32 bits                        bytes   block read
///
/// Behind it are the display (8-bit address 0x6E, register-address length 1, data length 0x80, mode 0x80 plus
/// 0 to 7; blocks at address 0x51) and the scaler's ISP port (0x94, register-address length 1, mode 0x03;
/// data length 1 for short transfers, for block writes 128 from the SuperSpeed face and 64 from the High-Speed
/// face). Any other slave or configuration gets a NACK, which the host sees as a stall. A wrong data length at the
/// ISP port is a violation as well: the real bridge would transfer bytes that nobody asked for.
#pragma once

#include "sim/monitor/ddc_display.h"
#include "sim/monitor/environment.h"
#include "sim/monitor/scaler_isp.h"

#include <cstdint>

namespace sim {

class I2cBridge
{
public:
    I2cBridge(const Environment& environment, DdcDisplay& display, ScalerIsp& scaler);

    platform::Status control(const SetupPacket& setup, std::uint8_t* data, bool superSpeed);
    /// Drops the configuration; the hub does so when it restarts.
    void reset() { config_ = {}; }

private:
    struct Config
    {
        std::uint8_t slave = 0;
        std::uint8_t address_length = 0;
        std::uint8_t data_length = 0;
        std::uint8_t mode = 0;
    };

    platform::Status configure(const SetupPacket& setup);
    bool displaySelected() const;
    bool scalerSelected() const;
    bool displayTransfer(const SetupPacket& setup, std::uint8_t* data);
    bool scalerShortTransfer(const SetupPacket& setup, std::uint8_t* data);
    bool scalerBlockWrite(const SetupPacket& setup, const std::uint8_t* data, bool superSpeed);

    Environment env_;
    DdcDisplay& display_;
    ScalerIsp& scaler_;
    Config config_;
};

} // namespace sim
