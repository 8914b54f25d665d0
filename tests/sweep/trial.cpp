/// Copies of the process, so that nothing is done twice and each start of the tool is a process of its own.
#include "trial.h"

#include <QThreadPool>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sweep {

namespace {

constexpr unsigned most_seconds = 60; ///< of real time for a trial, which needs a hundredth of one
constexpr int most_ways = 64;
constexpr int most_ways_in_pairs = 4;
constexpr unsigned step_of_second = 4;
constexpr std::size_t known_contents = 0x10000;

constexpr std::size_t user_code_size = 0x100000;
constexpr std::size_t user_code_marker_at = 0xFF8FE; ///< in the user code
constexpr std::uint8_t marker[] = {0xAA, 0x55};
constexpr std::uint8_t blank = 0xFF;

/// What the flashes of a monitor hold that left the factory with `factory` and was updated with `images` since.
Flashes updated(const Flashes& factory, const Images& images)
{
    Flashes flashes = factory;
    std::fill(flashes.hub.begin(), flashes.hub.end(), blank);
    std::copy(images.hub.begin(), images.hub.end(), flashes.hub.begin());
    if (images.scaler.isEmpty())
        return flashes;
    std::uint8_t* const code = &flashes.scaler[user_code_at];
    std::fill_n(code, user_code_size, blank);
    std::copy(images.scaler.begin(), images.scaler.end(), code);
    std::memcpy(code + user_code_marker_at, marker, sizeof marker);
    return flashes;
}

/// Of tearing what a request starts that are worth a trial. The hub's erase is one request that moves every bit.
int waysToTear(const std::string& phase)
{
    const std::string last = phase.substr(phase.rfind(' ') + 1);
    const bool is_flash_operation =
        phase == "hub: image" || last == "mark" || last == "start" || last == "command";
    return phase == "hub: erase" ? most_ways : is_flash_operation ? 4 : 1;
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

/// Memory of all copies, one of which runs at a time.
struct Trials::Shared
{
    Verdict verdict; ///< of the latest start
    struct
    {
        std::size_t content;
        Verdict verdict;
    } known[known_contents];
};

Trials::Trials(const Job& job, const Share& share)
    : job_(job)
    , share_(share)
    , monitor_(bus_, job.setup)
    , tool_(bus_, job.name)
    , shared_(*static_cast<Shared*>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                         MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)))
{
    bus_.log().setEnabled(false);
    bus_.faults().on_request = [this](const auto& setup, const auto* data) { onRequest(setup, data); };
    before_ = updated({hub(), scaler()}, job.before);
    after_ = job.is_foreign ? before_ : updated({hub(), scaler()}, job.files);
    monitor_.hub().loadFlash(before_.hub);
    monitor_.scaler().flash().load(before_.scaler);
    powerCycle();
}

void Trials::runWithFaults()
{
    alarm(0); // its copies have one each
    with_faults_ = true;
    tool_.ended = [this] {
        Verdict verdict = judge();
        if (!verdict.finished)
            verdict.find("a run without a fault fails");
        phase_ = "after the last request";
        if (takes())
            strikes(0);
        if (!with_faults_) // a copy, in which the tool has ended already
            tool_.ended();
        else
            shared_.verdict = verdict;
    };
    tool_.start(false);
}

void Trials::onRequest(const sim::SetupPacket& setup, const std::uint8_t* data)
{
    phase_ = phases_.next(setup, data);
    wrote_ = wrote_ || phase_[0] != 'd';
    ++request_;
    if (with_faults_ && takes())
        strikes(setup.isIn() ? setup.length : 0);
}

bool Trials::takes()
{
    const bool is_first = ++met_[phase_] == 1;
    const unsigned step = is_second_ ? step_of_second : job_.step;
    if (!is_first && (!share_.full || request_ % step != 0))
        return false;
    return taken_++ % share_.lanes == share_.lane || job_.in_pairs;
}

void Trials::strikes(std::size_t replySize)
{
    const int most = is_second_ || !share_.full ? most_ways_in_pairs : most_ways;
    const int tears = std::min(waysToTear(phase_), most);
    for (const sim::FaultKind& fault : sim::faultKinds()) {
        for (int way = 0; way < fault.waysAt(replySize, tears); ++way) {
            if (!share_.full && tried_++ % job_.bounded_step != 0)
                continue;
            Outcome outcome{&job_, is_second_, "", fault.name, {}};
            phase_.copy(outcome.phase, sizeof outcome.phase - 1);
            bool crashed = false;
            if (isCopy(&crashed)) {
                with_faults_ = false;
                fault.arm(bus_.faults(), {1, request_ * most_ways + static_cast<unsigned>(way), replySize});
                tool_.ended = [=, &fault] { struck(fault, way, outcome); };
                return;
            }
            if (crashed)
                outcome.writeTo(share_.outcomes);
        }
    }
}

