/// The descriptors of the monitor's hub: four downstream ports, powered by the monitor (USB 2.0 chapter 11,
/// USB 3.2 chapters 9 and 10). They are what makes an operating system bind its hub driver.
#pragma once

#include "sim/monitor/monitor_setup.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sim::vhci {

using Bytes = std::vector<std::uint8_t>;

struct HubIdentity
{
    bool super_speed = false;
    std::uint16_t vendor_id = 0;
    std::uint16_t product_id = 0;
    Version firmware;
    std::string name;
};

constexpr std::uint8_t hub_port_count = 4;

/// Answer to GET_DESCRIPTOR, `value` being type and index; empty: the hub has none such.
Bytes standardDescriptor(const HubIdentity& hub, std::uint16_t value);
/// The class's own descriptor, of another type and size at each speed.
Bytes hubClassDescriptor(bool superSpeed);

} // namespace sim::vhci
