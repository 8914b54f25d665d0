/// What is swept: a monitor, which images its flashes hold, the image files of the bundle, and how densely.
#pragma once

#include "app/texts.h"
#include "sim/monitor/monitor_setup.h"

#include <QByteArray>

#include <vector>

namespace sweep {

struct Images
{
    QByteArray hub;
    QByteArray scaler;
};

struct Job
{
    QString name;
    sim::MonitorSetup setup;
    Images before; ///< without an image for the scaler, it runs what it left the factory with
    Images files;
    unsigned step = 1;         ///< swept in full: every step-th request, and the first of each phase
    unsigned bounded_step = 4; ///< else every such trial of the first request of each phase
    QString ending = texts::alreadyLatest(); ///< what the tool says without a fault; empty: it ends itself
    bool is_foreign = false;                 ///< the files are not meant for the monitor
    bool in_pairs = false; ///< a second fault strikes each run that repairs what a first one has left
};

/// The smallest first.
std::vector<Job> allJobs();

} // namespace sweep
