/// Reads a wire log for people: what the host is about at each request, in words. Told from the requests alone,
/// by the landmarks that the hub and the scaler themselves ask for; their numbers are in hub_chip.h,
/// i2c_bridge.h and scaler_isp.h.
///
///     detection before, detection after             of the last write in the log
///     hub: into ROM, void mark, erase, image, read back, mark, restart
///     scaler: prepare, erase, program setup, image, marker, leave     each followed by the kind of request:
///                                                   "scaler: image: address", "scaler: erase: poll", ...
#pragma once

#include "sim/bus/wire_log.h"

#include <string>
#include <vector>

namespace sim {

/// One name a record. A write begins with the restart into the ROM or with the bridge's turn to the ISP port,
/// and ends when the host locks the vendor commands.
std::vector<std::string> phasesOf(const std::vector<WireRecord>& records);

/// Whether the request makes a flash program or erase, so that a power cut tears something.
bool startsFlashOperation(const WireRecord& record);

} // namespace sim
