/// The fault sweep: every request of both updates is a place where something goes wrong, and the shipping dialog is
/// what has to cope.
///
///     sweep            the bounded share, on one core
///     sweep --full     all of it, on all cores
#include "app/startup.h"
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

constexpr int hopeless = 10; ///< so many points that nobody expects that more would tell nothing

/// Findings that the procedures lead to and that so are not a fault of the tool: patterns for "finding / job / phase
/// / fault". docs/reliability.md tells the same in words. A row that the full sweep does not meet fails it.
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
        std::printf("FAIL: %s\n", qPrintable(point));
        ++failures;
    }

    void print(bool full)
    {
        for (const auto& [result, count] : needed)
            std::printf("%8u  %s\n", count, qPrintable(result));
        for (const char* pattern : known_points) {
            const bool missing = known[pattern] == 0 && (full || needed.empty());
            std::printf("%8u  %s%s\n", known[pattern], pattern, missing ? "  FAIL: not met" : "");
            failures += missing ? 1 : 0;
        }
    }
};

void writeFile(const QString& name, const QByteArray& bytes)
{
    QFile file(imagePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("%s cannot be written", qPrintable(file.fileName()));
}

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
        writeFile(job.name + ".hub", job.files.hub);
        writeFile(job.name + ".scaler", job.files.scaler);
    }
    int ends[2];
    if (pipe(ends) != 0)
        return EXIT_FAILURE;
    const bool full = argc > 1 && argv[1] == std::string("--full");
    if (fork() == 0) {
        close(ends[0]); // or nobody would notice that the first process has heard enough
        runAll(jobs, full, ends[1]);
    }
    close(ends[1]);
    Report report;
    QFile results;
    results.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    for (QByteArray line; report.failures < hopeless && !(line = results.readLine()).isEmpty();)
        report.add(line.chopped(1));
    results.close(); // which ends whoever still has something to say
    report.print(full);
    wait(nullptr);
    return report.failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
