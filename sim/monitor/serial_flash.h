/// The scaler's serial flash: the cells, and the status register whose block-protect bits guard them. Bit positions
/// are those of the common serial-flash family.
#pragma once

#include "sim/monitor/nor_flash.h"

#include <cstdint>

namespace sim {

class SerialFlash : public NorFlash
{
public:
    using NorFlash::NorFlash;

    /// Block-protect bits set: the chip ignores erase and program.
    bool isProtected() const { return (status_ & block_protect_bits) != 0; }
    void writeStatus(std::uint8_t value) { status_ = value & writable_bits; }
    /// The scaler's firmware protects the whole chip whenever it starts.
    void powerOn() { status_ = block_protect_bits; }

private:
    static constexpr std::uint8_t block_protect_bits = 0x1C;
    static constexpr std::uint8_t writable_bits = 0x9C; ///< block protect and the register's own lock bit

    std::uint8_t status_ = block_protect_bits;
};

} // namespace sim
