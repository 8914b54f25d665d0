/// The platform seam on libusb 1.0, for Linux.
///
/// All requests use endpoint 0. They need no claimed interface, and the kernel's hub driver stays attached: the hub
/// keeps serving what is plugged into it. usbfs lets any number of processes open a device node, so exclusive use
/// is an advisory lock, which the kernel drops when the process ends. The lock covers the nodes of all devices of
/// the vendor, because a hub is one chip behind two nodes: while one face is open, no other process may use the
/// other.
#include "hub/platform/libusb/libusb_status.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <libusb.h>
#include <map>
#include <sys/file.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using platform::Status;

/// How long a device may stay silent on macOS; Linux has the same default.
constexpr unsigned default_timeout_ms = 5000;
/// The link speed is not known to libusb.
constexpr std::uint8_t unknown_speed = 0xFF;

using Context = std::shared_ptr<libusb_context>;
using PortPath = std::array<std::uint8_t, 7>;

struct DeviceUnref
{
    void operator()(libusb_device* device) const { libusb_unref_device(device); }
};
using DeviceRef = std::unique_ptr<libusb_device, DeviceUnref>;

struct HandleClose
{
    void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
};
using Handle = std::unique_ptr<libusb_device_handle, HandleClose>;

/// The ports on the path to a device, padded with zeros.
PortPath portPath(libusb_device* device)
{
    PortPath path{};
    const int depth = libusb_get_port_numbers(device, path.data(), static_cast<int>(path.size()));
    // libusb fills the array from its end, then moves the path to the front and leaves the old bytes behind.
    std::fill(path.begin() + std::max(depth, 0), path.end(), std::uint8_t{0});
    return path;
}

/// Owns the file descriptor of a device node, and with it the advisory lock on the node.
class NodeLock
{
public:
    explicit NodeLock(int fd)
        : fd_(fd)
    {
    }
    ~NodeLock() { close(fd_); }
    NodeLock(const NodeLock&) = delete;
    NodeLock& operator=(const NodeLock&) = delete;

private:
    int fd_;
};

/// The locks of this process. The kernel treats a second descriptor of the same process as a rival, so the
/// process's devices share one lock per node; the last one releases it. The key is the node's device and inode
/// number, because another node may get its name when a hub restarts.
using NodeId = std::pair<dev_t, ino_t>;
std::map<NodeId, std::weak_ptr<const NodeLock>> own_locks;

/// The locks on the nodes of all devices of a vendor.
class VendorLock
{
public:
    /// `exclusive_access` when another process holds one of them.
    Status take(libusb_context* context, std::uint16_t vendorId)
    {
        bool taken = true;
        libusb_device** list = nullptr;
        const ssize_t count = libusb_get_device_list(context, &list);
        for (ssize_t i = 0; taken && i < count; ++i) {
            libusb_device_descriptor descriptor{};
            libusb_get_device_descriptor(list[i], &descriptor);
            if (descriptor.idVendor == vendorId)
                taken = add(list[i]);
        }
        libusb_free_device_list(list, 1);
        if (taken)
            return platform::success;
        release();
        return platform::exclusive_access;
    }

    void release() { locks_.clear(); }

private:
    /// False when another process holds the node. A node that cannot be opened (gone, no permission) is skipped.
    bool add(libusb_device* device)
    {
        char name[40];
        std::snprintf(name, sizeof name, "/dev/bus/usb/%03d/%03d", libusb_get_bus_number(device),
                      libusb_get_device_address(device));
        const int fd = open(name, O_RDWR | O_CLOEXEC);
        if (fd < 0)
            return true;
        auto lock = std::make_shared<const NodeLock>(fd);
        struct stat node = {};
        fstat(fd, &node); // cannot fail on an open descriptor
        auto& own = own_locks[{node.st_dev, node.st_ino}];
        if (const auto shared = own.lock())
            lock = shared;
        else if (flock(fd, LOCK_EX | LOCK_NB) != 0)
            return false;
        own = lock;
        locks_.push_back(std::move(lock));
        return true;
    }

    std::vector<std::shared_ptr<const NodeLock>> locks_;
};

class LibusbDevice final : public platform::Device
{
public:
    LibusbDevice(Context context, DeviceRef device, const libusb_device_descriptor& descriptor)
        : context_(std::move(context))
        , device_(std::move(device))
        , descriptor_(descriptor)
    {
    }

    Status vendorId(std::uint16_t* id) override
    {
        *id = descriptor_.idVendor;
        return platform::success;
    }

