/// A job with a fault at each of its requests. The tool runs once; at each request a copy of the process is made for
/// each fault, in which it strikes, and the tool goes on with it.
#pragma once

#include "app/texts.h"
#include "sim/monitor/monitor_setup.h"

#include <QByteArray>

#include <vector>

template <typename Bytes>
struct Contents
{
    Bytes hub;
    Bytes scaler;
};

struct Job
{
    QString name;
    sim::MonitorSetup setup;
    /// In the flashes. Without one for the scaler, the scaler runs what it left the factory with.
    Contents<QByteArray> before;
    Contents<QByteArray> files;              ///< of the bundle
    unsigned step = 1;                       ///< in full: every step-th request, and the first of each phase
    QString ending = texts::alreadyLatest(); ///< what the tool says without a fault; empty: it ends itself
    bool is_foreign = false;                 ///< the files are not meant for the monitor
    /// A second fault strikes the runs that repair what a power cut has left.
    bool in_pairs = false;
};

std::vector<Job> allJobs();

/// Writes lines "finding / job / phase / fault" to `results`, one of which says what each trial needed to bring both
/// flashes to hold their images. Ends the process.
[[noreturn]] void runWithFaults(const Job& job, bool full, int results);
