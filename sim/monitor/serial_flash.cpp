/// The status register. Bit positions are those of the common serial-flash family.
#include "sim/monitor/serial_flash.h"

#include "sim/monitor/factory_images.h"

namespace sim {

namespace {
constexpr std::uint8_t block_protect_bits = 0x1C;
constexpr std::uint8_t writable_bits = 0x9C; ///< block protect and the register's own lock bit
} // namespace

SerialFlash::SerialFlash(Model model, Version version)
    : NorFlash(factsOf(model).flash_size, factoryScalerFlash(model, version))
{
    powerOn();
}

bool SerialFlash::isProtected() const
{
    return (status_ & block_protect_bits) != 0;
}

void SerialFlash::writeStatus(std::uint8_t value)
{
    status_ = value & writable_bits;
}

void SerialFlash::powerOn()
{
    status_ = block_protect_bits;
}

} // namespace sim
