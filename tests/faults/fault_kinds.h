/// The ways in which a single request goes wrong, as a table for tests that try each of them at each request of
/// a run. What the device does under each is in faults.h; here stands how the monitor is left afterwards and
/// where a fault makes no sense.
#pragma once

#include "sim/bus/faults.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim {

/// How the monitor stands once the run has ended.
enum class Aftermath { running, unplugged, powered_off };

/// Where and how a fault strikes.
struct Strike
{
    int nth = 1; ///< request, counted from 1 and from the moment the fault is armed
    std::uint64_t seed = 1;
    std::size_t reply_size = 1; ///< of that request; not looked at when it is a write
};

struct FaultKind
{
    const char* name;
    Aftermath after;
    bool replies_only; ///< makes sense only for requests that read
    bool tears;        ///< an operation that the request starts is torn, in as many ways as there are seeds
    void (*arm)(Faults&, const Strike&);

    /// In how many ways it is worth a trial at a request with so large a reply (0: a write) and so many
    /// ways of tearing what the request starts.
    int waysAt(std::size_t replySize, int ways) const;
};

/// Refused, timed out, answer lost, reply spoilt in one bit or all over, cable out, host gone, and the power cut
/// before, during and after the request.
const std::vector<FaultKind>& faultKinds();

} // namespace sim
