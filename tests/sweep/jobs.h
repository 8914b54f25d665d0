/// What is swept: a monitor, what its flashes hold, the image files of the bundle, and how densely.
#pragma once

#include "tool_run.h"

#include "sim/monitor/monitor_setup.h"

#include <cstddef>
#include <string>

namespace sweep {

constexpr std::size_t user_code_at = 0x100000;
constexpr std::size_t user_code_end = 0x200000;
constexpr std::size_t user_code_marker_at = 0x1FF8FE;

struct Job
{
    std::string name;
    sim::MonitorSetup setup;
    Pair before; ///< from the start of both flashes
    Pair files;
    int step = 1;                       ///< in the full sweep every step-th request
    int bounded_step = 1;               ///< in the bounded one
    Ending ending = Ending::up_to_date; ///< of a run without a fault
    bool foreign = false;               ///< the files are not meant for the monitor
};

/// The smallest first.
std::vector<Job> allJobs();

/// The flash of a scaler that has been updated with `image`.
Bytes withUserCode(Bytes flash, const Bytes& image);

} // namespace sweep
