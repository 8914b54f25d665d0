/// Timing and table. Google Benchmark finds the number of iterations and shuffles the rounds of all cases.
#include "bench/measure.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>

namespace bench {

namespace {

int missed = 0;

struct LeastTimeReporter final : benchmark::BenchmarkReporter
{
    bool ReportContext(const Context& /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            const double seconds = run.cpu_accumulated_time / static_cast<double>(run.iterations);
            double& known = least.try_emplace(run.run_name.function_name, seconds).first->second;
            known = std::min(known, seconds);
        }
    }

    std::map<std::string, double> least;
};

} // namespace

std::map<std::string, double> leastTimes(const Cases& cases, int rounds, double secondsARound)
{
    benchmark::ClearRegisteredBenchmarks();
    for (const auto& [name, run] : cases) {
        const auto loop = [&run = run](benchmark::State& state) {
            for (auto _ : state)
                run();
        };
        benchmark::RegisterBenchmark(name.c_str(), loop)->Repetitions(rounds)->MinTime(secondsARound);
    }
    std::string arguments[] = {"bench", "--benchmark_enable_random_interleaving=true"};
    char* pointers[] = {arguments[0].data(), arguments[1].data(), nullptr};
    int count = 2;
    benchmark::Initialize(&count, pointers);
    LeastTimeReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.least;
}

void row(const char* what, double measured, double atMost, const char* reason)
{
    const bool reached = measured <= atMost;
    const char* verdict = reached ? "reached" : reason ? "out of reach: " : "MISSED";
    std::fprintf(stderr, "| %s | %.2f | at most %.2f | %s%s |\n", what, measured, atMost, verdict,
                 reached || !reason ? "" : reason);
    missed |= !reached && !reason ? 1 : 0;
}

int exitStatus()
{
    return missed;
}

} // namespace bench
