/// The virtual end of the platform seam: enumerations find the devices of this bus, and sleeps move its clock.
/// Devices have fixed positions; clock, wire log, faults and violations are here.
#pragma once

#include "hub/platform/usb_platform.h"
#include "sim/bus/bus_device.h"
#include "sim/bus/clock.h"
#include "sim/bus/faults.h"
#include "sim/bus/setup_packet.h"
#include "sim/bus/violations.h"
#include "sim/bus/wire_log.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace sim {

class VirtualBus
{
public:
    /// The newest bus is the process's bus. Without one, enumerations find nothing and sleeps return at once.
    VirtualBus();
    /// Detaches every device; handles that still exist give `no_device`.
    ~VirtualBus();
    VirtualBus(const VirtualBus&) = delete;
    VirtualBus& operator=(const VirtualBus&) = delete;

    static VirtualBus* current() { return current_; }

    Clock& clock() { return clock_; }
    WireLog& log() { return log_; }
    Faults& faults() { return faults_; }
    Violations& violations() { return violations_; }

    /// A device gets the next position and keeps it while it is absent.
    void attach(BusDevice& device);
    /// Moves all later devices up by one position.
    void detach(BusDevice& device);

    void refuseEnumeration(bool refuse) { refuse_enumeration_ = refuse; }
    /// Null when enumeration is refused.
    std::unique_ptr<platform::Enumeration> enumerate();

    /// Carries one request to a device, without a handle or open(): time passes, armed faults strike, the log
    /// records it. `timeout` is how long the host waits for a silent device.
    platform::Status transfer(BusDevice& device, const SetupPacket& setup, std::uint8_t* data,
                              Duration timeout);
    /// Requests carried since the bus was made.
    std::uint64_t requestCount() const { return request_count_; }

private:
    int positionOf(const BusDevice& device) const;

    static inline VirtualBus* current_ = nullptr;

    Clock clock_;
    WireLog log_;
    Violations violations_;
    Faults faults_;
    std::vector<BusDevice*> devices_;
    std::uint64_t request_count_ = 0;
    bool refuse_enumeration_ = false;
};

} // namespace sim
