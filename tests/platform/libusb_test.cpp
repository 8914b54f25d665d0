/// The libusb of the machine on a simulated kernel. umockdev, with whose preload library the program is linked,
/// shows it sysfs files and device nodes (the kernel's ABI/*/sysfs-bus-usb); control transfers go to the virtual bus.
#include "hub/platform/libusb/libusb_status.h"
#include "seam_suite.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <libusb.h>
#include <set>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <umockdev.h>
#include <unistd.h>

using Libusb = seam::Seam;
using platform::success;

namespace {

using Paths = std::set<std::string>;

constexpr const char* node_path = "/dev/bus/usb/%03d/%03d"; // bus and address

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
    /// Without a folder here, names are looked up among the machine's own devices.
    LinuxWorld() { std::filesystem::create_directories(root + "/dev/bus/usb"); }

    void follow(sim::BusDevice& device, bool present) override
    {
        constexpr const char* megabits[] = {"1.5", "12", "480", "5000", "10000"};
        const sim::DeviceTraits& traits = device.traits;
        const std::string place = sysfsPath(traits.location);
        if (!present) {
            umockdev_testbed_remove_device(testbed.get(), ("/sys" + place).c_str());
            std::filesystem::remove(root + nodes.extract(&device).mapped());
            return;
        }
        const int number = static_cast<int>(traits.location >> 24U);
        const int address = ++last_address[number];
        const std::string path = nodes[&device] = format(node_path, number, address);
        // The device descriptor alone, without configurations.
        const std::string record =
            "P: " + place + "\nN: " + path.substr(5) + "\nE: DEVNAME=" + path + "\nE: SUBSYSTEM=usb\n" +
            format("E: DEVTYPE=usb_device\nA: busnum=%d\\n\nA: devnum=%d\\n\n", number, address) +
            format("A: speed=%s\\n\nH: descriptors=1201000209000040%04X%04X000100000000\n",
                   megabits[traits.speed], __builtin_bswap16(traits.vendor_id),
                   __builtin_bswap16(traits.product_id));
        EXPECT_TRUE(umockdev_testbed_add_from_string(testbed.get(), record.c_str(), nullptr)) << record;
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
        // Other threads open and close files meanwhile; one that is gone when its turn comes has no target.
        return std::count_if(begin(all), end(all), [this, gone = std::error_code()](auto& fd) mutable {
            const std::string target = std::filesystem::read_symlink(fd, gone);
            return target.rfind(root + "/dev/", 0) == 0 || target == "anon_inode:[timerfd]";
        });
    }

    /// The nodes that a process has to itself.
    Paths locked() const
    {
        Paths paths;
        for (const auto& [device, path] : nodes) {
            const int fd = open(path.c_str(), O_RDONLY);
            if (flock(fd, LOCK_EX | LOCK_NB) != 0)
                paths.insert(path);
            close(fd);
        }
        return paths;
    }

    std::shared_ptr<UMockdevTestbed> testbed{umockdev_testbed_new(), g_object_unref};
    const std::string root = std::getenv("UMOCKDEV_DIR"); ///< what the names of files are redirected to
    std::map<int, int> last_address;                      ///< by bus
    std::map<sim::BusDevice*, std::string> nodes;         ///< the paths of what is plugged in
    pid_t other_process = 0;
    unsigned timeout = 0; ///< of the last control transfer
};

LinuxWorld* g_linux = nullptr;
const std::string first_node = "/dev/bus/usb/020/001";
const std::string second_node = "/dev/bus/usb/032/001";
const Paths both_nodes{first_node, second_node};

/// What libusb's results stand for, from LIBUSB_SUCCESS, 0, to LIBUSB_ERROR_NOT_SUPPORTED, -12.
constexpr platform::Status statuses[] = {0,          0xE00002BC, 0xE00002C2, 0xE00002C1, 0xE00002C0,
                                         0xE00002F0, 0xE00002C5, 0xE00002D6, 0xE00002E8, 0xE000404F,
                                         0xE00002EB, 0xE00002BD, 0xE00002C7};

} // namespace

std::unique_ptr<seam::World> seam::makeWorld()
{
    return std::unique_ptr<World>(g_linux = new LinuxWorld);
}

