/// The bytes of a setup packet, taken apart and put together.
#pragma once

#include <cstdint>

/// The fields of a setup packet (layout in control_pipe.h).
struct SetupFields
{
    std::uint8_t requestType;
    std::uint8_t request;
    std::uint16_t value;
    std::uint16_t index;
    std::uint16_t length;
};

constexpr std::uint16_t littleEndian16(const std::uint8_t* bytes)
{
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

/// Reads the 8 bytes at `packet`.
constexpr SetupFields decodeSetupPacket(const std::uint8_t* packet)
{
    return {packet[0], packet[1], littleEndian16(packet + 2), littleEndian16(packet + 4),
            littleEndian16(packet + 6)};
}

/// A 32-bit address travels with its low half in wValue and its high half in wIndex.
constexpr std::uint16_t lowHalf(std::uint32_t address)
{
    return static_cast<std::uint16_t>(address & 0xFFFF);
}

constexpr std::uint16_t highHalf(std::uint32_t address)
{
    return static_cast<std::uint16_t>(address >> 16);
}
