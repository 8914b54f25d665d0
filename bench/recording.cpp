/// Kept apart from the hub that answers, so that the compiler sees the reference's calls at the seam no better
/// than the updater's.
#include "bench/answering_hub.h"

namespace bench {

namespace {

constexpr std::uint8_t device_to_host = 0x80;
constexpr std::uint8_t speed_query = 0xFF; ///< in place of a request type

} // namespace

void Recording::addRequest(const platform::ControlRequest& request)
{
    platform::ControlRequest& call = calls_.emplace_back(request);
    ++requests_;
    if ((request.requestType & device_to_host) != 0) {
        call.data = reply_.get();
    } else if (request.length != 0) {
        const auto* bytes = static_cast<const std::uint8_t*>(request.data);
        call.data = bytes_.emplace_back(bytes, bytes + request.length).data();
    }
}

void Recording::addSpeedQuery()
{
    calls_.push_back({speed_query, 0, 0, 0, 0, nullptr});
}

void Recording::replay(platform::Device& device) const
{
    for (const platform::ControlRequest& call : calls_) {
        if (call.requestType == speed_query)
            device.speed(reply_.get());
        else
            device.controlRequest(call);
    }
}

} // namespace bench
