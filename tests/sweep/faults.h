/// The ways in which a request goes wrong that the sweep tries at each. What the device does under each is in
/// sim/bus/faults.h.
#pragma once

#include "sim/bus/faults.h"

/// What a fault strikes: a reply, only of requests that read; the power, which then stays off; or the flash operation
/// that the request starts, which is torn as the seed says, and the power stays off.
enum class Strikes { request, reply, power, operation };

struct FaultKind
{
    const char* name;
    Strikes strikes;
    /// For the next request.
    void (*arm)(sim::Faults& on, std::uint64_t seed, std::size_t replySize);
};

using Mask = std::vector<std::uint8_t>;

inline const sim::When next = sim::atRequest(1);

inline const FaultKind fault_kinds[] = {
    {"refused", Strikes::request, [](auto& on, auto, auto) { on.refuse(next); }},
    {"timed out", Strikes::request, [](auto& on, auto, auto) { on.timeOut(next); }},
    {"answer lost", Strikes::request, [](auto& on, auto, auto) { on.loseAnswer(next); }},
    {"reply, one bit", Strikes::reply,
     [](auto& on, auto seed, auto size) {
         on.flipReply(next, seed / 8U % size, Mask(1, static_cast<std::uint8_t>(1U << seed % 8U)));
     }},
    // Every byte changes.
    {"reply, noise", Strikes::reply,
     [](auto& on, auto seed, auto size) {
         on.flipReply(next, 0, Mask(size, static_cast<std::uint8_t>(seed * 37U | 1U)));
     }},
    {"unplugged", Strikes::request, [](auto& on, auto, auto) { on.unplug(next); }},
    // The host's requests fail from here on; the monitor notices nothing.
    {"host lost", Strikes::request,
     [](auto& on, auto, auto) { on.refuse(next.forGood(), platform::no_device); }},
    {"power cut before", Strikes::power,
     [](auto& on, auto, auto) { on.cutPower(next, sim::Moment::before); }},
    {"power cut during", Strikes::operation,
     [](auto& on, auto seed, auto) { on.cutPower(next, sim::Moment::during, seed); }},
    {"power cut after", Strikes::power, [](auto& on, auto, auto) { on.cutPower(next, sim::Moment::after); }}};
