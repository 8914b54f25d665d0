/// The hub chip, as its vendor requests see it: boot ROM and flash code, the vendor-command lock, status
/// block, resets, memory and SPI flash. It shows itself on the bus as one face or two.
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
/// Anything else, a length or direction out of this table, and every request but 0x02 on a locked chip is
/// refused with a stall. Each restart locks the chip and takes both faces off the bus at once; they come back
/// together as new devices, the ROM after 2.5 s, the code after 3 s.
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
    HubChip(const Environment& environment, I2cBridge& bridge, Supply& supply, const MonitorSetup& setup);

    /// 256 KiB.
    const std::vector<std::uint8_t>& flash() const { return flash_.bytes(); }
    /// Puts `image` into the flash by hand, the rest blank. What runs stays until the next restart.
    void loadFlash(const std::vector<std::uint8_t>& image) { flash_.load(image); }
    /// Whether the chip would start its code from the flash as it is now.
    bool flashIsValid() const;

    /// Code or ROM; while the chip restarts, the one that is coming up.
    bool runsCode() const { return runs_code_; }
    /// What the status block says: of the code the bytes in flash, of the ROM 0.1.
    Version runningVersion() const;
    bool isLocked() const { return locked_; }

    HubFace& superSpeedFace() { return super_speed_; }
    HubFace& highSpeedFace() { return high_speed_; }
    bool onBus() const;

    /// One request on endpoint 0 of a face, without bus, handle or log: a front for another kind of host
    /// starts here.
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
    bool flash_operated_ = false; ///< the latest request erased or programmed
    Duration back_at_{0};         ///< when the restarted chip is on the bus again
};

} // namespace sim
