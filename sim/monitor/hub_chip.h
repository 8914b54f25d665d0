/// The hub chip as its vendor requests show it: boot ROM and flash code, vendor-command lock, status block, resets,
/// memory and SPI flash. On the bus it is one USB device or two, its faces.
///
///     bRequest  dir  wValue, wIndex           data          what the chip does
///     0x02      out  1 or 0, key 0x2E4D       -             unlocks or locks all others, on both faces
///     0x00      out  -                        -             restarts into the boot ROM
///     0x01      out  -                        -             restarts
///     0xE9      out  0x0101, 0                -             restarts into the flash code
///     0x09      in   0, 0                     1 to 32       the first bytes of the status block
///     0x0D 0x0E in / out  0, address          1 to 4096     chip memory
///     0xD8      in   address low, high        1 to 4096     reads the flash
///     0xC8      out  address low, high        1 to 4096     programs the flash; only in ROM
///     0xE8      out  0, 0                     -             erases the flash; only in ROM
///     0xC6 0xD6 0xE6 0xF6                                   I2C bridge; only in code (i2c_bridge.h)
///
/// The chip stalls anything else, a length or direction that is not in this table, and while it is locked every
/// request but 0x02. Each restart locks it and takes both faces off the bus at once; they come back together as new
/// devices, after 2.5 s with the ROM, after 3 s with the code.
#pragma once

#include "sim/monitor/environment.h"
#include "sim/monitor/hub_face.h"
#include "sim/monitor/i2c_bridge.h"
#include "sim/monitor/monitor_setup.h"
#include "sim/monitor/nor_flash.h"

#include <array>
#include <cstdint>
#include <vector>

namespace sim {

class HubChip
{
public:
    HubChip(const Environment& environment, I2cBridge& bridge, Plugs& plugs, const MonitorSetup& setup);

    /// 256 KiB.
    const std::vector<std::uint8_t>& flash() const { return flash_.bytes(); }
    /// Replaces the flash's content, as a programmer would: `image`, then blank. What runs stays until the next
    /// restart.
    void loadFlash(const std::vector<std::uint8_t>& image) { flash_.load(image); }
    /// Would the chip start its code from the flash as it is now?
    bool flashIsValid() const;

    /// The code, not the ROM; while the chip restarts, what is coming up.
    bool runsCode() const { return runs_code_; }
    /// The version in the status block: the code's is in flash, the ROM's is 0.1.
    Version runningVersion() const;

    HubFace& superSpeedFace() { return super_speed_; }
    HubFace& highSpeedFace() { return high_speed_; }
    bool onBus() const;

    /// Answers one request on endpoint 0 of a face. `data` is as for BusDevice::control().
    platform::Status control(const SetupPacket& setup, std::uint8_t* data, bool superSpeed);

    void setPlugged(bool plugged);
    void powerOff(const PowerLoss& loss);
    void powerOn();

private:
    enum class Start { rom, code_if_valid };

    platform::Status enable(const SetupPacket& setup);
    platform::Status readStatus(const SetupPacket& setup, std::uint8_t* data) const;
    platform::Status memory(const SetupPacket& setup, std::uint8_t* data);
    platform::Status readFlash(const SetupPacket& setup, std::uint8_t* data) const;
    platform::Status programFlash(const SetupPacket& setup, const std::uint8_t* data);
    platform::Status eraseFlash(const SetupPacket& setup);
    platform::Status restart(const SetupPacket& setup, Start start);
    void leaveBus();
    void comeUp(Start start);

    Environment env_;
    I2cBridge& bridge_;
    NorFlash flash_;
    std::array<std::uint8_t, 0x1000> memory_{};
    std::uint8_t reset_mode_;
    HubFace super_speed_;
    HubFace high_speed_;

    bool plugged_ = true;
    bool powered_ = true;
    bool runs_code_ = false;
    bool locked_ = true;
    bool flash_operated_ = false; ///< the last request erased or programmed
    Duration back_at_{0};         ///< when the restarted chip is on the bus again
};

} // namespace sim