// The linker puts this in the place of libusb's own.
extern "C" int __wrap_libusb_control_transfer(libusb_device_handle* handle, std::uint8_t type,
                                              std::uint8_t request, std::uint16_t value, std::uint16_t index,
                                              unsigned char* data, std::uint16_t length, unsigned timeout)
{
    libusb_device* const device = libusb_get_device(handle);
    const std::string path =
        format(node_path, libusb_get_bus_number(device), libusb_get_device_address(device));
    g_linux->timeout = timeout;
    platform::Status status = platform::no_device;
    for (const auto& [plugged, node] : g_linux->nodes)
        if (node == path)
            status = sim::VirtualBus::current()->transfer(*plugged, {type, request, value, index, length},
                                                          data, {});
    const auto error = std::begin(statuses) - std::find(std::begin(statuses), std::end(statuses), status);
    return status == success ? length : static_cast<int>(error);
}

TEST(LibusbStatus, EachErrorHasItsNumber)
{
    for (int i = 0; i < 13; ++i)
        EXPECT_EQ(platform::statusOfLibusb(-i), statuses[i]) << libusb_error_name(-i);
    EXPECT_EQ(platform::statusOfLibusb(4096), success) << "a count of bytes is a success";
    EXPECT_EQ(platform::statusOfLibusb(LIBUSB_ERROR_OTHER), platform::io_error) << "any other error";
}

TEST_F(Libusb, ARequestHasFiveSecondsOrItsOwnLimit)
{
    plugIn(seam::hub);
    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_EQ(g_linux->timeout, 5000U) << "milliseconds, without a limit of its own";
    EXPECT_EQ(g_Dev->controlRequest(seam::enable, 1, 10000), success);
    EXPECT_EQ(g_linux->timeout, 10000U) << "milliseconds, with a limit of 10 s";
}

TEST_F(Libusb, WithoutDescriptorsThereIsNoList)
{
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_FALSE(HH_Open(nullptr)) << "a hub was found where libusb cannot start";
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(g_ErrCode, hub::error_enumeration) << "a bus that cannot be listed must give its own error";
}

TEST_F(Libusb, TheLockIsOnAllNodesOfTheVendor)
{
    plugIn(seam::hub);
    Responder& second = plugIn(seam::second_hub);
    plugIn({0x1234, 0x0001, 0, 0x20400000});
    auto user = std::move(seam::listed().devices[1]);
    std::filesystem::remove(g_linux->root + second_node);
    std::filesystem::create_directory(g_linux->root + second_node); // which turns away even root
    EXPECT_EQ(user->open(), platform::io_error) << "a node of the vendor cannot be opened, so the hub cannot";
    EXPECT_EQ(g_linux->locked(), Paths{}) << "a node that cannot be opened leaves a lock behind";
    world->holdElsewhere(devices[0], true);
    EXPECT_EQ(g_linux->locked(), Paths{first_node}) << "the other process must lock one node only";
    // What comes back is a new node, but the other process is still at the other face.
    setPresent(second, false);
    setPresent(second, true);
    user = std::move(seam::listed().devices[1]);
    EXPECT_EQ(user->open(), platform::exclusive_access) << "another process is at the hub's other face";
    EXPECT_EQ(g_linux->locked(), Paths{first_node}) << "a refused open leaves a lock behind";
    world->holdElsewhere(devices[0], false);
    EXPECT_EQ(user->open(), success) << "the other process has gone";
}

TEST_F(Libusb, AProcessDoesNotLockItselfOut)
{
    Responder& first = plugIn(seam::hub);
    plugIn(seam::second_hub);
    ASSERT_TRUE(HH_Open(nullptr));
    auto forgotten = std::move(g_Dev);
    EXPECT_TRUE(HH_Open(nullptr)) << "a session that was not closed keeps the next one out";
    forgotten.reset();
    EXPECT_EQ(g_linux->locked(), both_nodes) << "the end of one session unlocks another";
    forgotten = std::move(g_Dev);
    // The hub restarts, and its new node has the name of the old one.
    setPresent(first, false);
    g_linux->last_address.clear();
    setPresent(first, true);
    EXPECT_EQ(g_linux->locked(), Paths{second_node}) << "a new node must not be locked yet";
    EXPECT_TRUE(HH_Open(nullptr)) << "a hub that restarted cannot be opened";
    forgotten.reset();
    EXPECT_EQ(g_linux->locked(), both_nodes) << "the end of a session with the old node unlocks the new one";
    EXPECT_EQ(g_Dev->close(), success);
    EXPECT_EQ(g_linux->locked(), Paths{}) << "the last session leaves a lock behind";
}
