/// Endpoint 0 of one face of the hub, as an operating system's hub driver expects it: standard and class
/// requests are answered here, vendor requests are the chip's.
#pragma once

#include "hub/platform/usb_platform.h"
#include "sim/bus/setup_packet.h"
#include "sim/vhci/hub_descriptors.h"

#include <functional>

namespace sim::vhci {

/// `data` holds `setup.length` bytes; a reply fills it whole.
using VendorRequests = std::function<platform::Status(const SetupPacket& setup, std::uint8_t* data)>;

class HubFunction
{
public:
    HubFunction(HubIdentity identity, VendorRequests vendor);

    /// Carries out one request. `data` holds what the host has sent, and afterwards what the hub sends: never
    /// more than `setup.length` bytes.
    platform::Status control(const SetupPacket& setup, Bytes& data);

private:
    Bytes reply(const SetupPacket& setup) const;
    Bytes portStatus(std::uint16_t port) const;
    bool accepts(const SetupPacket& setup);

    HubIdentity identity_;
    VendorRequests vendor_;
    std::uint8_t configuration_ = 0;
};

} // namespace sim::vhci
