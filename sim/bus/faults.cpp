/// Counting, and what each fault does to a request.
#include "sim/bus/faults.h"

#include <algorithm>
#include <utility>

namespace sim {

Matches requestIs(std::uint8_t requestType, std::uint8_t request)
{
    return [=](const SetupPacket& setup) {
        return setup.requestType == requestType && setup.request == request;
    };
}

Matches requestIs(std::uint8_t requestType, std::uint8_t request, std::uint16_t value)
{
    return [=](const SetupPacket& setup) {
        return setup.requestType == requestType && setup.request == request && setup.value == value;
    };
}

When When::forGood() const
{
    When when = *this;
    when.for_good = true;
    return when;
}

When atRequest(int nth)
{
    return {nth, {}, false};
}

When atMatch(Matches matches, int nth)
{
    return {nth, std::move(matches), false};
}

Faults::Fault& Faults::arm(When when, Kind kind)
{
    Fault& fault = armed_.emplace_back();
    fault.when = std::move(when);
    fault.kind = kind;
    return fault;
}

void Faults::refuse(When when, platform::Status status)
{
    arm(std::move(when), Kind::refuse).status = status;
}

void Faults::timeOut(When when)
{
    arm(std::move(when), Kind::time_out);
}

void Faults::loseAnswer(When when, platform::Status status)
{
    arm(std::move(when), Kind::lose_answer).status = status;
}

void Faults::flipReply(When when, std::size_t offset, std::vector<std::uint8_t> mask)
{
    Fault& fault = arm(std::move(when), Kind::flip_reply);
    fault.position = offset;
    fault.bytes = std::move(mask);
}

void Faults::replaceReply(When when, std::size_t offset, std::vector<std::uint8_t> bytes)
{
    Fault& fault = arm(std::move(when), Kind::replace_reply);
    fault.position = offset;
    fault.bytes = std::move(bytes);
}

void Faults::shortenReply(When when, std::size_t length)
{
    arm(std::move(when), Kind::shorten_reply).position = length;
}

void Faults::unplug(When when)
{
    arm(std::move(when), Kind::unplug);
}

void Faults::cutPower(When when, Moment moment, std::uint64_t seed)
{
    Fault& fault = arm(std::move(when), Kind::cut_power);
    fault.moment = moment;
    fault.seed = seed;
}

bool Faults::due(const SetupPacket& setup, Fault* strikes)
{
    bool found = false;
    for (auto fault = armed_.begin(); fault != armed_.end();) {
        const bool counts = !fault->when.matches || fault->when.matches(setup);
        if (!counts || --fault->when.nth > 0) {
            ++fault;
            continue;
        }
        if (!found)
            *strikes = *fault;
        found = true;
        fault->when.nth = 1; // for a fault that stays
        fault = fault->when.for_good ? fault + 1 : armed_.erase(fault);
    }
    return found;
}

platform::Status Faults::carryOut(BusDevice& device, const SetupPacket& setup, std::uint8_t* data,
                                  Duration patience)
{
    Fault fault;
    if (!due(setup, &fault))
        return device.control(setup, data);
    ++fired_;
    return strike(fault, device, setup, data, patience);
}

platform::Status Faults::strike(const Fault& fault, BusDevice& device, const SetupPacket& setup,
                                std::uint8_t* data, Duration patience)
{
    if (fault.kind == Kind::refuse)
        return fault.status;
    if (fault.kind == Kind::time_out) {
        clock_.advance(patience);
        return platform::timeout;
    }
    if (fault.kind == Kind::unplug) {
        device.unplug();
        return platform::no_device;
    }
    if (fault.kind == Kind::cut_power && fault.moment == Moment::before) {
        device.losePower({false, fault.seed});
        return platform::no_device;
    }

    // From here on the device carries the request out; what the host sees of the reply is decided after.
    std::vector<std::uint8_t> reply(data, data + setup.length);
    const platform::Status status = device.control(setup, reply.data());
    if (fault.kind == Kind::lose_answer)
        return fault.status;
    if (fault.kind == Kind::cut_power) {
        device.losePower({fault.moment == Moment::during, fault.seed});
        if (fault.moment == Moment::during)
            return platform::no_device;
    }
    if (!setup.isIn() || status != platform::success)
        return status;
    if (fault.kind == Kind::shorten_reply)
        reply.resize(std::min(reply.size(), fault.position));
    if (fault.kind == Kind::flip_reply || fault.kind == Kind::replace_reply) {
        for (std::size_t i = 0; i < fault.bytes.size() && fault.position + i < reply.size(); ++i) {
            std::uint8_t& byte = reply[fault.position + i];
            byte = fault.kind == Kind::flip_reply ? static_cast<std::uint8_t>(byte ^ fault.bytes[i])
                                                  : fault.bytes[i];
        }
    }
    std::copy(reply.begin(), reply.end(), data);
    return status;
}

} // namespace sim
