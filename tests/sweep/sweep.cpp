/// The fault sweep: every request of both updates is a place where something goes wrong, and the shipping dialog is
/// what has to cope.
///
///     sweep            the bounded share, on one core
///     sweep --full     all of it, on all cores
#include "../resource_file.h"
#include "trial.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int most_failures = 10; ///< then the sweep ends: more of them would tell nothing

/// Findings that follow from the procedures and are no fault of the tool: patterns for "finding / job / phase /
/// fault". docs/reliability.md says the same in words. The full sweep fails when a row matches nothing.
const char* const known_points[] = {
    "needs (nothing|the next start) / .*", // as it should be

    // The new image's mark is not where the old one has its own, so it is not the old mark that is voided.
    "hub flash marked .* / (hub small over|hub, no mark).* / hub: void mark / power cut (during|after)",
    "hub flash marked .* / (hub small over|hub, no mark).* / hub: erase / (unplugged|host lost|power cut.*)",
    "needs a programmer / (hub small over|hub, no mark).* / hub: erase / power cut during",
    "hub update reports .* / .* / hub: mark / (refused|timed out)",

    "scaler's marker .* / scaler again / scaler: erase.*",
    "scaler starts a mixture / scaler again / scaler: erase.* / power cut.*",
    "success box .* / .* / detection.* / (unplugged|power cut .*)",
    "success box .* / .* / scaler: (program setup: opcode|marker: start) / (refused|timed out)",
    "scaler's factory code .* / .* / scaler: erase: address / (refused|timed out)",
    "needs older firmware / .* / scaler: erase: address / (refused|timed out)",
    "needs a power cycle / .* / scaler: .* / (refused|timed out|answer lost|reply.*|unplugged|host lost)",

    "tool breaks .* / .* / scaler: (prepare|erase): poll / (refused|timed out|answer lost|reply.*)",
    "tool breaks .* / .* / scaler: program setup: length / (refused|timed out)",
    "tool breaks .* / .* / scaler: (image|marker): (address|data port|bridge|start) / (refused|timed out)",
    "tool breaks .* / .* / scaler: (erase.*|image: poll|marker: poll|leave: poll) / reply.*",
    "tool asks .* / .* / detection.* / (unplugged|host lost|power cut.*)",

    // Its erase leaves out the area that is written, so one image is programmed over another.
    "(tool breaks|scaler.*|success box|a run without).* / scaler QX1655 again / .*",
    "needs a programmer / scaler QX1655 again / .*"};

struct Report
{
    std::map<QString, unsigned> needed;    ///< by job
    std::map<const char*, unsigned> known; ///< how often each was met
    int failures = 0;

    void add(const QString& point)
    {
        if (point.startsWith("needs ")) {
            ++needed["points"];
            ++needed[point.section(" / ", 1, 1) + ": " + point.section(" / ", 0, 0)];
        }
        for (const char* pattern : known_points) {
            if (QRegularExpression(QString("^%1$").arg(pattern)).match(point).hasMatch()) {
                ++known[pattern];
                return;
            }
        }
        std::printf("FAIL: an outcome that docs/reliability.md does not know: %s\n", qPrintable(point));
        ++failures;
    }

    void print(bool full)
    {
        for (const auto& [result, count] : needed)
            std::printf("%8u  %s\n", count, qPrintable(result));
        for (const char* pattern : known_points) {
            const bool missing = known[pattern] == 0 && (full || needed.empty());
            std::printf("%8u  %s%s\n", known[pattern], pattern,
                        missing ? "  FAIL: docs/reliability.md knows it, but it did not happen" : "");
            failures += missing ? 1 : 0;
        }
    }
};

/// Each job in a process of its own.
[[noreturn]] void runAll(const std::vector<Job>& jobs, bool full, int results)
{
    const unsigned cores = full ? std::max(1U, std::thread::hardware_concurrency()) : 1;
    unsigned started = 0;
    for (const Job& job : jobs) {
        if (started++ >= cores)
            wait(nullptr);
        if (fork() == 0)
            runWithFaults(job, full, results);
    }
    while (wait(nullptr) > 0) {
    }
    std::_Exit(EXIT_SUCCESS);
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    setFormLook();
    QDir().mkpath(resourcesDir());
    const std::vector<Job> jobs = allJobs();
    for (const Job& job : jobs) {
        writeResource(job.name + ".hub", job.files.hub);
        writeResource(job.name + ".scaler", job.files.scaler);
    }
    int ends[2];
    if (pipe(ends) != 0)
        return EXIT_FAILURE;
    const bool full = argc > 1 && argv[1] == std::string("--full");
    if (fork() == 0) {
        close(ends[0]); // so that writing fails once the first process has closed its end
        runAll(jobs, full, ends[1]);
    }
    close(ends[1]);
    Report report;
    QFile results;
    results.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    for (QByteArray line; report.failures < most_failures && !(line = results.readLine()).isEmpty();)
        report.add(line.chopped(1));
    results.close(); // ends the processes that still write
    report.print(full);
    wait(nullptr);
    return report.failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
