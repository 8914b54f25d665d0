/// The seam's World for libusb: the USB side of a Linux kernel, simulated through umockdev, whose preload library
/// the program is linked with. The real libusb of the machine finds sysfs files, device nodes and the ioctls
/// behind a control transfer, as the kernel describes them (driver-api/usb/usb.rst, ABI/*/sysfs-bus-usb).
#pragma once

#include <linux/ioctl.h>
#include <linux/usbdevice_fs.h>
#include <sys/wait.h>
#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <map>

#include "seam_suite.h"

/// "/sys/devices/1-2.3" for 0x01230000.
std::string sysfsPath(std::uint32_t location)
{
    std::string path = "/sys/devices/" + std::to_string(location >> 24U);
    for (std::uint32_t ports = location << 8U; ports != 0; ports <<= 4U)
        path += (ports == location << 8U ? "-" : ".") + std::to_string(ports >> 28U);
    return path;
}

struct UsbfsWorld final : seam::World
{
    using IoctlData = std::shared_ptr<UMockdevIoctlData>;
    struct Node
    {
        std::string path; ///< "/dev/bus/usb/001/002"
        std::unique_ptr<platform::Device> device;
    };

    explicit UsbfsWorld(sim::VirtualBus& virtual_bus)
        : bus(virtual_bus)
    {
        // Without a folder here, names are looked up among the machine's own devices.
        std::filesystem::create_directories(root + "/dev/bus/usb");
        g_signal_connect(handler.get(), "handle-ioctl", G_CALLBACK(onIoctl), this);
    }

    void followBus() override
    {
        std::uint16_t id = 0;
        for (auto next = nodes.begin(); next != nodes.end();) {
            const auto node = next++;
            if (node->second.device->vendorId(&id) == platform::success)
                continue;
            std::filesystem::remove(root + node->second.path);
            announce(node->first, "remove");
            umockdev_testbed_remove_device(testbed.get(), sysfsPath(node->first).c_str());
            umockdev_testbed_detach_ioctl(testbed.get(), node->second.path.c_str(), nullptr);
            nodes.erase(node);
        }
        for (auto& [traits, device] : seam::listed(bus.enumerate())) {
            if (nodes.count(traits.location) == 0)
                add(traits, std::move(device));
        }
    }

    void holdElsewhere(sim::BusDevice& /*device*/, bool held) override
    {
        if (held && (other_process = fork()) == 0)
            _exit(HH_Open(nullptr) ? raise(SIGSTOP) : 1);
        int state = 0;
        if (!held)
            kill(other_process, SIGKILL);
        waitpid(other_process, &state, WUNTRACED);
        EXPECT_EQ(WIFSTOPPED(state), held) << "the other process did not open the hub";
    }

    void add(const sim::DeviceTraits& traits, std::unique_ptr<platform::Device> device)
    {
        constexpr const char* configurations[] = {"", "1", "2"}; // the first for none
        constexpr const char* megabits[] = {"1.5", "12", "480", "5000", "10000"};
        const unsigned number = traits.location >> 24U;
        const int address = ++last_address[number];
        const std::string path = format("/dev/bus/usb/%03u/%03d", number, address);
        const auto swapped = [](unsigned word) { return word >> 8U | (word & 0xFFU) << 8U; };
        // A device descriptor of a hub, and a configuration of one interface without endpoints.
        const std::string record =
            "P: " + sysfsPath(traits.location).substr(4) + "\nN: " + path.substr(5) +
            "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: DEVNAME=" + path +
            format("\nA: busnum=%u\\n\nA: devnum=%d\\n\nA: speed=%s\\n\nA: bConfigurationValue=%s\\n\n",
                   number, address, megabits[traits.speed], configurations[address % 3]) +
            format("H: descriptors=1201000209000040%04X%04X000100000001", swapped(traits.vendor_id),
                   swapped(traits.product_id)) +
            "09021200010100E000090400000009000000\n";
        EXPECT_TRUE(umockdev_testbed_add_from_string(testbed.get(), record.c_str(), nullptr)) << record;
        umockdev_testbed_attach_ioctl(testbed.get(), path.c_str(), handler.get(), nullptr);
        announce(traits.location, "add");
        device->open();
        nodes[traits.location] = {path, std::move(device)};
    }

