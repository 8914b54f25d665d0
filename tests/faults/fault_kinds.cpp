/// The table.
#include "tests/faults/fault_kinds.h"

#include <random>

namespace sim {

namespace {

constexpr std::size_t longest_noise = 64;

std::vector<std::uint8_t> oneBit(std::uint64_t seed)
{
    return {static_cast<std::uint8_t>(1U << seed % 8U)};
}

/// No byte of it is zero, so that none stays whole.
std::vector<std::uint8_t> noise(std::uint64_t seed)
{
    std::minstd_rand random(static_cast<std::uint32_t>(seed + 1));
    std::vector<std::uint8_t> mask(longest_noise);
    for (std::uint8_t& byte : mask)
        byte = static_cast<std::uint8_t>(random() | 1U);
    return mask;
}

template <Moment moment>
void cutPower(Faults& on, const Strike& at)
{
    on.cutPower(atRequest(at.nth), moment, at.seed);
}

} // namespace

int FaultKind::waysAt(std::size_t replySize, int ways) const
{
    if (replies_only)
        return replySize != 0 ? 1 : 0;
    return tears ? ways : 1;
}

const std::vector<FaultKind>& faultKinds()
{
    static const std::vector<FaultKind> kinds{
        {"refused", Aftermath::running, false, false,
         [](Faults& on, const Strike& at) { on.refuse(atRequest(at.nth)); }},
        {"timed out", Aftermath::running, false, false,
         [](Faults& on, const Strike& at) { on.timeOut(atRequest(at.nth)); }},
        {"answer lost", Aftermath::running, false, false,
         [](Faults& on, const Strike& at) { on.loseAnswer(atRequest(at.nth)); }},
        {"reply, one bit", Aftermath::running, true, false,
         [](Faults& on, const Strike& at) {
             on.flipReply(atRequest(at.nth), at.seed / 8U % at.reply_size, oneBit(at.seed));
         }},
        {"reply, noise", Aftermath::running, true, false,
         [](Faults& on, const Strike& at) { on.flipReply(atRequest(at.nth), 0, noise(at.seed)); }},
        {"unplugged", Aftermath::unplugged, false, false,
         [](Faults& on, const Strike& at) { on.unplug(atRequest(at.nth)); }},
        // No request comes through any more; the monitor keeps its power and its state.
        {"host lost", Aftermath::running, false, false,
         [](Faults& on, const Strike& at) { on.refuse(atRequest(at.nth).forGood(), platform::no_device); }},
        {"power cut before", Aftermath::powered_off, false, false, cutPower<Moment::before>},
        {"power cut during", Aftermath::powered_off, false, true, cutPower<Moment::during>},
        {"power cut after", Aftermath::powered_off, false, false, cutPower<Moment::after>}};
    return kinds;
}

} // namespace sim
