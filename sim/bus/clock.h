/// Simulated time. Everything in the virtual monitor that takes a while, from one request on the wire to a
/// chip erase, is a number of microseconds on this clock; nothing waits for real unless a pace is set.
#pragma once

#include <chrono>

namespace sim {

using Duration = std::chrono::microseconds;

class Clock
{
public:
    /// Time since the bus was made, starting at 0.
    Duration now() const { return now_; }

    /// Lets `duration` pass; with a pace above 0 it also really sleeps `duration` times the pace.
    void advance(Duration duration)
    {
        now_ += duration;
        if (pace_ > 0)
            sleep(duration);
    }

    /// 0 (as made) returns at once, 1 is as slow as the real thing.
    void setPace(double pace) { pace_ = pace; }

private:
    void sleep(Duration duration);

    Duration now_{0};
    double pace_ = 0;
    std::chrono::duration<double> owed_{0}; ///< real time still to be slept
};

} // namespace sim
