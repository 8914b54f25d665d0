/// The one place where the tool waits. The operating systems' platforms really sleep; on the virtual
/// platform a sleep moves the virtual monitor's clock and returns.
#pragma once

#include <chrono>

namespace platform {

/// Blocks the calling thread for `duration`.
void sleepFor(std::chrono::microseconds duration);

} // namespace platform
