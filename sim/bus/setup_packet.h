/// The eight bytes that start every control transfer (USB 2.0, table 9-2).
#pragma once

#include <cstdint>

namespace sim {

/// request_type of a vendor request to the device.
constexpr std::uint8_t vendor_out = 0x40;
constexpr std::uint8_t vendor_in = 0xC0;

struct SetupPacket
{
    std::uint8_t request_type = 0; ///< bit 7 set: the device answers with data
    std::uint8_t request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint16_t length = 0;

    bool isIn() const { return (request_type & 0x80U) != 0; }
    /// The chip's 32-bit address: low half in wValue, high half in wIndex.
    std::uint32_t address() const { return value | static_cast<std::uint32_t>(index) << 16U; }
};

} // namespace sim
