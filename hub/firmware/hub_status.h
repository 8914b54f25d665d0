/// The hub's status block as HH_Status returns it; multi-byte values are big-endian.
///
///     offset  0     2         4         6        10      11      12   13          14   15      16 .. 31
///             vid   pid (SS)  pid (HS)  unused   major   minor   -    reset mode  -    flags   unused
///
/// Flags bit 1 is set while the hub runs the code in its flash and clear while it runs its boot ROM.
#pragma once

#include <cstddef>
#include <cstdint>

/// What the system uses of the status block.
struct HubStatus
{
    static constexpr std::size_t full_size = 32;    ///< bytes in the block
    static constexpr std::size_t decoded_size = 16; ///< bytes that decode() reads

    std::uint16_t vendorId;
    std::uint16_t superSpeedPid;
    std::uint16_t highSpeedPid;
    std::uint16_t firmwareVersion; ///< major in bits 8 to 15, minor in bits 0 to 7
    std::uint8_t resetMode;        ///< 1: the hub restarts into its ROM in less time
    bool runsCode;

    /// Reads the first 16 bytes at `block`.
    static constexpr HubStatus decode(const std::uint8_t* block)
    {
        HubStatus status{};
        status.vendorId = bigEndian16(block);
        status.superSpeedPid = bigEndian16(block + 2);
        status.highSpeedPid = bigEndian16(block + 4);
        status.firmwareVersion = bigEndian16(block + 10);
        status.resetMode = block[13];
        status.runsCode = (block[15] & 0x02) != 0;
        return status;
    }

private:
    static constexpr std::uint16_t bigEndian16(const std::uint8_t* bytes)
    {
        return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
    }
};
