/// The scaler's in-system-programming port: a register file, an indirect port into the scaler's own
/// registers, and a controller that drives the serial flash with the opcodes the host has given it.
///
///     register      what the scaler does
///     60            command control: B8 then B9 run an erase, 68 then 69 a status write; reads 1 while one runs
///     61            command opcode: D8 erase 64 KiB, 01 write status
///     62, 63        write-enable opcode (06), enable-write-status opcode (50)
///     64 65 66      flash address, high to low; 64 also holds the value of a status write
///     6A 6B         read opcodes (03, 0B); without them a check reads nothing
///     6D, 71        page-program opcode (02), program length minus 1
///     6F            write: bit 7 asks for ISP mode, bit 5 programs, bit 2 checks;
///                   read: bit 7 ISP mode, bit 5 programming, bit 4 ready for program data, bit 2 checking
///     70            program data port, selected by a write of no bytes, until another register is touched
///     72 73 74, 75  end of the range to check; DE when every byte of it reads FF, else 00
///     EE            02 leaves ISP mode and restarts the scaler
///     F4 F5         index and data of the indirect port; the data at index 9F selects the page
///
/// ISP mode begins 25 ms after the request for it; before that only 6F works. An operation that the chip cannot do is
/// ignored (wrong opcode, protected flash) or is a violation (outside ISP mode, while busy, data port not selected).
/// Asking for ISP mode again drops a block that was not programmed. Nothing answers for the 5 s in which the scaler
/// restarts. Flash addresses wrap at the size of the flash.
#pragma once

#include "sim/monitor/environment.h"
#include "sim/monitor/monitor_setup.h"
#include "sim/monitor/serial_flash.h"

#include <array>
#include <cstdint>
#include <vector>

namespace sim {

class ScalerIsp
{
public:
    ScalerIsp(const Environment& environment, Model model, Version factoryVersion);

    SerialFlash& flash() { return flash_; }
    bool inIspMode() const;
    /// The firmware that runs, or will when the restart is over: the user code if its marker and its image were in
    /// place at the restart, else the factory firmware.
    Version runningVersion() const { return running_version_; }
    bool runsUserCode() const { return runs_user_code_; }
    /// The firmware is up and drives the display.
    bool displayRuns() const { return answers() && !inIspMode(); }

    /// The ISP port acknowledges its address.
    bool answers() const { return env_.clock.now() >= up_at_; }
    void writeRegister(std::uint8_t number, std::uint8_t value);
    std::uint8_t readRegister(std::uint8_t number);
    void selectRegister(std::uint8_t number);
    /// Bytes for the data port. Refused unless they can be programmed at `address` next.
    bool writeBlock(std::uint32_t address, const std::uint8_t* data, std::uint16_t length);

    /// The power goes; a flash operation in progress is torn.
    void powerOff(const PowerLoss& loss);
    void powerOn() { restart(); }

private:
    enum class Busy { idle, erase, status_write, check, program };

    void restart();
    Busy busy() const;
    bool ready() const;
    void violation(const char* text);
    /// Reports and refuses an operation that needs ISP mode and an idle controller.
    bool mayOperate();
    void start(Busy what, Duration time);
    /// The write-protect pin. It is released while the model's output register is 1 and the pin-share register
    /// (page 10, index AB) equals the config register but for 001 in its low three bits.
    bool hardwareProtected() const;
    /// The flash takes erase and program: the write-enable opcode is set, and nothing protects it.
    bool flashListens() const;

    void writeControl(std::uint8_t value);
    void runCommand(std::uint8_t value);
    void eraseBlock();
    void writeFlashStatus();
    void check();
    void program();
    void leave();
    std::uint8_t control() const;
    std::uint8_t* indirect();
    /// The 24-bit address in this register and the two after it.
    std::uint32_t address(std::uint8_t firstRegister) const;

    Environment env_;
    const ModelFacts& facts_;
    SerialFlash flash_;
    std::array<std::uint8_t, 0x100> registers_{};
    std::vector<std::uint8_t> scaler_registers_; ///< the 64 Ki behind the indirect port
    std::uint8_t page_ = 0;
    std::array<std::uint8_t, 0x100> block_{};
    std::size_t block_length_ = 0; ///< received at the data port, not yet programmed
    bool port_selected_ = false;
    std::uint32_t follow_on_ = 0; ///< where sequential programming continues
    Busy busy_ = Busy::idle;
    Duration busy_until_{0};
    Duration ready_at_{0};
    Duration isp_at_ = Duration::max();
    Duration up_at_{0};
    Version running_version_;
    bool runs_user_code_ = false;
};

} // namespace sim
