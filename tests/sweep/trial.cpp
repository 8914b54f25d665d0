/// Copies of the process, so that nothing is done twice and each start of the tool is a process of its own.
#include "trial.h"

#include "phases.h"
#include "tool.h"

#include "sim/virtual_monitor.h"
#include "tests/faults/fault_kinds.h"

#include <QThreadPool>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string_view>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sweep {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned most_seconds = 60; ///< of real time for a trial, which needs a hundredth of one
constexpr int most_ways = 64;
constexpr int most_ways_in_pairs = 4;
constexpr unsigned step_of_second = 4;
constexpr std::size_t known_contents = 0x10000;

constexpr std::size_t user_code_at = 0x100000;
constexpr std::size_t user_code_size = 0x100000;
constexpr std::size_t user_code_marker_at = 0x1FF8FE;
constexpr std::uint8_t marker[] = {0xAA, 0x55};
constexpr std::uint8_t blank = 0xFF;

/// Whole contents.
struct Flashes
{
    Bytes hub;
    Bytes scaler;
};

/// What the flashes of a monitor hold that left the factory with `flashes` and was updated with `images` since.
Flashes updated(Flashes flashes, const Images& images)
{
    std::fill(flashes.hub.begin(), flashes.hub.end(), blank);
    std::copy(images.hub.begin(), images.hub.end(), flashes.hub.begin());
    if (images.scaler.isEmpty())
        return flashes;
    std::fill_n(&flashes.scaler[user_code_at], user_code_size, blank);
    std::copy(images.scaler.begin(), images.scaler.end(), &flashes.scaler[user_code_at]);
    std::memcpy(&flashes.scaler[user_code_marker_at], marker, sizeof marker);
    return flashes;
}

/// Of tearing what a request starts that are worth a trial. The hub's erase is one request that moves every bit.
int waysToTear(const std::string& phase)
{
    const std::string last = phase.substr(phase.rfind(' ') + 1);
    const bool operates = phase == "hub: image" || last == "mark" || last == "start" || last == "command";
    return phase == "hub: erase" ? most_ways : operates ? 4 : 1;
}

/// Goes on in a copy of this process, and here when that has ended.
bool isCopy(bool* crashed)
{
    QThreadPool::globalInstance()->waitForDone(); // Qt converts pictures in threads, which are not copied
    const pid_t copy = fork();
    if (copy == 0) {
        alarm(most_seconds);
        return true;
    }
    int status = 0;
    waitpid(copy, &status, 0);
    *crashed = status != 0;
    return false;
}

std::size_t hashOf(const Bytes& bytes)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

/// Memory of all copies, one of which runs at a time.
struct Shared
{
    Verdict verdict; ///< of the latest start
    struct
    {
        std::size_t content;
        Verdict verdict;
    } known[known_contents];
};

class Trials
{
public:
    Trials(const Job& job, const Share& share)
        : job_(job)
        , share_(share)
        , monitor_(bus_, job.setup)
        , tool_(bus_, job.name)
        , before_(updated({hub(), scaler()}, job.before))
        , after_(job.is_foreign ? before_ : updated({hub(), scaler()}, job.files))
        , shared_(*static_cast<Shared*>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                             MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)))
    {
        bus_.log().setEnabled(false);
        bus_.faults().on_request = [this](const sim::SetupPacket& setup, const std::uint8_t* data) {
            phase_ = phases_.next(setup, data);
            wrote_ = wrote_ || phase_[0] != 'd';
            ++request_;
            strikes(setup.isIn() ? setup.length : 0);
        };
        monitor_.hub().loadFlash(before_.hub);
        monitor_.scaler().flash().load(before_.scaler);
        powerCycle();
    }

    [[noreturn]] void runWithFaults()
    {
        alarm(0); // its copies have one each
        with_faults_ = true;
        tool_.ended = [this] {
            Verdict verdict = judge();
            if (!verdict.finished)
                verdict.find("a run without a fault fails");
            phase_ = "after the last request";
            strikes(0);
            if (with_faults_)
                shared_.verdict = verdict;
            else // a copy, in which the tool has ended already
                tool_.ended();
        };
        tool_.start(false);
    }

