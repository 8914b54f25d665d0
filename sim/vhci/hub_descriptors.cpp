/// The bytes of each descriptor, in the order of the standard's tables.
#include "sim/vhci/hub_descriptors.h"

#include <initializer_list>

namespace sim::vhci {

namespace {

constexpr std::uint8_t device_type = 0x01;
constexpr std::uint8_t configuration_type = 0x02;
constexpr std::uint8_t string_type = 0x03;
constexpr std::uint8_t interface_type = 0x04;
constexpr std::uint8_t endpoint_type = 0x05;
constexpr std::uint8_t bos_type = 0x0F;
constexpr std::uint8_t capability_type = 0x10;
constexpr std::uint8_t hub_type = 0x29;
constexpr std::uint8_t super_speed_hub_type = 0x2A;
constexpr std::uint8_t companion_type = 0x30;

constexpr std::uint8_t hub_class = 0x09;
constexpr std::uint8_t single_tt = 1;
constexpr std::uint8_t super_speed_hub = 3;

constexpr std::uint8_t maker_string = 1;
constexpr std::uint8_t product_string = 2;
constexpr std::uint8_t no_string = 0;

std::uint8_t low(std::size_t value)
{
    return static_cast<std::uint8_t>(value);
}

std::uint8_t high(std::size_t value)
{
    return static_cast<std::uint8_t>(value >> 8U);
}

void append(Bytes& bytes, std::initializer_list<std::uint8_t> more)
{
    bytes.insert(bytes.end(), more);
}

Bytes deviceDescriptor(const HubIdentity& hub)
{
    const std::uint8_t usb_major = hub.super_speed ? 3 : 2;
    const std::uint8_t usb_minor = hub.super_speed ? 0x00 : 0x10;
    // Packet size of endpoint 0: in bytes, for SuperSpeed as a power of two.
    const std::uint8_t packet = hub.super_speed ? 9 : 64;
    Bytes all{18, device_type, usb_minor, usb_major, hub_class, 0};
    append(all, {hub.super_speed ? super_speed_hub : single_tt, packet});
    append(all, {low(hub.vendor_id), high(hub.vendor_id), low(hub.product_id), high(hub.product_id)});
    append(all, {hub.firmware.minor, hub.firmware.major, maker_string, product_string, no_string, 1});
    return all;
}

/// One interface, with the endpoint that reports changes at the ports.
Bytes configurationDescriptor(bool superSpeed)
{
    constexpr std::uint8_t self_powered = 0xE0; // and wakes the host
    constexpr std::uint8_t changes_in = 0x81;
    constexpr std::uint8_t interrupt = 0x03;
    constexpr std::uint8_t notification = 0x10; // what SuperSpeed adds to an interrupt endpoint
    Bytes all{9, configuration_type, 0, 0, 1, 1, no_string, self_powered, 0};
    append(all, {9, interface_type, 0, 0, 1, hub_class, 0, 0, no_string});
    if (superSpeed) {
        append(all, {7, endpoint_type, changes_in, interrupt | notification, 2, 0, 8});
        append(all, {6, companion_type, 0, 0, 2, 0});
    } else {
        append(all, {7, endpoint_type, changes_in, interrupt, 1, 0, 12});
    }
    all[2] = low(all.size());
    all[3] = high(all.size());
    return all;
}

/// Link power management, and for SuperSpeed the link's speeds and the container id, which both faces share.
Bytes bosDescriptor(bool superSpeed)
{
    Bytes all{5, bos_type, 0, 0, 1};
    append(all, {7, capability_type, 0x02, 0x02, 0, 0, 0});
    if (superSpeed) {
        append(all, {10, capability_type, 0x03, 0, 0x0E, 0, 1, 0, 0, 0});
        append(all, {20, capability_type, 0x04, 0});
        append(all, {0x51, 0x58, 0x16, 0x50, 0x2E, 0x4D, 0x40, 0x00});
        append(all, {0x80, 0x00, 0x4D, 0x6F, 0x6E, 0x69, 0x74, 0x72});
        all[4] = 3;
    }
    all[2] = low(all.size());
    all[3] = high(all.size());
    return all;
}

Bytes stringDescriptor(const HubIdentity& hub, std::uint8_t index)
{
    if (index == no_string)
        return {4, string_type, 0x09, 0x04}; // the only language: US English
    if (index != maker_string && index != product_string)
        return {};
    const std::string text = index == maker_string ? "QX Series" : hub.name;
    Bytes all{low(2 + 2 * text.size()), string_type};
    for (const char letter : text)
        append(all, {static_cast<std::uint8_t>(letter), 0});
    return all;
}

} // namespace

Bytes standardDescriptor(const HubIdentity& hub, std::uint16_t value)
{
    switch (high(value)) {
    case device_type:
        return deviceDescriptor(hub);
    case configuration_type:
        return low(value) == 0 ? configurationDescriptor(hub.super_speed) : Bytes{};
    case string_type:
        return stringDescriptor(hub, low(value));
    case bos_type:
        return bosDescriptor(hub.super_speed);
    default:
        return {};
    }
}

Bytes hubClassDescriptor(bool superSpeed)
{
    constexpr std::uint8_t each_port_by_itself = 0x09; // power switches and over-current
    constexpr std::uint8_t power_good = 50;            // in units of 2 ms: how long a port takes to get power
    if (superSpeed) {
        Bytes all{12, super_speed_hub_type, hub_port_count, each_port_by_itself, 0, power_good};
        all.resize(12);
        return all;
    }
    return {9, hub_type, hub_port_count, each_port_by_itself, 0, power_good, 0, 0, 0xFF};
}

} // namespace sim::vhci
