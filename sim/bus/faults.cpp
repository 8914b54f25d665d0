/// Counting, and what each fault does to a request.
#include "sim/bus/faults.h"

#include <algorithm>
#include <utility>

namespace sim {

using platform::no_device;
using platform::Status;

Matches requestIs(std::uint8_t requestType, std::uint8_t request)
{
    return [=](const SetupPacket& setup) {
        return setup.request_type == requestType && setup.request == request;
    };
}

Matches requestIs(std::uint8_t requestType, std::uint8_t request, std::uint16_t value)
{
    return [=](const SetupPacket& setup) {
        return setup.request_type == requestType && setup.request == request && setup.value == value;
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

void Faults::refuse(When when, Status status)
{
    arm(std::move(when), [status](const Transfer&) { return status; });
}

void Faults::timeOut(When when)
{
    arm(std::move(when), [this](const Transfer& transfer) {
        clock_.advance(transfer.timeout);
        return platform::timeout;
    });
}

void Faults::loseAnswer(When when, Status status)
{
    arm(std::move(when), [status](const Transfer& transfer) {
        Reply unseen(transfer.data, transfer.data + transfer.setup.length);
        transfer.device.control(transfer.setup, unseen.data());
        return status;
    });
}

void Faults::spoilReply(When when, std::function<void(Reply&)> spoil)
{
    arm(std::move(when), [spoil = std::move(spoil)](const Transfer& transfer) {
        Reply reply(transfer.data, transfer.data + transfer.setup.length);
        const Status status = transfer.device.control(transfer.setup, reply.data());
        if (transfer.setup.isIn() && status == platform::success) {
            spoil(reply);
            std::copy(reply.begin(), reply.end(), transfer.data);
        }
        return status;
    });
}

void Faults::flipReply(When when, std::size_t offset, std::vector<std::uint8_t> mask)
{
    spoilReply(std::move(when), [offset, mask = std::move(mask)](Reply& reply) {
        for (std::size_t i = 0; i < mask.size() && offset + i < reply.size(); ++i)
            reply[offset + i] ^= mask[i];
    });
}

void Faults::replaceReply(When when, std::size_t offset, std::vector<std::uint8_t> bytes)
{
    spoilReply(std::move(when), [offset, bytes = std::move(bytes)](Reply& reply) {
        for (std::size_t i = 0; i < bytes.size() && offset + i < reply.size(); ++i)
            reply[offset + i] = bytes[i];
    });
}

void Faults::unplug(When when)
{
    arm(std::move(when), [](const Transfer& transfer) {
        transfer.device.unplug();
        return no_device;
    });
}

void Faults::cutPower(When when, Moment moment, std::uint64_t seed)
{
    arm(std::move(when), [moment, seed](const Transfer& transfer) {
        const bool answered = moment == Moment::after;
        Reply unseen(transfer.data, transfer.data + transfer.setup.length);
        Status status = no_device;
        if (moment != Moment::before)
            status = transfer.device.control(transfer.setup, answered ? transfer.data : unseen.data());
        transfer.device.losePower({moment == Moment::during, seed});
        return answered ? status : no_device;
    });
}

Faults::Strike Faults::due(const SetupPacket& setup)
{
    Strike strike;
    for (auto fault = armed_.begin(); fault != armed_.end();) {
        const bool counts = !fault->when.matches || fault->when.matches(setup);
        if (!counts || --fault->when.nth > 0) {
            ++fault;
            continue;
        }
        if (!strike)
            strike = fault->strike;
        fault->when.nth = 1; // for a fault that stays
        fault = fault->when.for_good ? fault + 1 : armed_.erase(fault);
    }
    return strike;
}

Status Faults::carryOut(BusDevice& device, const SetupPacket& setup, std::uint8_t* data, Duration timeout)
{
    const Strike strike = due(setup);
    return strike ? strike({device, setup, data, timeout}) : device.control(setup, data);
}

} // namespace sim
