/// Ties the virtual monitor's clock to the real one: `pace` real seconds pass for each of the monitor's. The clock's own
/// pace only slows a program down; here the monitor's time also passes while no request comes.
#pragma once

#include "sim/bus/clock.h"

#include <chrono>
#include <thread>

namespace sim::vhci {

class RealTime
{
public:
    RealTime(Clock& clock, double pace)
        : clock_(clock)
        , pace_(pace)
    {
    }

    /// Moves the monitor's clock forward to the present; a clock that is ahead stays.
    void catchUp()
    {
        using Real = std::chrono::duration<double, Duration::period>;
        const Real real = std::chrono::steady_clock::now() - start_;
        const auto now = std::chrono::duration_cast<Duration>(real / pace_);
        if (now > clock_.now())
            clock_.advance(now - clock_.now());
    }

    /// Waits until real time reaches the monitor's clock, so that an answer takes as long as the work behind it.
    /// Waits too short to sleep for add up until they are worth it.
    void waitForClock() const
    {
        constexpr std::chrono::milliseconds shortest_sleep(2);
        const auto present = start_ + clock_.now() * pace_;
        if (present - std::chrono::steady_clock::now() >= shortest_sleep)
            std::this_thread::sleep_until(present);
    }

private:
    Clock& clock_;
    double pace_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace sim::vhci