private:
    bool takes()
    {
        const bool is_first = ++met_[phase_] == 1;
        const unsigned step = is_second_ ? step_of_second : job_.step;
        if (!with_faults_ || (!is_first && (!share_.full || request_ % step != 0)))
            return false;
        return job_.in_pairs || taken_++ % share_.lanes == share_.lane;
    }

    void strikes(std::size_t replySize)
    {
        if (!takes())
            return;
        const bool few = is_second_ || !share_.full;
        const int tears = std::min(waysToTear(phase_), few ? most_ways_in_pairs : most_ways);
        for (const sim::FaultKind& fault : sim::faultKinds()) {
            for (int way = 0; way < fault.waysAt(replySize, tears); ++way) {
                if (!share_.full && tried_++ % job_.bounded_step != 0)
                    continue;
                Outcome outcome{&job_, is_second_, "", fault.name, "?", {}};
                phase_.copy(outcome.phase, sizeof outcome.phase - 1);
                bool crashed = false;
                if (isCopy(&crashed)) {
                    with_faults_ = false;
                    fault.arm(bus_.faults(),
                              {1, request_ * most_ways + static_cast<unsigned>(way), replySize});
                    tool_.ended = [=, &fault] { struck(fault.after, way, outcome); };
                    return;
                }
                if (crashed)
                    outcome.writeTo(share_.outcomes);
            }
        }
    }

    void struck(sim::Aftermath after, int way, Outcome outcome)
    {
        Verdict& verdict = outcome.verdict = judge();
        const bool complete = isDone();
        bus_.faults().clear();
        bool is_repaired = after == sim::Aftermath::powered_off;
        if (is_repaired) // a fault after the last request has not struck yet
            monitor_.cutPower();
        if (after == sim::Aftermath::unplugged)
            monitor_.unplug();
        if (!is_repaired) {
            monitor_.plugIn();
            settle();
            const Verdict next = nextStart(false, false);
            is_repaired = next.finished;
            verdict.find(next.findings);
        }
        powerCycle();
        if (monitor_.scaler().runsUserCode() && scalerHolds() == mixture)
            verdict.find("scaler starts a mixture");
        const Verdict cycled = startAfterPowerCycle(share_.full && !is_second_ && way < most_ways_in_pairs);
        verdict.find(cycled.findings);
        if (!cycled.finished)
            outcome.repair = cycled.finished_older ? "older firmware" : "a programmer";
        else if (!is_repaired)
            outcome.repair = "a power cycle";
        else
            outcome.repair = complete ? "nothing" : "the next start";
        if (!cycled.finished || !is_repaired)
            verdict.find(std::string("needs ") + outcome.repair);
        outcome.writeTo(share_.outcomes);
    }

    /// A power cycle leaves the monitor with nothing but the content of its flashes, so what the tool makes of one
    /// content is tried once and remembered.
    Verdict startAfterPowerCycle(bool withFaults)
    {
        const std::size_t content = (hashOf(hub()) * 31U ^ hashOf(scaler())) + (withFaults ? 1U : 0U);
        auto& known = shared_.known[content % known_contents];
        if (known.content != content)
            known = {content, nextStart(false, withFaults && job_.in_pairs)};
        return known.verdict;
    }

    Verdict nextStart(bool takesOlder, bool withFaults)
    {
        if (withFaults)
            alarm(0);
        bool crashed = false;
        if (!isCopy(&crashed))
            return crashed ? Verdict() : shared_.verdict;
        bus_.violations().clear();
        phases_ = PhaseReader();
        met_.clear();
        wrote_ = false;
        request_ = 0;
        is_second_ = withFaults;
        if (withFaults)
            runWithFaults();
        tool_.ended = [=] {
            Verdict verdict = judge();
            if (!verdict.finished && tool_.offers_older && !takesOlder) {
                const Verdict older = nextStart(true, false);
                verdict.find(older.findings);
                verdict.finished_older = older.finished;
            }
            shared_.verdict = verdict;
        };
        tool_.start(takesOlder);
    }

    Verdict judge()
    {
        const auto is_open = [](const sim::HubFace& face) {
            return face.counters().live_interfaces != 0 || face.counters().opens != face.counters().closes;
        };
        const bool left_open =
            is_open(monitor_.hub().superSpeedFace()) || is_open(monitor_.hub().highSpeedFace());
        const bool marked = std::memcmp(&scaler()[user_code_marker_at], marker, sizeof marker) == 0;
        const bool damaged = std::memcmp(scaler().data(), before_.scaler.data(), user_code_at) != 0;
        const bool asks = phase_[0] == 'd';
        const bool breaks_rules = bus_.violations().count() != 0;
        Verdict verdict{tool_.said == job_.ending && !tool_.frozen && isDone(), false, ""};
        const auto find = [&](bool found, const std::string& what) { verdict.find(found ? what : ""); };
        find(monitor_.hub().flashIsValid() && hubHolds() == mixture,
             "hub flash marked valid holds a mixture");
        find(tool_.hub_done && hubHolds() != image, "hub update reports success, flash is not the image");
        find(marked && scalerHolds() == mixture, "scaler's marker stands, flash is not the image");
        find(damaged, "scaler's factory code damaged");
        find(tool_.scaler_done && scalerHolds() != image,
             "success box shown, scaler's flash is not the image");
        find(job_.is_foreign && wrote_, "foreign file written");
        find(tool_.frozen, asks ? "tool asks the display for ever" : "run takes longer than 90 s");
        find(left_open, "hub left open");
        find(breaks_rules, breaks_rules ? "tool breaks a rule: " + bus_.violations().messages()[0] : "");
        return verdict;
    }

    void powerCycle()
    {
        monitor_.cutPower();
        monitor_.plugIn();
        monitor_.powerOn();
        settle();
    }
    void settle() { bus_.clock().advance(2 * sim::VirtualMonitor::start_up_time); }

    enum Content { old, image, mixture };
    Content hubHolds() { return hub() == after_.hub ? image : hub() == before_.hub ? old : mixture; }
    Content scalerHolds()
    {
        if (std::memcmp(&scaler()[user_code_at], &after_.scaler[user_code_at], user_code_size) == 0)
            return image;
        return scaler() == before_.scaler ? old : mixture;
    }
    bool isDone() { return hubHolds() == image && scalerHolds() == image; }
    const Bytes& hub() { return monitor_.hub().flash(); }
    const Bytes& scaler() { return monitor_.scaler().flash().bytes(); }

    const Job& job_;
    const Share share_;
    sim::VirtualBus bus_;
    sim::VirtualMonitor monitor_;
    Tool tool_;
    const Flashes before_;
    const Flashes after_; ///< of the scaler only the user code counts
    Shared& shared_;
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

} // namespace

void Verdict::find(const std::string& finding)
{
    const std::string all = findings;
    if (all.find(finding) == std::string::npos)
        (all + finding + '\n').copy(findings, sizeof findings - 1);
}

void Outcome::writeTo(int pipe) const
{
    if (write(pipe, this, sizeof *this) != sizeof *this)
        std::_Exit(EXIT_FAILURE);
}

void runWithFaults(const Job& job, const Share& share)
{
    Trials(job, share).runWithFaults();
}

} // namespace sweep
