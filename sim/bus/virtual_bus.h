/// The USB side of the simulation: devices at fixed positions, one clock, one log, one set of faults. The
/// bus that exists is what the operating-system seam enumerates and what its sleeps wait on.
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
    /// The newest bus is the process's bus; with none, enumerations are empty and sleeps return.
    VirtualBus();
    /// Detaches every device; handles that still exist give `no_device` from now on.
    ~VirtualBus();
    VirtualBus(const VirtualBus&) = delete;
    VirtualBus& operator=(const VirtualBus&) = delete;

    static VirtualBus* current();

    Clock& clock() { return clock_; }
    WireLog& log() { return log_; }
    Faults& faults() { return faults_; }
    Violations& violations() { return violations_; }

    /// Positions follow the order of attaching and are kept while a device is absent; detaching moves the
    /// later ones up.
    void attach(BusDevice& device);
    void detach(BusDevice& device);

    void refuseEnumeration(bool refuse) { refuse_enumeration_ = refuse; }
    /// Null when enumeration is refused.
    std::unique_ptr<platform::Enumeration> enumerate();

    /// Carries one request to a device: time passes, armed faults strike, the log takes note. `patience` is
    /// how long the host waits for a silent device. Needs no handle and no open().
    platform::Status transfer(BusDevice& device, const SetupPacket& setup, std::uint8_t* data,
                              Duration patience);
    /// Requests carried since the bus was made.
    std::uint64_t requestCount() const { return request_count_; }

private:
    void renumber();

    Clock clock_;
    WireLog log_;
    Violations violations_;
    Faults faults_;
    std::vector<BusDevice*> devices_;
    std::uint64_t request_count_ = 0;
    bool refuse_enumeration_ = false;
};

} // namespace sim
