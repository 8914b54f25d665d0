/// One trial: a fault at a request of a run, what it leaves, and how the monitor is recovered. All trials of a job
/// share one monitor, which is put back before each.
#pragma once

#include "jobs.h"
#include "report.h"

#include "sim/bus/virtual_bus.h"
#include "sim/virtual_monitor.h"
#include "tests/faults/fault_kinds.h"
#include "tests/faults/wire_phases.h"

#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace sweep {

struct Request
{
    std::string phase;
    std::size_t reply_size = 0; ///< 0: a write
    int tears = 1;              ///< ways of tearing that are worth a trial
};

class Trials
{
public:
    explicit Trials(const Job& job)
        : job_(job)
        , monitor_(bus_, job.setup)
    {
        bus_.log().setEnabled(job.foreign);
        restore(job.files); // which gives the hub's flash as a whole, blank behind the image
        after_ = {hub(), withUserCode(job.before.scaler, job.files.scaler)};
        restore(job.before);
        before_ = {hub(), scaler()};
        if (job.foreign)
            after_ = before_;
        scaler_needs_nothing_ = userCodeIs(after_.scaler, before_.scaler);
    }

    const Job& job() const { return job_; }

    /// Of a run without a fault that finds `flashes`, and one more for what comes after the last operation.
    std::vector<Request> requests(const Pair& flashes)
    {
        restore(flashes);
        sim::WireLog& log = bus_.log();
        log.setEnabled(true);
        log.clear();
        runTool(job_.files, Downgrade::refused);
        log.setEnabled(job_.foreign);
        scaler_touched_ = true;
        std::vector<Request> requests;
        for (const std::string& phase : sim::phasesOf(log.records())) {
            const sim::WireRecord& record = log.records()[requests.size()];
            const std::size_t reply_size = record.setup.isIn() ? record.setup.length : 0;
            // The hub's erase is one request that moves every bit.
            const int ways = phase == "hub: erase" ? 64 : 4;
            requests.push_back({phase, reply_size, sim::startsFlashOperation(record) ? ways : 1});
        }
        requests.push_back({"after the last request"});
        return requests;
    }

    /// In a run that finds the flashes so. An empty one of the scaler is as the job has it before.
    Outcome strike(const Pair& found, const sim::FaultKind& fault, const sim::Strike& at)
    {
        restore(found);
        fault.arm(bus_.faults(), at);
        Outcome outcome;
        judgedRun(Downgrade::refused, &outcome);
        bus_.faults().clear();
        const bool is_off = fault.after == sim::Aftermath::powered_off;
        if (is_off) // a fault after the last request has not struck yet
            monitor_.cutPower();
        if (fault.after == sim::Aftermath::unplugged)
            monitor_.unplug();
        keepLeft();
        const bool complete = done();
        monitor_.plugIn();
        settle();
        const bool next_start_is_enough = is_off || finishes(Downgrade::refused, &outcome);
        restore(left_);
        outcome.hub = "hub " + (monitor_.hub().runsCode() ? hubHolds() : "ROM");
        outcome.scaler = "scaler " + (monitor_.scaler().runsUserCode() ? scalerHolds() : "old");

        const Outcome& cycled = afterPowerCycle();
        outcome.findings.insert(cycled.findings.begin(), cycled.findings.end());
        outcome.repair = cycled.repair;
        if (cycled.repair == "power" && next_start_is_enough)
            outcome.repair = complete ? "itself" : "start";
        if (outcome.repair == "power")
            outcome.findings.insert("needs a power cycle");
        return outcome;
    }

    /// What the last fault has left, and a number for it.
    const Pair& left() const { return left_; }
    std::size_t leftHash() const { return left_hash_; }

private:
    void restore(const Pair& flashes)
    {
        const bool is_other = !flashes.scaler.empty();
        bus_.faults().clear();
        monitor_.cutPower();
        monitor_.hub().loadFlash(flashes.hub);
        if (scaler_touched_ || is_other)
            monitor_.scaler().flash().load(is_other ? flashes.scaler : before_.scaler);
        scaler_touched_ = is_other;
        monitor_.plugIn();
        monitor_.powerOn();
        settle();
    }

    /// Until everything that starts by itself has started.
    void settle() { bus_.clock().advance(2 * sim::VirtualMonitor::start_up_time); }

    bool finishes(Downgrade downgrade, Outcome* outcome)
    {
        return judgedRun(downgrade, outcome).ending == job_.ending && done();
    }

