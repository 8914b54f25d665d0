/// The seam's contract, case by case; see seam_suite.h.
#include "hub/transport/vendor_commands.h"
#include "seam_suite.h"

#include <numeric>

namespace seam {

using platform::success;
using Statuses = std::vector<platform::Status>;

std::string line(const sim::DeviceTraits& t)
{
    return format("%04X:%04X speed %d at %08X", t.vendor_id, t.product_id, t.speed, t.location);
}

Listed listed()
{
    Listed all;
    const auto enumeration = platform::enumerateUsbDevices();
    std::unique_ptr<platform::Device> device;
    while (enumeration->next(&device) == platform::Found::device) {
        sim::DeviceTraits said;
        EXPECT_EQ(device->vendorId(&said.vendor_id), success) << "no vendor id";
        EXPECT_EQ(device->productId(&said.product_id), success) << "no product id";
        EXPECT_EQ(device->speed(&said.speed), success) << "no speed";
        EXPECT_EQ(device->locationId(&said.location), success) << "no location";
        all.lines.push_back(line(said));
        all.devices.push_back(std::move(device));
    }
    return all;
}

TEST_F(Seam, TheListKeepsItsOrderWhenDevicesRestart)
{
    EXPECT_FALSE(HH_Open(nullptr)) << "a hub was found on an empty bus";
    EXPECT_EQ(g_ErrCode, hub::error_open) << "an empty bus must be the error of opening";
    Lines lines;
    for (const unsigned location : {0x03100000, 0x03200000, 0x03F00000, 0x14100000, 0x40100000, 0x40120000,
                                    0x40123000, 0x40123A00, 0x40123AB0, 0x40123AB6}) {
        const auto speed = static_cast<std::uint8_t>(lines.size() % 5); // to one above SuperSpeed
        lines.push_back(line(plugIn({0x1234, 0x8765, speed, location}).traits));
    }
    for (std::uint32_t i = 0; i < 285; ++i) // and hundreds more
        lines.push_back(line(plugIn({0x1234, 0x7305, 2, (65 + i / 15) << 24U | (1 + i % 15) << 20U}).traits));
    for (const std::size_t restarted : {9U, 4U, 3U, 0U}) {
        setPresent(devices[restarted], false);
        EXPECT_EQ(listed().lines.size(), lines.size() - 1) << "a device that left must leave the list";
        setPresent(devices[restarted], true);
        EXPECT_EQ(listed().lines, lines) << "order after a restart of the device at index " << restarted;
    }
    EXPECT_EQ(wire(), Lines{}) << "listing the devices sends requests to them";
}

TEST_F(Seam, OneProcessAtATime)
{
    Responder& first = plugIn(hub);
    plugIn(second_hub);
    const auto user = std::move(listed().devices[0]);
    constexpr auto no = platform::not_open;
    EXPECT_EQ(user->close(), no) << "closing a device that is not open";
    world->holdElsewhere(first, true);
    EXPECT_EQ(user->open(), platform::exclusive_access) << "opening what another process holds";
    EXPECT_EQ(user->controlRequest(enable, 100, 100), no) << "a request to a device that is not open";
    EXPECT_FALSE(HH_Open(nullptr)) << "the second hub was tried";
    EXPECT_EQ(g_ErrCode, hub::error_open) << "a held hub must be the error of opening";
    EXPECT_EQ(wire(), Lines{}) << "a request reached a hub that another process holds";
    world->holdElsewhere(first, false);
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ((Statuses{user->open(), user->open(), user->controlRequest(enable), user->close(),
                            user->controlRequest(enable)}),
                  (Statuses{success, platform::exclusive_access, success, success, no}))
            << "open, open again, request, close, request";
}

TEST_F(Seam, RequestsTravelAsTheyAreAndFailuresSayWhy)
{
    Responder& responder = plugIn(hub);
    std::iota(responder.reply.begin(), responder.reply.end(), std::uint8_t{3});
    const Bytes page(responder.reply.begin(), responder.reply.begin() + 4096);
    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_EQ(wire(), Lines{"40 02 0001 2E4D 0"}) << "a session must begin with the unlocking request";
    Bytes data(4096);
    const platform::ControlRequest read{0xC0, 0xD8, 0x2345, 0x0001, 4096, data.data()};
    const platform::ControlRequest write{0x40, 0xC8, 0x8000, 0xFEDC, 4096, data.data()};
    for (const auto status : {success, platform::pipe_stalled, platform::timeout, platform::no_device}) {
        responder.status = status;
        EXPECT_EQ(g_Dev->controlRequest(read), status) << "status of a read";
        EXPECT_EQ(g_Dev->controlRequest(write, 40, 40), status) << "status of a write with a time limit";
        EXPECT_EQ(bus.log().records().back().data, page) << "the bytes that were read come back in the write";
        EXPECT_EQ(wire(), (Lines{"C0 D8 2345 0001 4096", "40 C8 8000 FEDC 4096"})) << "requests on the wire";
    }
    EXPECT_EQ((Statuses{HH_WriteFlash(0, nullptr, 2), HH_Status(nullptr, 32),
                        g_Dev->controlRequest({0xC0, 0x09, 0, 0, 32, nullptr}, 40, 40)}),
              Statuses(3, platform::bad_argument))
        << "a length without data must be a bad argument";
    EXPECT_EQ(wire(), Lines{}) << "a length without data reached the bus";
}

TEST_F(Seam, ADeviceThatLeftStaysDead)
{
    Responder& responder = plugIn(hub);
    const auto early = std::move(listed().devices[0]);
    ASSERT_TRUE(HH_Open(nullptr));
    wire();
    for (const bool present : {false, true}) { // what comes back is another device
        setPresent(responder, present);
        EXPECT_EQ(early->open(), platform::no_device) << "opening a device that left, back: " << present;
        EXPECT_EQ(g_Dev->controlRequest(enable), platform::no_device) << "a request to it, back: " << present;
        EXPECT_EQ(IsExistDevice(), present) << "a hub is on the bus exactly when it is plugged in";
    }
    HH_Close();
    EXPECT_EQ(wire(), Lines{}) << "a request reached the hub in a session from before it restarted";
    EXPECT_TRUE(HH_Open(nullptr)) << "a hub that came back cannot be opened";
}

} // namespace seam
