// The libusb of the machine on a simulated kernel. umockdev, with whose preload library the program is linked,
// shows it sysfs files and device nodes (the kernel's ABI/*/sysfs-bus-usb); control transfers go to the virtual bus.
#include <fcntl.h>
#include <libusb.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <map>

#include "hub/platform/libusb/libusb_status.h"
#include "seam_suite.h"

using Libusb = seam::Seam;
using platform::success;

namespace {

std::string nodePath(int bus, int address)
{
    return format("/dev/bus/usb/%03d/%03d", bus, address);
}

/// "/devices/1-2.3" for 0x01230000.
std::string sysfsPath(std::uint32_t location)
{
    std::string path = format("/devices/%u-%u", location >> 24U, location >> 20U & 0xFU);
    for (std::uint32_t ports = location << 12U; ports != 0; ports <<= 4U)
        path += format(".%u", ports >> 28U);
    return path;
}

struct LinuxWorld final : seam::World
{
    struct Node
    {
        std::string path;
        sim::BusDevice* device;
    };

    explicit LinuxWorld(sim::VirtualBus& virtual_bus)
        : bus(virtual_bus)
    {
        // Without a folder here, names are looked up among the machine's own devices.
        std::filesystem::create_directories(root + "/dev/bus/usb");
    }

    void follow(sim::BusDevice& device, bool present) override
    {
        constexpr const char* megabits[] = {"1.5", "12", "480", "5000", "10000"};
        const sim::DeviceTraits& traits = device.traits;
        const std::string place = sysfsPath(traits.location);
        if (!present) {
            std::filesystem::remove(root + nodes.at(traits.location).path);
            umockdev_testbed_remove_device(testbed.get(), ("/sys" + place).c_str());
            nodes.erase(traits.location);
            return;
        }
        const int number = static_cast<int>(traits.location >> 24U);
        const int address = ++last_address[number];
        const std::string path = nodePath(number, address);
        const auto swapped = [](unsigned word) { return word >> 8U | (word & 0xFFU) << 8U; };
        const std::string record =
            "P: " + place + "\nN: " + path.substr(5) + "\nE: DEVNAME=" + path +
            "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nA: bConfigurationValue=1\\n\n" +
            format("A: busnum=%d\\n\nA: devnum=%d\\n\nA: speed=%s\\n\n", number, address,
                   megabits[traits.speed]) +
            format("H: descriptors=1201000209000040%04X%04X000100000001", swapped(traits.vendor_id),
                   swapped(traits.product_id)) +
            "09020900000100E000\n"; // a configuration without interfaces
        EXPECT_TRUE(umockdev_testbed_add_from_string(testbed.get(), record.c_str(), nullptr)) << record;
        nodes[traits.location] = {path, &device};
    }

