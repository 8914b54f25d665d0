/// Real sleep, for the platforms that drive real devices.
#include "hub/platform/clock.h"

#include <thread>

void platform::sleepFor(std::chrono::microseconds duration)
{
    std::this_thread::sleep_for(duration);
}
