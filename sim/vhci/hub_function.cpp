/// The requests that Linux's hub driver makes. Nothing is ever plugged into the hub's ports.
#include "sim/vhci/hub_function.h"

#include <utility>

namespace sim::vhci {

namespace {

/// bmRequestType and bRequest in one number, as a request is told by both.
constexpr unsigned key(std::uint8_t type, std::uint8_t request)
{
    return static_cast<unsigned>(type) << 8U | request;
}

constexpr std::uint8_t to_device = 0x00;
constexpr std::uint8_t to_interface = 0x01;
constexpr std::uint8_t to_endpoint = 0x02;
constexpr std::uint8_t from_device = 0x80;
constexpr std::uint8_t from_interface = 0x81;
constexpr std::uint8_t from_endpoint = 0x82;
constexpr std::uint8_t to_hub = 0x20;
constexpr std::uint8_t to_port = 0x23;
constexpr std::uint8_t from_hub = 0xA0;
constexpr std::uint8_t from_port = 0xA3;
constexpr std::uint8_t kind_mask = 0x60;
constexpr std::uint8_t vendor_kind = 0x40;

constexpr std::uint8_t get_status = 0;
constexpr std::uint8_t clear_feature = 1;
constexpr std::uint8_t set_feature = 3;
constexpr std::uint8_t get_descriptor = 6;
constexpr std::uint8_t get_configuration = 8;
constexpr std::uint8_t set_configuration = 9;
constexpr std::uint8_t get_interface = 10;
constexpr std::uint8_t set_interface = 11;
constexpr std::uint8_t set_hub_depth = 12;
constexpr std::uint8_t set_sel = 48;
constexpr std::uint8_t set_isoch_delay = 49;

constexpr std::uint8_t self_powered = 1;
// A powered port with nothing in it; the SuperSpeed link state is Rx.Detect.
constexpr std::uint16_t empty_port = 0x0100;
constexpr std::uint16_t empty_super_speed_port = 0x02A0;

} // namespace

HubFunction::HubFunction(HubIdentity identity, VendorRequests vendor)
    : identity_(std::move(identity))
    , vendor_(std::move(vendor))
{
}

platform::Status HubFunction::control(const SetupPacket& setup, Bytes& data)
{
    if ((setup.request_type & kind_mask) == vendor_kind) {
        data.resize(setup.length);
        return vendor_(setup, data.data());
    }
    if (!setup.isIn())
        return accepts(setup) ? platform::success : platform::pipe_stalled;
    data = reply(setup);
    if (data.empty())
        return platform::pipe_stalled;
    if (data.size() > setup.length)
        data.resize(setup.length);
    return platform::success;
}

/// Empty if there is no answer.
Bytes HubFunction::reply(const SetupPacket& setup) const
{
    switch (key(setup.request_type, setup.request)) {
    case key(from_device, get_descriptor):
        return standardDescriptor(identity_, setup.value);
    case key(from_hub, get_descriptor):
        return hubClassDescriptor(identity_.super_speed);
    case key(from_device, get_status):
        return {self_powered, 0};
    case key(from_interface, get_status):
    case key(from_endpoint, get_status):
        return {0, 0};
    case key(from_device, get_configuration):
        return {configuration_};
    case key(from_interface, get_interface):
        return {0};
    case key(from_hub, get_status):
        return {0, 0, 0, 0};
    case key(from_port, get_status):
        return portStatus(setup.index);
    default:
        return {};
    }
}

Bytes HubFunction::portStatus(std::uint16_t port) const
{
    if (port == 0 || port > hub_port_count)
        return {};
    const std::uint16_t status = identity_.super_speed ? empty_super_speed_port : empty_port;
    return {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(status >> 8U), 0, 0};
}

/// Features and settings have no effect that an empty hub could show.
bool HubFunction::accepts(const SetupPacket& setup)
{
    switch (key(setup.request_type, setup.request)) {
    case key(to_device, set_configuration):
        configuration_ = static_cast<std::uint8_t>(setup.value);
        return setup.value <= 1;
    case key(to_device, set_feature):
    case key(to_device, clear_feature):
    case key(to_interface, set_feature):
    case key(to_interface, clear_feature):
    case key(to_endpoint, clear_feature):
    case key(to_interface, set_interface):
    case key(to_hub, set_feature):
    case key(to_hub, clear_feature):
    case key(to_port, set_feature):
    case key(to_port, clear_feature):
        return true;
    case key(to_device, set_sel):
    case key(to_device, set_isoch_delay):
    case key(to_hub, set_hub_depth):
        return identity_.super_speed;
    default:
        return false;
    }
}

} // namespace sim::vhci
