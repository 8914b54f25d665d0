/// Sleeps in real time when a pace is set.
#include "sim/bus/clock.h"

#include <thread>

namespace sim {

namespace {
/// Operating systems oversleep, so short sleeps are added up until they are worth one.
constexpr std::chrono::duration<double> shortest_sleep{0.002};
} // namespace

void Clock::sleep(Duration duration)
{
    owed_ += duration * pace_;
    if (owed_ < shortest_sleep)
        return;
    const auto before = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(owed_);
    owed_ -= std::chrono::steady_clock::now() - before;
}

} // namespace sim
