/// The kernel's virtual USB host controller, vhci_hcd: which of its ports are free, and plugging a device into
/// one. The device's end of the cable is a socket; closing it pulls the cable. The controller's files are in
/// its folder in sysfs (the kernel's drivers/usb/usbip/vhci_sysfs.c), and so are its two root hubs, usbN, with
/// the devices in their ports, usbN/N-1 to N-15.
#pragma once

#include <optional>
#include <string>

namespace sim::vhci {

class HostController
{
public:
    explicit HostController(std::string folder = "/sys/devices/platform/vhci_hcd.0");

    /// Why nothing can be plugged in here; empty when all is well.
    std::string trouble() const;
    /// The first free port for devices of this speed, or only `wanted`, if that one is free. A port is free
    /// when the kernel has forgotten what was in it: it does so late, and may lose a device that comes before.
    std::optional<int> freePort(bool superSpeed, std::optional<int> wanted) const;
    /// Plugs in the device that answers on the other end of `socket`; the kernel keeps a hold of its own.
    bool attach(int port, int socket, bool superSpeed) const;

private:
    bool showsDevice(int rootPort, bool superSpeed) const;

    std::string folder_;
};

} // namespace sim::vhci
