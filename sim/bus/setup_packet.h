/// The eight bytes that start every control transfer (USB 2.0, table 9-2), as fields.
#pragma once

#include <cstdint>

namespace sim {

struct SetupPacket
{
    std::uint8_t requestType = 0; ///< bit 7 set: the device answers with data
    std::uint8_t request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint16_t length = 0;

    bool isIn() const { return (requestType & 0x80U) != 0; }
    /// value and index taken together, as the chip's 32-bit addresses travel.
    std::uint32_t address() const { return value | static_cast<std::uint32_t>(index) << 16U; }
};

} // namespace sim
