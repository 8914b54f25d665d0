/// Copies of the process, so that nothing is done twice and each start of the tool is a process of its own.
#include "trial.h"

#include "faults.h"
#include "phases.h"
#include "sim/virtual_monitor.h"
#include "tool.h"

#include <QThreadPool>

#include <cstdlib>
#include <cstring>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned most_seconds = 120; ///< of real time for a trial, which needs a hundredth of one
constexpr unsigned bounded_step = 7;   ///< of the trials at the first request of each phase
constexpr int most_ways = 64;
constexpr int few_ways = 4;
constexpr unsigned step_of_second = 4;

constexpr std::size_t user_code_at = 0x100000;
constexpr std::size_t user_code_size = 0x100000;
constexpr std::size_t user_code_marker_at = 0x1FF8FE;
constexpr std::uint8_t marker[] = {0xAA, 0x55};
constexpr std::uint8_t blank = 0xFF;

/// What the flashes of a monitor hold that left the factory with `flashes` and was updated with `images` since.
Contents<Bytes> updated(Contents<Bytes> flashes, const Contents<QByteArray>& images)
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

/// How a start of the tool ended: it said what it should, and both flashes are as they should be, if need be after
/// one more start in which the user took older firmware. It has not yet, in the copy. What a
/// sanitizer ends a process with is none of these.
enum Ending { finished = 50, finished_older, unfinished, not_yet };

class Trials
{
public:
    Trials(const Job& job, bool full, int results)
        : job_(job)
        , full_(full)
        , results_(results)
        , monitor_(bus_, job.setup)
        , tool_(bus_, job.name)
        , before_(updated({hub(), scaler()}, job.before))
        , after_(job.is_foreign ? before_ : updated({hub(), scaler()}, job.files))
    {
        bus_.log().setEnabled(false);
        bus_.faults().on_request = [this](const sim::SetupPacket& setup, const std::uint8_t* data) {
            phase_ = phases_.next(setup, data);
            wrote_ = wrote_ || phase_[0] != 'd';
            ++request_;
            strike(setup.isIn() ? setup.length : 0);
        };
        monitor_.hub().loadFlash(before_.hub);
        monitor_.scaler().flash().load(before_.scaler);
        powerCycle();
    }

    void run() { find(start(false, true) != finished, "a run without a fault fails"); }

private:
    /// Goes on in a copy of this process, with `not_yet`, and here when that has ended.
    int split()
    {
        QThreadPool::globalInstance()->waitForDone(); // Qt converts pictures in threads, which are not copied
        const pid_t copy = fork();
        if (copy == 0)
            return not_yet;
        int status = -1;
        waitpid(copy, &status, 0);
        const bool crashed = !WIFEXITED(status) || WEXITSTATUS(status) < finished;
        find(crashed, "crash");
        return crashed ? unfinished : WEXITSTATUS(status);
    }

    /// The tool as a new process, with a fault at each of its requests or with none.
    int start(bool takesOlder, bool withFaults)
    {
        if (const int ending = split(); ending != not_yet)
            return ending;
        alarm(withFaults ? 0 : most_seconds);
        with_faults_ = withFaults;
        runs_with_faults_ += withFaults ? 1 : 0;
        bus_.violations().clear();
        phases_ = PhaseReader();
        met_.clear();
        wrote_ = false;
        request_ = 0;
        tool_.ended = [=] {
            if (judge())
                return finished;
            const bool tries_older = tool_.offers_older && !takesOlder;
            return tries_older && start(true, false) == finished ? finished_older : unfinished;
        };
        tool_.start(takesOlder);
    }

    void strike(std::size_t replySize)
    {
        const bool is_first = met_.insert(phase_).second;
        const unsigned step = isSecond() ? step_of_second : job_.step;
        if (!with_faults_ || !(is_first || (full_ && request_ % step == 0)))
            return;
        for (const FaultKind& fault : fault_kinds) {
            if (fault.strikes == Strikes::reply && replySize == 0)
                continue;
            for (int way = 0; way < (fault.strikes == Strikes::operation ? waysToTear() : 1); ++way) {
                if (!full_ && !job_.in_pairs && tried_++ % bounded_step != 0)
                    continue;
                place_ = phase_ + " / " + fault.name;
                if (split() != not_yet)
                    continue;
                alarm(most_seconds);
                with_faults_ = false;
                fault.arm(bus_.faults(), request_ * most_ways + static_cast<unsigned>(way), replySize);
                tool_.ended = [=, &fault] { return repair(fault.strikes, way == 0); };
                return;
            }
        }
    }

