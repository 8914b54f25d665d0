/// Simulated time. Whatever takes a while, from a request on the wire to a chip erase, is a number of microseconds
/// on this clock; nothing waits for real unless a pace is set.
#pragma once

#include <chrono>

namespace sim {

using Duration = std::chrono::microseconds;

class Clock
{
public:
    /// Time since the bus was made, starting at 0.
    Duration now() const { return now_; }

    /// Lets `duration` pass; with a pace above 0 also sleeps for `duration` times the pace.
    void advance(Duration duration)
    {
        now_ += duration;
        if (pace_ > 0)
            sleep(duration);
    }

    /// Real seconds per simulated second: 0 (the default) never sleeps, 1 is as slow as the real monitor.
    void setPace(double pace) { pace_ = pace; }

private:
    void sleep(Duration duration);

    Duration now_{0};
    double pace_ = 0;
    std::chrono::duration<double> owed_{0}; ///< real time not slept yet
};

} // namespace sim
