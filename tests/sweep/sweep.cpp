/// The fault sweep: every request of both updates is a place where something goes wrong.
///
///     sweep            the bounded share
///     sweep --full     every request times every fault
///     sweep --seed N   another share, and other ways of tearing
#include "trials.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>

namespace {

using namespace sweep;

constexpr std::size_t always_at_the_ends = 64;
constexpr int most_ways = 64;
constexpr int most_ways_in_pairs = 4;

/// A content that some first fault leaves behind, and how many faults do.
struct Leftover
{
    Pair flashes;
    std::size_t faults = 0;
};

struct Sweep
{
    bool full = false;
    std::uint64_t seed = 1;
    Report report;

    bool takes(const Job& job, std::size_t at, std::size_t count) const
    {
        const auto step = static_cast<std::size_t>(full ? job.step : job.bounded_step);
        return at < always_at_the_ends || at + always_at_the_ends >= count || (at + seed) % step == 0;
    }

    /// Every fault at every request that is taken, in runs that find `found`. Calls visit() after each trial.
    template <typename Visit>
    void run(Trials& trials, const std::string& name, const Pair& found, int mostWays, Visit visit)
    {
        const std::vector<Request> requests = trials.requests(found);
        for (std::size_t at = 0; at < requests.size() && !report.isHopeless(); ++at) {
            if (!takes(trials.job(), at, requests.size()))
                continue;
            for (const sim::FaultKind& fault : sim::faultKinds()) {
                for (int way = 0;
                     way < std::min(fault.waysAt(requests[at].reply_size, requests[at].tears), mostWays);
                     ++way) {
                    const std::uint64_t mixed = (seed << 32U) + at * most_ways + static_cast<unsigned>(way);
                    const sim::Strike strike{static_cast<int>(at) + 1, mixed, requests[at].reply_size};
                    report.add(name, requests[at].phase, fault.name, trials.strike(found, fault, strike));
                    visit();
                }
            }
        }
    }

    /// A second fault strikes in the recovery run. What lies between is a power cycle, so first faults that leave
    /// the same content need only one trial of every second fault. Returns the pairs these stand for.
    std::size_t runPairs(const Job& job)
    {
        Trials trials(job);
        std::map<std::size_t, Leftover> leftovers;
        run(trials, job.name + ", first of two", {job.before.hub, {}}, most_ways_in_pairs, [&] {
            Leftover& leftover = leftovers[trials.leftHash()];
            leftover = {trials.left(), leftover.faults + 1};
        });
        std::size_t pairs = 0;
        for (const auto& entry : leftovers) {
            const Leftover& first = entry.second;
            run(trials, job.name + ", second of two", first.flashes, most_ways_in_pairs,
                [&] { pairs += first.faults; });
        }
        return pairs;
    }
};

auto openDescriptors()
{
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator("/dev/fd"), fs::directory_iterator());
}

} // namespace

int main(int argc, char** argv)
{
    Sweep sweep;
    for (int i = 1; i < argc; ++i) {
        sweep.full = sweep.full || std::strcmp(argv[i], "--full") == 0;
        if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc)
            sweep.seed = std::strtoull(argv[++i], nullptr, 10);
    }
    const auto descriptors = openDescriptors();
    const std::vector<Job> jobs = allJobs();
    for (const Job& job : jobs) {
        Trials trials(job);
        sweep.run(trials, job.name, {job.before.hub, {}}, most_ways, [] {});
    }
    const std::size_t pairs = sweep.runPairs(jobs.front());
    const bool leaks = openDescriptors() != descriptors;
    const int failures = sweep.report.print(sweep.full && sweep.seed == Sweep().seed) + (leaks ? 1 : 0);
    std::printf("%s\n%zu pairs, seed %llu, %.0f s of processor, %d failures\n",
                leaks ? "FAIL: descriptors left open\n" : "", pairs,
                static_cast<unsigned long long>(sweep.seed),
                static_cast<double>(std::clock()) / CLOCKS_PER_SEC, failures);
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
