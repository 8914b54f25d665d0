/// The platform seam on libusb 1.0, for Linux.
///
/// Only endpoint 0 is used, which needs neither a claimed interface nor the kernel's hub driver out of the
/// way: the hub goes on serving what is plugged into it. usbfs lets any number of processes open a device
/// node, so exclusive use is an advisory lock; the kernel drops the lock with the process. It covers the nodes
/// of all devices of that vendor, because a hub is one chip behind two of them: who has the one face open
/// must not be disturbed through the other.
#include <libusb.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

#include "hub/platform/libusb/libusb_status.h"

namespace {

using platform::Status;

/// The time that a device may stay silent on macOS; the kernel's own default on Linux is the same.
constexpr unsigned default_timeout_ms = 5000;
/// A link speed that libusb cannot name.
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

/// The ports on the way to a device, zeros behind the last.
PortPath portPath(libusb_device* device)
{
    PortPath path{};
    const int depth = libusb_get_port_numbers(device, path.data(), static_cast<int>(path.size()));
    // libusb fills the array from its end and then moves the path to the front: what it left behind is not zero.
    std::fill(path.begin() + std::max(depth, 0), path.end(), std::uint8_t{0});
    return path;
}

/// A descriptor of a device node, and with it the advisory lock on the node.
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

/// The locks of this process. The kernel refuses even a process its own lock through a second descriptor, so the
/// process's devices share one lock a node, which goes with the last of them. A node is known by its device and
/// inode number: its name may go to another one when a hub restarts.
using NodeId = std::pair<dev_t, ino_t>;
std::map<NodeId, std::weak_ptr<const NodeLock>> own_locks;

/// The locks on the nodes of all devices of a vendor.
class VendorLock
{
public:
    /// `exclusive_access` when another process has one of them.
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
    /// False when another process has the node. One that has gone or is not the user's is nobody's.
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
        fstat(fd, &node); // which an open descriptor always has
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
        // libusb counts from low = 1; its 0 is a speed that it does not know.
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
        // usbfs has one limit, for the whole request.
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

    // In this order: the context goes last.
    Context context_;
    DeviceRef device_;
    libusb_device_descriptor descriptor_;
    VendorLock lock_;
    Handle handle_;
};

/// The devices of one look at the bus, sorted by bus and port path so that positions keep their meaning from
/// one look to the next; libusb lists them in the order of their addresses, which every restart changes.
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
    // A context of its own looks at the bus afresh. One that lives on learns of a restarted hub only through
    // hotplug events, which nobody sends where no udev daemon runs.
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
    // The enumeration has taken over the references in the list.
    libusb_free_device_list(list, 0);
    return enumeration;
}
