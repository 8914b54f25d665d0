/// A job with a fault at each of its requests. The tool runs once; at each request a copy of the process is made for
/// each fault, in which it strikes, and the tool goes on with it.
#pragma once

#include "jobs.h"
#include "phases.h"
#include "tool.h"

#include "sim/virtual_monitor.h"
#include "tests/faults/fault_kinds.h"

#include <map>
#include <string>
#include <vector>

namespace sweep {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t user_code_at = 0x100000;

/// Their whole contents.
struct Flashes
{
    Bytes hub;
    Bytes scaler;
};

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
    const Job* job;
    bool is_second; ///< the fault has struck the run that was to repair what another one had left
    char phase[40];
    const char* fault;
    Verdict verdict;
    const char* repair = "never"; ///< what brought both flashes to hold their images
    const char* hub = "?";        ///< what it runs when the power comes on after the fault
    const char* scaler = "?";     ///< the same; the factory's firmware counts as old

    void writeTo(int pipe) const;
};

struct Share
{
    bool full = false;
    unsigned lane = 0; ///< of so many, which take turns
    unsigned lanes = 1;
    int outcomes = -1; ///< the pipe for them
};

class Trials
{
public:
    Trials(const Job& job, const Share& share);
    [[noreturn]] void runWithFaults();

private:
    struct Shared;

    void onRequest(const sim::SetupPacket& setup, const std::uint8_t* data);
    bool takes();
    void strikes(std::size_t replySize);
    void struck(const sim::FaultKind& fault, int way, Outcome outcome);
    Verdict startAfterPowerCycle(bool withFaults);
    Verdict nextStart(bool takesOlder, bool withFaults);
    Verdict judge();
    void powerCycle();
    void settle() { bus_.clock().advance(2 * sim::VirtualMonitor::start_up_time); }

    const Bytes& hub() { return monitor_.hub().flash(); }
    const Bytes& scaler() { return monitor_.scaler().flash().bytes(); }
    const std::uint8_t* userCode() { return &scaler()[user_code_at]; }
    const char* hubHolds();
    const char* scalerHolds();
    bool isDone() { return hubHolds() == is_new && scalerHolds() == is_new; }
    static constexpr const char* is_new = "new";
    static constexpr const char* is_mix = "mix";

    const Job& job_;
    const Share share_;
    Flashes before_;
    Flashes after_; ///< of the scaler only the user code counts
    sim::VirtualBus bus_;
    sim::VirtualMonitor monitor_;
    Tool tool_;
    Shared& shared_; ///< by all copies
    PhaseReader phases_;
    std::string phase_;
    std::map<std::string, unsigned> met_; ///< phases of this run
    bool wrote_ = false;
    bool with_faults_ = false;
    bool is_second_ = false;
    unsigned request_ = 0;
    unsigned taken_ = 0;
    unsigned tried_ = 0;
};

} // namespace sweep
