/// Each fault and each start of the tool runs in a copy of the process, made where they begin, so that the requests
/// before them are sent only once.
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

constexpr unsigned trial_timeout_s = 120; ///< real time, far more than a trial needs
constexpr unsigned bounded_step = 7;      ///< of the trials at the first request of each phase
constexpr unsigned erase_variants = 64;
constexpr unsigned torn_variants = 4;
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

/// How a start of the tool ended, as an exit status that no sanitizer uses. `finished`: the tool said what it should,
/// and both flashes are as they should be; `finished_older`: so they are after one more start, in which the user took
/// older firmware; `not_yet`: this is the copy, which has to start the tool.
enum Ending { finished = 50, finished_older, unfinished, not_yet };
enum class Start { plain, taking_older, with_faults };

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

    void run() { find(start(Start::with_faults) != finished, "a run without a fault fails"); }

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
    int start(Start how)
    {
        if (const int ending = split(); ending != not_yet)
            return ending;
        with_faults_ = how == Start::with_faults;
        alarm(with_faults_ ? 0 : trial_timeout_s);
        runs_with_faults_ += with_faults_ ? 1 : 0;
        bus_.violations().clear();
        phases_ = PhaseReader();
        met_.clear();
        wrote_ = false;
        request_ = 0;
        tool_.ended = [=] {
            if (judge())
                return finished;
            const bool tries_older = tool_.offers_older && how != Start::taking_older;
            return tries_older && start(Start::taking_older) == finished ? finished_older : unfinished;
        };
        tool_.start(how == Start::taking_older);
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
            const unsigned variants = fault.strikes == Strikes::operation ? tornVariants() : 1;
            for (unsigned variant = 0; variant < variants; ++variant) {
                if (!full_ && !job_.in_pairs && tried_++ % bounded_step != 0)
                    continue;
                place_ = phase_ + " / " + fault.name;
                if (split() != not_yet)
                    continue;
                alarm(trial_timeout_s);
                with_faults_ = false;
                fault.arm(bus_.faults(), request_ * erase_variants + variant, replySize);
                tool_.ended = [=, &fault] { return repair(fault.strikes, variant == 0); };
                return;
            }
        }
    }

    /// Number of torn variants to try. The hub's erase is one request that touches every bit.
    unsigned tornVariants()
    {
        static const std::set<std::string> operations{"image", "mark", "start", "command"};
        if (phase_ == "hub: erase")
            return full_ && !isSecond() ? erase_variants : torn_variants;
        return operations.count(phase_.substr(phase_.rfind(' ') + 1)) != 0 ? torn_variants : 1;
    }

    /// The user tries again, and again after a power cycle. The second time may have a second fault.
    Ending repair(Strikes struck, bool inPairs)
    {
        judge();
        std::string needed = isDone() ? "nothing" : "the next start";
        bus_.faults().clear();
        if (struck == Strikes::request || struck == Strikes::reply) {
            monitor_.plugIn();
            settle();
            if (start(Start::plain) != finished)
                needed = "a power cycle";
        }
        powerCycle();
        find(monitor_.scaler().runsUserCode() && scalerHolds() == mixture, "scaler starts a mixture");
        inPairs = inPairs && full_ && job_.in_pairs && !isSecond() && struck == Strikes::operation;
        const int cycled = start(inPairs ? Start::with_faults : Start::plain);
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
