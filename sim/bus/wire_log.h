/// Every request that went over the wire, in order, for tests to compare and people to read. Requests that were
/// turned away before (without open(), or after the device had left) are not here.
#pragma once

#include "hub/platform/usb_platform.h"
#include "sim/bus/clock.h"
#include "sim/bus/setup_packet.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

struct WireRecord
{
    Duration time{0}; ///< when the request began
    SetupPacket setup;
    std::vector<std::uint8_t> data; ///< all that moved; empty for a refused read
    platform::Status status = platform::success;
    int device = 0; ///< position on the bus
};

class WireLog
{
public:
    const std::vector<WireRecord>& records() const { return records_; }
    void clear() { records_.clear(); }
    /// On by default. Turn it off for millions of requests.
    void setEnabled(bool enabled) { enabled_ = enabled; }
    bool enabled() const { return enabled_; }
    void add(WireRecord record) { records_.push_back(std::move(record)); }

    /// One line per record, with the first 16 bytes of data.
    std::string text() const;

private:
    std::vector<WireRecord> records_;
    bool enabled_ = true;
};

} // namespace sim
