/// The fault sweep: every request of both updates is a place where something goes wrong, and the shipping dialog is
/// what has to cope.
///
///     sweep            the bounded share, on one core
///     sweep --full     all of it, on all cores
#include "trial.h"

#include "app/startup.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSet>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include <sys/times.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace sweep;

constexpr int hopeless = 10; ///< so many points that nobody expects that more would tell nothing

/// Findings that the procedures lead to and that so are not a fault of the tool: patterns for "finding / job / phase
/// / fault". docs/reliability.md tells the same in words. A row that the full sweep does not meet fails it.
const char* const known_points[] = {
    // The new image's mark is not where the old one has its own, so it is not the old mark that is voided.
    "hub flash marked .* / (hub small over|hub, no mark).* / hub: void mark / power cut (during|after)",
    "hub flash marked .* / (hub small over|hub, no mark).* / hub: erase / (unplugged|host lost|power cut.*)",
    "needs a programmer / (hub small over|hub, no mark).* / hub: erase / power cut during",
    "hub update reports .* / .* / hub: mark / (refused|timed out)",

    "scaler's marker .* / scaler again / scaler: erase: .*",
    "scaler starts a mixture / scaler again / scaler: erase: .* / power cut.*",
    "success box .* / .* / detection: .* / (unplugged|power cut .*)",
    "success box .* / .* / scaler: (program setup: opcode|marker: start) / (refused|timed out)",
    "scaler's factory code .* / .* / scaler: erase: address / (refused|timed out)",
    "needs older firmware / .* / scaler: erase: address / (refused|timed out)",
    "needs a power cycle / .* / scaler: .* / (refused|timed out|answer lost|reply.*|unplugged|host lost)",

    "tool breaks .* / .* / scaler: (prepare|erase): poll / (refused|timed out|answer lost|reply.*)",
    "tool breaks .* / .* / scaler: program setup: length / (refused|timed out)",
    "tool breaks .* / .* / scaler: (image|marker): (address|data port|bridge|start) / (refused|timed out)",
    "tool breaks .* / .* / scaler: (erase: .*|image: poll|marker: poll|leave: poll) / reply.*",
    "tool asks .* / .* / detection: .* / (unplugged|host lost|power cut.*)",

    // Its erase leaves out the area that is written, so one image is programmed over another.
    "(tool breaks|scaler.*|success box).* / scaler QX1655 again / .*",
    "needs a programmer / scaler QX1655 again / .*"};

struct Report
{
    std::map<std::string, std::map<std::string, unsigned>> counts; ///< by job and what came out
    std::vector<std::pair<QRegularExpression, unsigned>> known;    ///< points, and how often each was met
    int failures = 0;

    Report()
    {
        for (const char* pattern : known_points)
            known.emplace_back(QString("^%1$").arg(pattern), 0);
    }

    void add(const Outcome& outcome)
    {
        const std::string job =
            outcome.job->name.toStdString() + (outcome.is_second ? ", second of two" : "");
        for (const std::string& row : {job, std::string("~ all")}) {
            ++counts[row]["points"];
            ++counts[row][outcome.repair];
        }
        const QStringList findings = QString(outcome.verdict.findings).split('\n', Qt::SkipEmptyParts);
        for (const QString& finding : QSet<QString>(findings.begin(), findings.end()))
            judge(QString("%1 / %2 / %3 / %4").arg(finding, job.c_str(), outcome.phase, outcome.fault));
    }

    void judge(const QString& point)
    {
        for (auto& [pattern, met] : known) {
            if (!pattern.match(point).hasMatch())
                continue;
            ++met;
            return;
        }
        std::printf("FAIL: %s\n", qPrintable(point));
        ++failures;
    }

    void print(bool allPoints)
    {
        for (const auto& [job, columns] : counts) {
            std::printf("\n%-44s", job.c_str());
            for (const auto& [column, count] : columns)
                std::printf(" %s: %u ", column.c_str(), count);
        }
        std::printf("\n\nknown points (docs/reliability.md)\n");
        for (const auto& [pattern, met] : known) {
            const bool out_of_date = allPoints && met == 0;
            std::printf("%8u  %s%s\n", met, qPrintable(pattern.pattern()),
                        out_of_date ? "  FAIL: not met" : "");
            failures += out_of_date ? 1 : 0;
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
void runLane(const std::vector<Job>& jobs, const Share& share)
{
    for (const Job& job : jobs) {
        if (job.in_pairs && share.lane != 0)
            continue;
        const pid_t copy = fork();
        if (copy == 0)
            runWithFaults(job, share);
        int status = 0;
        waitpid(copy, &status, 0);
        if (status != 0)
            Outcome{&job, false, "the run without a fault", "none", "?", {}}.writeTo(share.outcomes);
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
    Share share;
    share.full = argc > 1 && argv[1] == std::string("--full");
    share.lanes = share.full ? std::max(1U, std::thread::hardware_concurrency()) : 1;
    share.outcomes = ends[1];
    for (; share.lane < share.lanes; ++share.lane) {
        if (fork() == 0) {
            close(ends[0]); // or nobody would notice that the first process has heard enough
            runLane(jobs, share);
        }
    }
    close(ends[1]);
    Report report;
    Outcome outcome{};
    while (report.failures < hopeless && read(ends[0], &outcome, sizeof outcome) == sizeof outcome)
        report.add(outcome);
    close(ends[0]); // which ends whoever still has something to say
    report.print(share.full);
    while (wait(nullptr) > 0) {
    }
    tms used{};
    times(&used);
    std::printf("%ld s of processor, %d failures\n",
                (used.tms_cutime + used.tms_cstime) / sysconf(_SC_CLK_TCK), report.failures);
    return report.failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
