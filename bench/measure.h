/// What the benchmarks share: timing on Google Benchmark in short rounds that take turns, and the table of results.
/// A product and the bare reference that it is held against always run in the same process.
#pragma once

#include <functional>
#include <map>
#include <string>

namespace bench {

/// What to time, by name; a call is one iteration.
using Cases = std::map<std::string, std::function<void()>>;

/// Seconds an iteration: the least of `rounds` rounds of at least `secondsARound` each, all cases taking turns.
/// CPU time of the calling thread, so that what other programs take from the machine does not count; other noise
/// only adds.
std::map<std::string, double> leastTimes(const Cases& cases, int rounds = 25, double secondsARound = 0.02);

/// Prints a row of the table to standard error, in Markdown. With a `reason` the row may be missed.
void row(const char* what, double measured, double atMost, const char* reason = nullptr);

/// 1 when a row was missed without a reason, else 0.
int exitStatus();

} // namespace bench
