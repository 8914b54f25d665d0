/// A complete monitor in software, for use where no real one is attached: in the tests, in the demo, or plugged into a
/// Linux kernel. It is written from the device's side: what it answers to each USB request, what that changes, and how
/// long it takes. It has its own copy of every number, so that a wrong one in the tool shows, and it is harsher than
/// the chips: what they would punish only later (a reply read too early, a flash operation while another runs) is
/// reported at once, as a protocol violation.
///
///     sim/vhci      plugs it into a running Linux kernel: USB/IP, descriptors, real time
///       |
///       v
///     sim/monitor   the device: hub chip with two faces on the bus, its I2C bridge and flash; behind the bridge the
///       |           display (DDC/CI) and the scaler's ISP port with the serial flash
///       v
///     sim/bus       the virtual implementation of the platform interface (hub/platform/): devices at their
///                   positions and the handles to them, the clock, the wire log, the faults, the violations
///
/// Each folder includes only those below it, and of hub/ only the platform interface. A program that links
/// platform_virtual finds the newest VirtualBus where it would look for real USB devices, and its sleeps advance the
/// simulated clock of that bus.
///
/// What can go wrong, by bus.faults() (sim/bus/faults.h): a request is refused, times out, or its answer is lost or
/// changed; the cable or the power goes before, during or after it, and a flash operation is torn; the
/// hub never comes back, the scaler never enters ISP mode or never gets ready, the check of an erased block fails.
/// A device on the bus can also fail to open or to say what it is (DeviceTroubles in sim/bus/bus_device.h).
///
/// A new monitor model is an enumerator and a row: Model and its table in sim/monitor/monitor_setup.{h,cpp} hold its
/// name, the size of its flash, the registers that lift the write protection, and what the factory leaves in flash.
#pragma once

#include "sim/bus/virtual_bus.h"
#include "sim/monitor/ddc_display.h"
#include "sim/monitor/hub_chip.h"
#include "sim/monitor/i2c_bridge.h"
#include "sim/monitor/monitor_setup.h"
#include "sim/monitor/plugs.h"
#include "sim/monitor/scaler_isp.h"

namespace sim {

/// One monitor, plugged into the bus, SuperSpeed face first, and long since switched on. After its bus is gone it may
/// only be looked at.
class VirtualMonitor final : private Plugs
{
public:
    /// From power on until both hub and display answer.
    static constexpr Duration start_up_time = std::chrono::seconds(5);

    explicit VirtualMonitor(VirtualBus& bus, const MonitorSetup& setup = {});

    HubChip& hub() { return hub_; }
    DdcDisplay& display() { return display_; }
    ScalerIsp& scaler() { return scaler_; }

    /// Pulls the USB cable. The monitor keeps its power and its state, but locks its vendor commands.
    void unplug();
    /// Puts the cable back: a new device is on the bus at once.
    void plugIn();

    /// Off until powerOn(). Volatile state is lost, the flashes keep theirs; what the scaler's flash was busy with
    /// is torn.
    void cutPower(const PowerLoss& loss = {}) override;
    /// Starts hub and scaler; both answer after start_up_time.
    void powerOn();
    void powerCycle();

private:
    void pullCable() override { unplug(); }

    Environment env_;
    ScalerIsp scaler_;
    DdcDisplay display_;
    I2cBridge bridge_;
    HubChip hub_;
};

} // namespace sim