    Status productId(std::uint16_t* id) override
    {
        *id = descriptor_.idProduct;
        return platform::success;
    }

    Status open() override
    {
        if (handle_)
            return platform::exclusive_access;
        const Status locked = lock_.take(context_.get(), descriptor_.idVendor);
        if (locked != platform::success)
            return locked;
        libusb_device_handle* handle = nullptr;
        const Status opened = platform::statusOfLibusb(libusb_open(device_.get(), &handle));
        handle_.reset(handle);
        if (!handle_)
            lock_.release();
        return opened;
    }

    Status close() override
    {
        if (!handle_)
            return platform::not_open;
        handle_.reset();
        lock_.release();
        return platform::success;
    }

    Status speed(std::uint8_t* code) override
    {
        // libusb counts from low = 1; 0 means unknown.
        const int speed = libusb_get_device_speed(device_.get());
        *code = speed == LIBUSB_SPEED_UNKNOWN ? unknown_speed
                                              : static_cast<std::uint8_t>(speed - LIBUSB_SPEED_LOW);
        return platform::success;
    }

    Status locationId(std::uint32_t* location) override
    {
        // Six ports fit; USB allows no longer path.
        constexpr int top_port_shift = 20;
        std::uint32_t id = static_cast<std::uint32_t>(libusb_get_bus_number(device_.get())) << 24U;
        const PortPath path = portPath(device_.get());
        for (int i = 0; i < 6; ++i)
            id |= (path[static_cast<std::size_t>(i)] & 0xFU) << (top_port_shift - 4 * i);
        *location = id;
        return platform::success;
    }

private:
    Status doControlRequest(const platform::ControlRequest& request) override
    {
        return transfer(request, default_timeout_ms);
    }

    Status doControlRequest(const platform::ControlRequest& request, std::uint32_t /*noDataTimeout*/,
                            std::uint32_t completionTimeout) override
    {
        // usbfs has a single time limit, for the whole request.
        return transfer(request, completionTimeout);
    }

    Status transfer(const platform::ControlRequest& request, unsigned timeoutMs)
    {
        if (!handle_)
            return platform::not_open;
        return platform::statusOfLibusb(libusb_control_transfer(
            handle_.get(), request.requestType, request.request, request.value, request.index,
            static_cast<unsigned char*>(request.data), request.length, timeoutMs));
    }

    // Keep this order: the context must be destroyed last.
    Context context_;
    DeviceRef device_;
    libusb_device_descriptor descriptor_;
    VendorLock lock_;
    Handle handle_;
};

/// The devices found in one scan of the bus, sorted by bus and port path so that positions keep their meaning from
/// one scan to the next; libusb lists them in the order of their addresses, which every restart changes.
class LibusbEnumeration final : public platform::Enumeration
{
public:
    LibusbEnumeration(Context context, libusb_device** list, std::size_t count)
        : context_(std::move(context))
    {
        for (std::size_t i = 0; i < count; ++i)
            places_.push_back({libusb_get_bus_number(list[i]), portPath(list[i]), DeviceRef(list[i])});
        std::sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) {
            return std::tie(a.bus, a.ports) < std::tie(b.bus, b.ports);
        });
    }

    platform::Found next(std::unique_ptr<platform::Device>* device) override
    {
        if (next_ == places_.size())
            return platform::Found::end;
        DeviceRef ref = std::move(places_[next_++].device);
        libusb_device_descriptor descriptor{};
        if (libusb_get_device_descriptor(ref.get(), &descriptor) != LIBUSB_SUCCESS)
            return platform::Found::no_interface;
        *device = std::make_unique<LibusbDevice>(context_, std::move(ref), descriptor);
        return platform::Found::device;
    }

private:
    struct Place
    {
        std::uint8_t bus;
        PortPath ports;
        DeviceRef device;
    };

    Context context_;
    std::vector<Place> places_;
    std::size_t next_ = 0;
};

} // namespace

std::unique_ptr<platform::Enumeration> platform::enumerateUsbDevices()
{
    // A new context scans the bus anew. An old one learns of a restarted hub only through hotplug events, which do
    // not arrive where no udev daemon runs.
    libusb_context* raw = nullptr;
    if (libusb_init(&raw) != LIBUSB_SUCCESS)
        return nullptr;
    Context context(raw, libusb_exit);
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(context.get(), &list);
    if (count < 0)
        return nullptr;
    auto enumeration =
        std::make_unique<LibusbEnumeration>(std::move(context), list, static_cast<std::size_t>(count));
    // The enumeration now owns the references in the list.
    libusb_free_device_list(list, 0);
    return enumeration;
}
