/// What the monitor's two flashes hold as they leave the factory, reproducibly, and where the chips look for the
/// marks and versions in it: the simulation's own copy of these offsets.
#pragma once

#include "sim/monitor/monitor_setup.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim {

constexpr std::size_t hub_version_at = 0x7EF9;    ///< major, minor
constexpr std::size_t hub_block_size = 0x100;     ///< of the vendor-config block
constexpr std::size_t hub_mark_before_block = 16; ///< 55 AA: valid
constexpr std::size_t scaler_mark_at = 0xF8FE;    ///< AA 55: user code
constexpr std::size_t scaler_version_at = 0xF900; ///< major, minor

/// 64 KiB: version, a vendor-config block at 0xFF00 with a valid mark before it, and no other block of 256 bytes that
/// looks like a vendor-config block.
std::vector<std::uint8_t> factoryHubImage(Version version);

/// The whole scaler flash of a model: firmware at 0, leftovers in the area that an update has to erase.
std::vector<std::uint8_t> factoryScalerFlash(Model model, Version version);

} // namespace sim
