/// Real sleep, for the platforms that drive real devices.
#include <thread>

#include "hub/platform/clock.h"

void platform::sleepFor(std::chrono::microseconds duration)
{
    std::this_thread::sleep_for(duration);
}
