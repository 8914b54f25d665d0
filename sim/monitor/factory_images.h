/// The content of the monitor's two flashes as they leave the factory: reproducible, and with every mark and
/// version byte where the chips look for them.
#pragma once

#include "sim/monitor/monitor_setup.h"

#include <cstdint>
#include <vector>

namespace sim {

/// 64 KiB hub image: version at 0x7EF9, vendor-config block at 0xFF00, valid mark 16 bytes before it, and no
/// other 256-byte block that looks like a vendor-config block.
std::vector<std::uint8_t> factoryHubImage(Version version);

/// The whole scaler flash of a model: firmware at 0, leftovers in the area that an update has to erase.
std::vector<std::uint8_t> factoryScalerFlash(Model model, Version version);

} // namespace sim
