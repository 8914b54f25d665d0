/// The operating-system seam of the benchmarks: one hub at high speed that answers every request at once, is
/// never busy and lets no sleep last. It moves the bytes of a request, as every seam has to, and does nothing
/// more, so that what is left of an update's time is the updater's own.
#pragma once

#include "hub/platform/usb_platform.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <vector>

namespace bench {

/// The calls at the seam during one update, to be made again without the updater: the bare reference.
class Recording
{
public:
    void addRequest(const platform::ControlRequest& request);
    void addSpeedQuery();
    /// Makes the same calls with the same bytes.
    void replay(platform::Device& device) const;
    int requestCount() const { return requests_; }

private:
    std::vector<platform::ControlRequest> calls_;
    std::vector<std::vector<std::uint8_t>> bytes_;
    std::unique_ptr<std::uint8_t[]> reply_ = std::make_unique<std::uint8_t[]>(0x10000);
    int requests_ = 0;
};

/// Where the flash holds the version that the hub reports.
constexpr std::size_t hub_version_at = 0x7EF9;

struct AnsweringHub
{
    bool plugged = false;
    std::clock_t delay = 0; ///< CPU time that each request takes
    Recording* recording = nullptr;
    bool runsCode = true;
    std::vector<std::uint8_t> flash = std::vector<std::uint8_t>(0x200000);
    std::vector<std::uint8_t> taken = std::vector<std::uint8_t>(0x10000); ///< the bytes of the last write
};

extern AnsweringHub hub;

/// A host's end of the hub.
std::unique_ptr<platform::Device> openHub();

} // namespace bench
