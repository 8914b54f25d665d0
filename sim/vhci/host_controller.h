/// The kernel's virtual USB host controller, vhci_hcd: finds a free port and plugs a device into it. The cable is a
/// socket; closing the device's end pulls it. The controller's sysfs folder has its files (the kernel's
/// drivers/usb/usbip/vhci_sysfs.c) and its two root hubs, usbN, with the devices in their ports, usbN/N-1 to N-15.
#pragma once

#include <optional>
#include <string>

namespace sim::vhci {

class HostController
{
public:
    explicit HostController(std::string folder = "/sys/devices/platform/vhci_hcd.0");

    /// Why nothing can be plugged in; empty if it can.
    std::string trouble() const;
    /// The first free port for devices of this speed, or `wanted` if that port is free. The kernel frees a port late;
    /// a device that is plugged in before that may get lost, so a port that still shows its old device is not free.
    std::optional<int> freePort(bool superSpeed, std::optional<int> wanted) const;
    /// Plugs in the device that answers at the other end of `socket`. The kernel takes a reference of its own.
    bool attach(int port, int socket, bool superSpeed) const;

private:
    bool showsDevice(int rootPort, bool superSpeed) const;

    std::string folder_;
};

} // namespace sim::vhci
