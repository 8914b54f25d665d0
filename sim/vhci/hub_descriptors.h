/// The descriptors of the monitor's hub, which make an operating system bind its hub driver: four downstream ports,
/// self-powered (USB 2.0 chapter 11, USB 3.2 chapters 9 and 10).
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

/// The answer to GET_DESCRIPTOR; `value` is type and index. Empty if the hub has no such descriptor.
Bytes standardDescriptor(const HubIdentity& hub, std::uint16_t value);
/// The hub class's own descriptor; type and size differ by speed.
Bytes hubClassDescriptor(bool superSpeed);

} // namespace sim::vhci
