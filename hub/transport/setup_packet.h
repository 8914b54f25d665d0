/// The bytes of a setup packet, taken apart and put together.
#pragma once

#include "hub/platform/usb_platform.h"

#include <cstdint>

namespace hub {

constexpr std::uint16_t littleEndian16(const std::uint8_t* bytes)
{
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

/// The request in the 8 bytes at `packet` (layout in control_pipe.h) with the caller's `data`.
constexpr platform::ControlRequest decodeSetupPacket(const std::uint8_t* packet, void* data)
{
    return {packet[0],
            packet[1],
            littleEndian16(packet + 2),
            littleEndian16(packet + 4),
            littleEndian16(packet + 6),
            data};
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

} // namespace hub