void Trials::struck(const sim::FaultKind& fault, int way, Outcome outcome)
{
    Verdict& verdict = outcome.verdict = judge();
    const bool complete = isDone();
    bus_.faults().clear();
    if (fault.after == sim::Aftermath::powered_off) // a fault after the last request has not struck yet
        monitor_.cutPower();
    if (fault.after == sim::Aftermath::unplugged)
        monitor_.unplug();
    bool is_repaired = fault.after == sim::Aftermath::powered_off;
    if (!is_repaired) {
        monitor_.plugIn();
        settle();
        const Verdict next = nextStart(false, false);
        is_repaired = next.finished;
        verdict.find(next.findings);
    }
    powerCycle();
    outcome.hub = monitor_.hub().runsCode() ? hubHolds() : "ROM";
    outcome.scaler = monitor_.scaler().runsUserCode() ? scalerHolds() : "old";
    const Verdict cycled = startAfterPowerCycle(share_.full && !is_second_ && way < most_ways_in_pairs);
    verdict.find(cycled.findings);
    if (!cycled.finished) {
        outcome.repair = cycled.finished_older ? "downgrade" : "never";
        verdict.find(cycled.finished_older ? "needs the older firmware taken" : "stays broken");
    } else if (!is_repaired) {
        outcome.repair = "power";
        verdict.find("needs a power cycle");
    } else {
        outcome.repair = complete ? "itself" : "start";
    }
    outcome.writeTo(share_.outcomes);
}

/// A power cycle leaves the monitor with nothing but the content of its flashes, so what the tool makes of one
/// content is tried once and remembered.
Verdict Trials::startAfterPowerCycle(bool withFaults)
{
    const std::size_t content = (hashOf(hub()) * 31U ^ hashOf(scaler())) + (withFaults ? 1U : 0U);
    auto& known = shared_.known[content % known_contents];
    if (known.content != content)
        known = {content, nextStart(false, withFaults && job_.in_pairs)};
    return known.verdict;
}

Verdict Trials::nextStart(bool takesOlder, bool withFaults)
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

Verdict Trials::judge()
{
    const auto is_open = [](const sim::HubFace& face) {
        return face.counters().live_interfaces != 0 || face.counters().opens != face.counters().closes;
    };
    const bool marked = std::memcmp(userCode() + user_code_marker_at, marker, sizeof marker) == 0;
    const bool damaged = std::memcmp(scaler().data(), before_.scaler.data(), user_code_at) != 0;
    const char* frozen = phase_[0] == 'd' ? "tool asks the display for ever" : "run takes longer than 90 s";
    const std::pair<bool, const char*> findings[] = {
        {monitor_.hub().flashIsValid() && hubHolds() == is_mix, "hub flash marked valid holds a mixture"},
        {tool_.hub_done && hubHolds() != is_new, "hub update reports success, flash is not the image"},
        {marked && scalerHolds() == is_mix, "scaler's marker stands, flash is not the image"},
        {damaged, "scaler's factory code damaged"},
        {tool_.scaler_done && scalerHolds() != is_new, "success box shown, scaler's flash is not the image"},
        {job_.is_foreign && wrote_, "foreign file written"},
        {tool_.frozen, frozen},
        {is_open(monitor_.hub().superSpeedFace()) || is_open(monitor_.hub().highSpeedFace()),
         "hub left open"}};
    Verdict verdict{tool_.said == job_.ending && !tool_.frozen && isDone(), false, ""};
    for (const auto& [found, text] : findings) {
        if (found)
            verdict.find(text);
    }
    if (bus_.violations().count() != 0)
        verdict.find("tool breaks a rule: " + bus_.violations().messages().front());
    return verdict;
}

void Trials::powerCycle()
{
    monitor_.cutPower();
    monitor_.plugIn();
    monitor_.powerOn();
    settle();
}

const char* Trials::hubHolds()
{
    return hub() == after_.hub ? is_new : hub() == before_.hub ? "old" : is_mix;
}

const char* Trials::scalerHolds()
{
    if (std::memcmp(userCode(), &after_.scaler[user_code_at], user_code_size) == 0)
        return is_new;
    return scaler() == before_.scaler ? "old" : is_mix;
}

} // namespace sweep