    /// Of tearing what a request starts that are worth a trial. The hub's erase is one request that moves every bit.
    int waysToTear()
    {
        static const std::set<std::string> operations{"image", "mark", "start", "command"};
        if (phase_ == "hub: erase")
            return full_ && !isSecond() ? most_ways : few_ways;
        return operations.count(phase_.substr(phase_.rfind(' ') + 1)) != 0 ? few_ways : 1;
    }

    Ending repair(Strikes struck, bool inPairs)
    {
        judge();
        std::string needed = isDone() ? "nothing" : "the next start";
        bus_.faults().clear();
        if (struck == Strikes::request || struck == Strikes::reply) {
            monitor_.plugIn();
            settle();
            if (start(false, false) != finished)
                needed = "a power cycle";
        }
        powerCycle();
        find(monitor_.scaler().runsUserCode() && scalerHolds() == mixture, "scaler starts a mixture");
        inPairs = inPairs && full_ && job_.in_pairs && !isSecond() && struck == Strikes::operation;
        const int cycled = start(false, inPairs);
        if (cycled != finished)
            needed = cycled == finished_older ? "older firmware" : "a programmer";
        find(true, "needs " + needed);
        return finished;
    }

    /// Finds what one would not wish; gives whether the tool has finished.
    bool judge()
    {
        const bool marked = std::memcmp(&scaler()[user_code_marker_at], marker, sizeof marker) == 0;
        const bool damaged = std::memcmp(scaler().data(), before_.scaler.data(), user_code_at) != 0;
        const bool asks = phase_[0] == 'd';
        find(monitor_.hub().flashIsValid() && hubHolds() == mixture,
             "hub flash marked valid holds a mixture");
        find(tool_.hub_done && hubHolds() != image, "hub update reports success, flash is not the image");
        find(marked && scalerHolds() == mixture, "scaler's marker stands, flash is not the image");
        find(damaged, "scaler's factory code damaged");
        find(tool_.scaler_done && scalerHolds() != image,
             "success box shown, scaler's flash is not the image");
        find(job_.is_foreign && wrote_, "foreign file written");
        find(tool_.frozen, asks ? "tool asks the display for ever" : "run takes longer than 90 s");
        for (sim::HubFace* face : {&monitor_.hub().superSpeedFace(), &monitor_.hub().highSpeedFace()}) {
            const auto& seen = face->counters();
            find(seen.live_interfaces != 0 || seen.opens != seen.closes, "hub left open");
        }
        if (bus_.violations().count() != 0)
            find(true, "tool breaks a rule: " + bus_.violations().messages()[0]);
        return tool_.said == job_.ending && !tool_.frozen && isDone();
    }

    void find(bool found, const std::string& finding)
    {
        const std::string job = job_.name.toStdString() + (isSecond() ? ", second of two" : "");
        const std::string line = finding + " / " + job + " / " + place_ + '\n';
        if (found && write(results_, line.data(), line.size()) < 0)
            std::_Exit(EXIT_FAILURE);
    }

    void powerCycle()
    {
        monitor_.powerCycle();
        monitor_.plugIn();
        settle();
    }
    void settle() { bus_.clock().advance(2 * sim::VirtualMonitor::start_up_time); }

    enum Content { old, image, mixture };
    Content hubHolds() { return hub() == after_.hub ? image : hub() == before_.hub ? old : mixture; }
    Content scalerHolds()
    {
        if (std::memcmp(&scaler()[user_code_at], &after_.scaler[user_code_at], user_code_size) == 0)
            return image; // of the scaler only the user code counts
        return scaler() == before_.scaler ? old : mixture;
    }
    bool isDone() { return hubHolds() == image && scalerHolds() == image; }
    bool isSecond() const { return runs_with_faults_ == 2; }
    const Bytes& hub() { return monitor_.hub().flash(); }
    const Bytes& scaler() { return monitor_.scaler().flash().bytes(); }

    const Job& job_;
    const bool full_;
    const int results_;
    sim::VirtualBus bus_;
    sim::VirtualMonitor monitor_;
    Tool tool_;
    const Contents<Bytes> before_;
    const Contents<Bytes> after_;
    PhaseReader phases_;
    std::string phase_;
    std::string place_ = "the run without a fault / none";
    std::set<std::string> met_; ///< phases of this run
    bool wrote_ = false;
    bool with_faults_ = false;
    int runs_with_faults_ = 0; ///< a second one repairs what a fault in the first has left
    unsigned request_ = 0;
    unsigned tried_ = 0;
};

} // namespace

void runWithFaults(const Job& job, bool full, int results)
{
    Trials(job, full, results).run();
    std::_Exit(EXIT_SUCCESS);
}
