/// What the benchmarks share: least times, and the table whose rows are limits.
#pragma once

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <map>
#include <string>

namespace bench {

/// CPU time of this thread, so that what other programs take from the machine does not count.
inline double cpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// What to time, by name; a call is one iteration.
using Cases = std::map<std::string, std::function<void()>>;

/// Seconds an iteration: the least of 25 rounds of 20 ms, in which the cases take turns; noise only adds.
inline std::map<std::string, double> leastTimes(const Cases& cases)
{
    std::map<std::string, double> least;
    for (int round = 0; round < 25; ++round) {
        for (const auto& [name, run] : cases) {
            const double began = cpuSeconds();
            double spent = 0;
            int iterations = 0;
            for (; spent < 0.02; ++iterations) {
                run();
                spent = cpuSeconds() - began;
            }
            double& known = least.try_emplace(name, spent).first->second;
            known = std::min(known, spent / iterations);
        }
    }
    return least;
}

inline int exit_status = 0;

/// Prints a row of the table to standard error, in Markdown. A row over its limit fails the program.
inline void row(const char* what, double measured, double atMost)
{
    const bool reached = measured <= atMost;
    std::fprintf(stderr, "| %s | %.2f | at most %.2f | %s |\n", what, measured, atMost,
                 reached ? "reached" : "MISSED");
    if (!reached)
        exit_status = 1;
}

} // namespace bench
