// What is libusb's and Linux's own, on the simulated kernel.
#include <libusb.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fcntl.h>
#include <sys/file.h>

#include "hub/platform/clock.h"
#include "hub/platform/libusb/libusb_status.h"
#include "usbfs_world.h"

using Libusb = seam::Seam;
using platform::success;

unsigned g_timeout = 0; // of the last control transfer

std::unique_ptr<seam::World> seam::makeWorld(sim::VirtualBus& bus)
{
    return std::unique_ptr<World>(g_usbfs = new UsbfsWorld(bus));
}

void platform::sleepFor(std::chrono::microseconds duration)
{
    sim::VirtualBus::current()->clock().advance(duration);
    g_usbfs->followBus();
}

// The linker puts the one between the platform and libusb, and calls libusb's own the other.
extern "C" decltype(libusb_control_transfer) __real_libusb_control_transfer, __wrap_libusb_control_transfer;
int __wrap_libusb_control_transfer(libusb_device_handle* handle, std::uint8_t type, std::uint8_t request,
                                   std::uint16_t value, std::uint16_t index, unsigned char* data,
                                   std::uint16_t length, unsigned timeout)
{
    g_timeout = timeout;
    return __real_libusb_control_transfer(handle, type, request, value, index, data, length, timeout);
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
    EXPECT_EQ(g_timeout, 5000U);
    EXPECT_EQ(g_Dev->controlRequest(seam::enable, 1, 10000), success);
    EXPECT_EQ(g_timeout, 10000U);
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

TEST_F(Libusb, ANodeWithoutRightsIsTold)
{
    using std::filesystem::perms;
    plugIn(seam::hub);
    const std::string path = g_usbfs->nodes.at(seam::hub.location).path;
    std::filesystem::permissions(g_usbfs->root + path, perms::owner_read);
    // Only the node is to turn anybody away, not umockdev's socket.
    for (const std::string& open : {std::string(), "/ioctl" + path})
        std::filesystem::permissions(g_usbfs->root + open, perms::all);
    const auto device = std::move(seam::listed()[0].second);
    const uid_t user = geteuid();
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(user == 0 ? seteuid(nobody) : 0, 0); // root may open everything
    EXPECT_EQ(device->open(), platform::not_privileged);
    ASSERT_EQ(seteuid(user), 0);
}

TEST_F(Libusb, TheLockIsOnBothFaces)
{
    plugIn(seam::hub);
    plugIn(seam::second_hub);
    plugIn({0x1234, 0x0001, 0, 0x20400000});
    world->holdElsewhere(devices[0], true);
    auto all = seam::listed();
    EXPECT_EQ(all[1].second->open(), platform::exclusive_access);
    EXPECT_EQ(all[2].second->open(), success); // another vendor's
    world->holdElsewhere(devices[0], false);
}

TEST_F(Libusb, AProcessDoesNotLockItselfOut)
{
    Responder& first = plugIn(seam::hub);
    plugIn(seam::second_hub);
    const auto locked = [] {
        Lines nodes;
        for (const auto& [location, node] : g_usbfs->nodes) {
            const int fd = open(node.path.c_str(), O_RDWR);
            if (flock(fd, LOCK_EX | LOCK_NB) != 0)
                nodes.push_back(node.path);
            close(fd);
        }
        return nodes;
    };
    const Lines both{"/dev/bus/usb/020/001", "/dev/bus/usb/032/001"};
    ASSERT_TRUE(HH_Open(nullptr));
    auto forgotten = std::move(g_Dev);
    EXPECT_TRUE(HH_Open(nullptr)) << "a session that was not closed keeps the next one out";
    forgotten.reset();
    EXPECT_EQ(locked(), both) << "the end of one session unlocks another";
    forgotten = std::move(g_Dev);
    // The hub restarts, and its new node has the name of the old one.
    setPresent(first, false);
    g_usbfs->last_address.clear();
    setPresent(first, true);
    EXPECT_EQ(locked(), Lines{both[1]});
    EXPECT_TRUE(HH_Open(nullptr));
    forgotten.reset();
    EXPECT_EQ(locked(), both);
    HH_Close();
    EXPECT_EQ(locked(), Lines{});
}