    /// A power cycle leaves the monitor with nothing but the content of its flashes, so what the tool makes of
    /// one content is tried once and remembered.
    const Outcome& afterPowerCycle()
    {
        const auto [known, is_new] = after_power_cycle_.try_emplace(left_hash_);
        Outcome& outcome = known->second;
        if (!is_new)
            return outcome;
        const bool next_start_is_enough = finishes(Downgrade::refused, &outcome);
        const bool older_is_needed = !next_start_is_enough && finishes(Downgrade::taken, &outcome);
        outcome.repair = next_start_is_enough ? "power" : older_is_needed ? "downgrade" : "never";
        if (!next_start_is_enough)
            outcome.findings.insert(older_is_needed ? "needs a downgrade" : "stays broken");
        return outcome;
    }

    ToolRun judgedRun(Downgrade downgrade, Outcome* outcome)
    {
        bus_.violations().clear();
        bus_.log().clear();
        const sim::Duration start = bus_.clock().now();
        const ToolRun run = runTool(job_.files, downgrade);
        scaler_touched_ = scaler_touched_ || run.scaler_tried;
        const bool endless = run.ending == Ending::asks_forever;
        const std::pair<const char*, bool> findings[] = {
            {"mixture under a valid mark", monitor_.hub().flashIsValid() && hubHolds() == "mix"},
            {"hub done, not written", run.hub_done && !hubDone()},
            {"marker without its image", scalerIsMarked() && scalerHolds() == "mix"},
            {"factory code damaged", factoryCodeIsDamaged()},
            {"scaler done, not written", run.scaler_done && !scalerDone()},
            {"foreign file written", job_.foreign && sawAWrite()},
            {"asks forever", endless},
            {"left open", !allClosed()},
            {"took too long", !endless && bus_.clock().now() - start > longest_run}};
        for (const auto& [finding, found] : findings) {
            if (found)
                outcome->findings.insert(finding);
        }
        for (const std::string& message : bus_.violations().messages())
            outcome->findings.insert("host broke rules: " + message);
        return run;
    }

    void keepLeft()
    {
        scaler_touched_ = scaler_touched_ && scaler() != before_.scaler;
        left_ = {hub(), scaler_touched_ ? scaler() : Bytes()};
        left_hash_ = hashOf(left_.hub) * 31U ^ hashOf(left_.scaler);
    }

    static std::size_t hashOf(const Bytes& bytes)
    {
        return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }

    const Bytes& hub() { return monitor_.hub().flash(); }
    const Bytes& scaler() { return monitor_.scaler().flash().bytes(); }

    bool done() { return hubDone() && scalerDone(); }
    bool hubDone() { return hub() == after_.hub; }
    bool scalerDone()
    {
        return scaler_touched_ ? userCodeIs(after_.scaler, scaler()) : scaler_needs_nothing_;
    }
    static bool userCodeIs(const Bytes& expected, const Bytes& flash)
    {
        return std::memcmp(&flash[user_code_at], &expected[user_code_at], user_code_end - user_code_at) == 0;
    }
    bool factoryCodeIsDamaged()
    {
        return scaler_touched_ && std::memcmp(scaler().data(), before_.scaler.data(), user_code_at) != 0;
    }
    bool scalerIsMarked() { return std::memcmp(&scaler()[user_code_marker_at], "\xAA\x55", 2) == 0; }
    std::string hubHolds() { return hubDone() ? "new" : hub() == before_.hub ? "old" : "mix"; }
    std::string scalerHolds()
    {
        return scalerDone() ? "new" : !scaler_touched_ || scaler() == before_.scaler ? "old" : "mix";
    }

    /// No session and no handle of the tool is left.
    bool allClosed()
    {
        const auto is_closed = [](const sim::HubFace& face) {
            return face.counters().live_interfaces == 0 && face.counters().opens == face.counters().closes;
        };
        return is_closed(monitor_.hub().superSpeedFace()) && is_closed(monitor_.hub().highSpeedFace());
    }

    /// Whether anything but detection is in the log.
    bool sawAWrite()
    {
        const std::vector<std::string> phases = sim::phasesOf(bus_.log().records());
        return !phases.empty() && phases.front() != "detection after";
    }

    /// The longest update takes 30 s. Re-opening the restarted hub is tried for 40 s more, a poll for 5 s, and a
    /// silent device costs 5 s.
    static constexpr sim::Duration longest_run = std::chrono::seconds(90);

    const Job& job_;
    sim::VirtualBus bus_;
    sim::VirtualMonitor monitor_;
    Pair before_; ///< whole flashes
    Pair after_;  ///< of the scaler only the user code counts
    Pair left_;
    std::size_t left_hash_ = 0;
    bool scaler_needs_nothing_ = false;
    bool scaler_touched_ = true;                       ///< else its megabytes need no second look
    std::map<std::size_t, Outcome> after_power_cycle_; ///< by the content of both flashes
};

} // namespace sweep
