/// The command line of virtual_monitor.
#pragma once

#include "sim/monitor/monitor_setup.h"

#include <string>

struct Options
{
    sim::MonitorSetup monitor;
    double pace = 1;
    bool help = false;
};

extern const char* const usage;

/// False when the command line makes no sense; `complaint` says why.
bool parseOptions(int argc, char** argv, Options& options, std::string& complaint);