    void holdElsewhere(sim::BusDevice& /*device*/, bool held) override
    {
        if (held && (other_process = fork()) == 0)
            _exit(HH_Open(nullptr) ? raise(SIGSTOP) : 1);
        if (!held)
            kill(other_process, SIGKILL);
        int state = 0;
        waitpid(other_process, &state, WUNTRACED);
        EXPECT_EQ(WIFSTOPPED(state), held) << "the other process did not open the hub";
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

    /// The nodes that a process has to itself.
    Lines locked() const
    {
        Lines paths;
        for (const auto& [location, node] : nodes) {
            const int fd = open(node.path.c_str(), O_RDWR);
            if (flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
                paths.push_back(node.path);
            close(fd);
        }
        return paths;
    }

    int transfer(const std::string& path, const sim::SetupPacket& setup, std::uint8_t* data)
    {
        const std::map<platform::Status, int> results{{success, setup.length},
                                                      {platform::pipe_stalled, LIBUSB_ERROR_PIPE},
                                                      {platform::timeout, LIBUSB_ERROR_TIMEOUT},
                                                      {platform::no_device, LIBUSB_ERROR_NO_DEVICE}};
        for (const auto& [location, node] : nodes) {
            if (node.path == path)
                return results.at(bus.transfer(*node.device, setup, data, {}));
        }
        return LIBUSB_ERROR_NO_DEVICE;
    }

    sim::VirtualBus& bus;
    std::shared_ptr<UMockdevTestbed> testbed{umockdev_testbed_new(), g_object_unref};
    const std::string root = std::getenv("UMOCKDEV_DIR"); ///< what the names of files are redirected to
    std::map<int, int> last_address;                      ///< by bus
    std::map<std::uint32_t, Node> nodes;                  ///< by location
    pid_t other_process = 0;
    unsigned timeout = 0; ///< of the last control transfer
};

LinuxWorld* g_linux = nullptr;
const Lines both_hubs{"/dev/bus/usb/020/001", "/dev/bus/usb/032/001"};

} // namespace

std::unique_ptr<seam::World> seam::makeWorld(sim::VirtualBus& bus)
{
    return std::unique_ptr<World>(g_linux = new LinuxWorld(bus));
}

// The linker puts this in the place of libusb's own.
extern "C" decltype(libusb_control_transfer) __wrap_libusb_control_transfer;
int __wrap_libusb_control_transfer(libusb_device_handle* handle, std::uint8_t type, std::uint8_t request,
                                   std::uint16_t value, std::uint16_t index, unsigned char* data,
                                   std::uint16_t length, unsigned timeout)
{
    libusb_device* const device = libusb_get_device(handle);
    g_linux->timeout = timeout;
    return g_linux->transfer(nodePath(libusb_get_bus_number(device), libusb_get_device_address(device)),
                             {type, request, value, index, length}, data);
}

TEST(LibusbStatus, EachErrorHasItsNumber)
{
    // From LIBUSB_SUCCESS, 0, to LIBUSB_ERROR_NOT_SUPPORTED, -12; then a count, and what is none of these.
    const platform::Status statuses[] = {0,          0xE00002BC, 0xE00002C2, 0xE00002C1, 0xE00002C0,
                                         0xE00002F0, 0xE00002C5, 0xE00002D6, 0xE00002E8, 0xE000404F,
                                         0xE00002EB, 0xE00002BD, 0xE00002C7};
    for (int i = 0; i < 13; ++i)
        EXPECT_EQ(platform::statusOfLibusb(-i), statuses[i]) << libusb_error_name(-i);
    EXPECT_EQ(platform::statusOfLibusb(4096), success);
    EXPECT_EQ(platform::statusOfLibusb(LIBUSB_ERROR_OTHER), platform::io_error);
}

TEST_F(Libusb, ARequestHasFiveSecondsOrItsOwnLimit)
{
    plugIn(seam::hub);
    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_EQ(g_linux->timeout, 5000U);
    EXPECT_EQ(g_Dev->controlRequest(seam::enable, 1, 10000), success);
    EXPECT_EQ(g_linux->timeout, 10000U);
}

TEST_F(Libusb, WithoutADescriptorThereIsNoList)
{
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_FALSE(HH_Open(nullptr));
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(g_ErrCode, hub::error_enumeration);
}

TEST_F(Libusb, ANodeThatCannotBeOpenedLeavesNothingLocked)
{
    plugIn(seam::hub);
    plugIn(seam::second_hub);
    std::filesystem::remove(g_linux->root + both_hubs[0]);
    std::filesystem::create_directory(g_linux->root + both_hubs[0]); // which turns away even root
    const auto user = std::move(seam::listed()[0].second);
    EXPECT_EQ(user->open(), platform::io_error);
    EXPECT_EQ(g_linux->locked(), Lines{});
}

TEST_F(Libusb, TheLockIsOnAllNodesOfTheVendor)
{
    plugIn(seam::hub);
    Responder& second = plugIn(seam::second_hub);
    plugIn({0x1234, 0x0001, 0, 0x20400000});
    world->holdElsewhere(devices[0], true);
    EXPECT_EQ(g_linux->locked(), both_hubs);
    // What comes back is a new node, but the other process is still at the other face.
    setPresent(second, false);
    setPresent(second, true);
    const auto user = std::move(seam::listed()[1].second);
    EXPECT_EQ(user->open(), platform::exclusive_access);
    EXPECT_EQ(g_linux->locked(), Lines{both_hubs[0]});
    world->holdElsewhere(devices[0], false);
    EXPECT_EQ(user->open(), success);
}

TEST_F(Libusb, AProcessDoesNotLockItselfOut)
{
    Responder& first = plugIn(seam::hub);
    plugIn(seam::second_hub);
    ASSERT_TRUE(HH_Open(nullptr));
    auto forgotten = std::move(g_Dev);
    EXPECT_TRUE(HH_Open(nullptr)) << "a session that was not closed keeps the next one out";
    forgotten.reset();
    EXPECT_EQ(g_linux->locked(), both_hubs) << "the end of one session unlocks another";
    forgotten = std::move(g_Dev);
    // The hub restarts, and its new node has the name of the old one.
    setPresent(first, false);
    g_linux->last_address.clear();
    setPresent(first, true);
    EXPECT_EQ(g_linux->locked(), Lines{both_hubs[1]});
    EXPECT_TRUE(HH_Open(nullptr));
    forgotten.reset();
    EXPECT_EQ(g_linux->locked(), both_hubs);
    EXPECT_EQ(g_Dev->close(), success);
    EXPECT_EQ(g_linux->locked(), Lines{});
}
