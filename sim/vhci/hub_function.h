/// Endpoint 0 of one face of the hub, for an operating system's hub driver: answers standard and class requests, and
/// passes vendor requests to the chip.
#pragma once

#include "hub/platform/usb_platform.h"
#include "sim/bus/setup_packet.h"
#include "sim/vhci/hub_descriptors.h"

#include <functional>

namespace sim::vhci {

/// `data` holds `setup.length` bytes, and a reply fills all of them.
using VendorRequests = std::function<platform::Status(const SetupPacket& setup, std::uint8_t* data)>;

class HubFunction
{
public:
    HubFunction(HubIdentity identity, VendorRequests vendor);

    /// Carries out one request. `data` goes in with what the host sends and comes out with what the hub sends, at
    /// most `setup.length` bytes.
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
