/// The virtual monitor as a USB device of this computer. Both faces of its hub are plugged into the kernel's virtual
/// host controller while the chip is on the bus, and the kernel's requests go to the monitor. A face that comes back
/// gets the port that it had.
#pragma once

#include "sim/vhci/face_link.h"
#include "sim/vhci/host_controller.h"
#include "sim/vhci/real_time.h"
#include "sim/virtual_monitor.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <poll.h>
#include <string>
#include <vector>

namespace sim::vhci {

/// Vendor requests that reached the monitor.
struct Traffic
{
    std::uint64_t requests = 0;
    std::uint64_t failed = 0;   ///< refused, lost, or without an answer
    std::uint64_t bytes_in = 0; ///< from the hub to the host
    std::uint64_t bytes_out = 0;
};

class VhciFront
{
public:
    /// Called with one line for each event.
    using Say = std::function<void(const std::string&)>;

    /// `name` is the product name in the hub's descriptors. One second of the monitor takes `pace` real seconds.
    VhciFront(VirtualBus& bus, VirtualMonitor& monitor, const std::string& name, double pace, Say say);

    /// Why the monitor cannot be plugged in; empty if it can.
    std::string trouble() const { return controller_.trouble(); }
    /// Plugs in the faces that have come up on the bus, and pulls out those that have left it.
    void settle();
    /// Settles, then serves the kernel's requests until one of `others` is ready or `milliseconds` are over.
    void serve(std::vector<pollfd>& others, int milliseconds);

    const Traffic& traffic() const { return traffic_; }

private:
    struct Face
    {
        HubFace& device;
        std::optional<int> port; ///< the last one it had
        std::optional<FaceLink> link;
        std::string label;  ///< what is, or was, plugged in
        bool waits = false; ///< for a free port
    };

    void plugIn(Face& face);
    void pullOut(Face& face);
    platform::Status vendorRequest(HubFace& face, const SetupPacket& setup, std::uint8_t* data);

    VirtualBus& bus_;
    VirtualMonitor& monitor_;
    std::string name_;
    Say say_;
    RealTime time_;
    HostController controller_;
    std::array<Face, 2> faces_;
    Traffic traffic_;
};

} // namespace sim::vhci
