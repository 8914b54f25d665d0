/// One monitor of the family: hub chip with bridge and flash, display, scaler with flash, a power plug and a
/// USB cable. It plugs itself into the bus, SuperSpeed face first, and has been on for a while.
#pragma once

#include "sim/bus/virtual_bus.h"
#include "sim/monitor/ddc_display.h"
#include "sim/monitor/hub_chip.h"
#include "sim/monitor/i2c_bridge.h"
#include "sim/monitor/monitor_setup.h"
#include "sim/monitor/scaler_isp.h"
#include "sim/monitor/supply.h"

namespace sim {

/// Must not outlive its bus, except to be looked at.
class VirtualMonitor final : private Supply
{
public:
    /// From power on until hub and display both answer.
    static constexpr Duration start_up_time = std::chrono::seconds(5);

    explicit VirtualMonitor(VirtualBus& bus, const MonitorSetup& setup = {});

    HubChip& hub() { return hub_; }
    DdcDisplay& display() { return display_; }
    ScalerIsp& scaler() { return scaler_; }

    /// The USB cable. The monitor keeps its power and its state, but locks its vendor commands.
    void unplug();
    /// Back on the bus at once, as a new device.
    void plugIn();

    /// Off until powerOn(): volatile state is gone, the flashes stay, an operation that the scaler's flash
    /// was busy with is torn.
    void cutPower(const PowerLoss& loss = {}) override;
    /// Starts hub and scaler; they answer after their start-up times.
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