    /// A udev daemon has news of one half of the buses. A back end may neither need them nor be confused by them.
    void announce(std::uint32_t location, const char* action)
    {
        if ((location & 0x10000000U) != 0)
            umockdev_testbed_uevent(testbed.get(), sysfsPath(location).c_str(), action);
    }

    /// Device nodes and the timers of libusb's contexts.
    long liveObjects() const override
    {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::count_if(begin(all), end(all), [this](const auto& entry) {
            std::error_code gone;
            const std::string target = std::filesystem::read_symlink(entry, gone);
            return target.rfind(root + "/dev/", 0) == 0 || target == "anon_inode:[timerfd]";
        });
    }

    /// Called on umockdev's thread, while the test's own waits for libusb.
    static gboolean onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer world)
    {
        const int error =
            static_cast<UsbfsWorld*>(world)->ioctl(client, umockdev_ioctl_client_get_arg(client));
        umockdev_ioctl_client_complete(client, error == 0 ? 0 : -1, error);
        return TRUE;
    }

    /// Returns 0 or an errno. There is one URB at a time.
    int ioctl(UMockdevIoctlClient* client, UMockdevIoctlData* argument)
    {
        switch (umockdev_ioctl_client_get_request(client)) {
        case USBDEVFS_GET_CAPABILITIES:
            return 0; // none
        case USBDEVFS_SUBMITURB:
            return submit(umockdev_ioctl_client_get_devnode(client), argument);
        case USBDEVFS_REAPURBNDELAY:
            if (!data || urb()->status == -EINPROGRESS)
                return EAGAIN;
            umockdev_ioctl_data_set_ptr(resolved(argument, 0, sizeof(void*)).get(), 0, data.get());
            data.reset();
            return 0;
        case USBDEVFS_DISCARDURB:
            urb()->status = -ENOENT;
            return 0;
        default:
            ADD_FAILURE() << "a control transfer needs neither a claim nor a reset";
            return ENOTTY;
        }
    }

    static IoctlData resolved(UMockdevIoctlData* data, std::size_t at, std::size_t size)
    {
        return {umockdev_ioctl_data_resolve(data, at, size, nullptr), g_object_unref};
    }
    usbdevfs_urb* urb() const { return reinterpret_cast<usbdevfs_urb*>(data->data); }

    int submit(const std::string& path, UMockdevIoctlData* argument)
    {
        const auto node =
            std::find_if(nodes.begin(), nodes.end(), [&](const auto& n) { return n.second.path == path; });
        if (node == nodes.end())
            return ENODEV;
        data = resolved(argument, 0, sizeof(usbdevfs_urb));
        const auto length = static_cast<std::size_t>(urb()->buffer_length);
        const IoctlData buffer = resolved(data.get(), offsetof(usbdevfs_urb, buffer), length);
        std::uint8_t* const b = buffer->data;
        const auto word = [b](int at) { return static_cast<std::uint16_t>(b[at] | b[at + 1] << 8); };
        const std::map<platform::Status, int> errors{{platform::success, 0},
                                                     {platform::pipe_stalled, EPIPE},
                                                     {platform::no_device, ESHUTDOWN},
                                                     {platform::timeout, EINPROGRESS}};
        urb()->status =
            -errors.at(node->second.device->controlRequest({b[0], b[1], word(2), word(4), word(6), b + 8}));
        urb()->actual_length = urb()->buffer_length - 8;
        return 0;
    }

    sim::VirtualBus& bus;
    // With an answer from before the testbed umockdev announces no device by itself.
    const gboolean is_mocked_yet = umockdev_in_mock_environment();
    std::shared_ptr<UMockdevTestbed> testbed{umockdev_testbed_new(), g_object_unref};
    std::shared_ptr<UMockdevIoctlBase> handler{umockdev_ioctl_base_new(), g_object_unref};
    const std::string root = std::getenv("UMOCKDEV_DIR"); ///< what the names of files are redirected to
    std::map<unsigned, int> last_address;                 ///< by bus
    std::map<std::uint32_t, Node> nodes;                  ///< by location
    pid_t other_process = 0;
    IoctlData data; ///< of the URB
};

UsbfsWorld* g_usbfs = nullptr;
