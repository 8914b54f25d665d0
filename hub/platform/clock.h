/// The one place where the tool waits. On a real operating system the thread sleeps; on the virtual platform a
/// sleep advances the virtual monitor's clock and returns.
#pragma once

#include <chrono>

namespace platform {

/// Blocks the calling thread for `duration`.
void sleepFor(std::chrono::microseconds duration);

} // namespace platform
