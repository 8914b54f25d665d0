/// A search of the bus for the hub, with a hundred other devices on it, against one listing by libusb. The
/// devices are a simulated kernel's (umockdev, linked ahead of everything that opens files).
#include "bench/bench.h"
#include "hub/transport/session.h"

#include <cstdlib>
#include <libusb.h>
#include <umockdev.h>

namespace {

constexpr int others = 100;

/// As udev and sysfs show a device of no interest: at full speed, one configuration without interfaces.
void addDevice(UMockdevTestbed* testbed, const std::string& path, int number)
{
    char text[512];
    std::snprintf(
        text, sizeof text,
        "P: /devices/%s\nN: bus/usb/001/%03d\nE: DEVNAME=/dev/bus/usb/001/%03d\nE: DEVTYPE=usb_device\n"
        "E: SUBSYSTEM=usb\nA: busnum=1\\n\nA: devnum=%d\\n\nA: speed=12\\n\nA: bConfigurationValue=1\\n\n"
        "H: descriptors=12010002000000403412785600010000000109020900000100800900\n",
        path.c_str(), number, number, number);
    if (umockdev_testbed_add_from_string(testbed, text, nullptr) == 0)
        std::abort();
}

void listDevices()
{
    libusb_context* context = nullptr;
    libusb_device** list = nullptr;
    if (libusb_init(&context) != LIBUSB_SUCCESS || libusb_get_device_list(context, &list) != 1 + others)
        std::abort();
    libusb_free_device_list(list, 1);
    libusb_exit(context);
}

} // namespace

int main()
{
    UMockdevTestbed* testbed = umockdev_testbed_new();
    addDevice(testbed, "usb1", 1); // the root hub
    for (int port = 1; port <= others; ++port)
        addDevice(testbed, "usb1/1-" + std::to_string(port), 1 + port);
    const auto times = bench::leastTimes({{"search", [] { IsExistDevice(); }}, {"listing", listDevices}});
    bench::row("search of a bus with 100 other devices / one libusb listing",
               times.at("search") / times.at("listing"), 1.2);
    g_object_unref(testbed);
    return bench::exit_status;
}
