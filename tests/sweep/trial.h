/// A job with a fault at each of its requests. The tool runs once; at each request a copy of the process is made for
/// each fault, in which it strikes, and the tool goes on with it.
#pragma once

#include "jobs.h"

#include <string>

namespace sweep {

/// Of a start of the tool.
struct Verdict
{
    bool finished = false;           ///< said what it should, and both flashes are as they should be
    bool finished_older = false;     ///< not it, but the start after it, when the user took older firmware
    char findings[1000] = "crash\n"; ///< what one would not wish, in lines

    void find(const std::string& finding);
};

/// Of a trial. All processes are copies of one, so its constants lie at the same place in each.
struct Outcome
{
    const Job* job = nullptr;
    bool is_second = false; ///< the fault has struck the run that was to repair what another one had left
    char phase[40] = "";
    const char* fault = "";
    const char* repair = "?"; ///< what brought both flashes to hold their images
    Verdict verdict;

    void writeTo(int pipe) const;
};

struct Share
{
    bool full = false;
    unsigned lane = 0; ///< of so many, which take turns
    unsigned lanes = 1;
    int outcomes = -1; ///< the pipe for them
};

/// Ends the process.
[[noreturn]] void runWithFaults(const Job& job, const Share& share);

} // namespace sweep
