// The seam's contract, case by case; see seam_suite.h.
#include "seam_suite.h"

#include <numeric>

#include "hub/transport/vendor_commands.h"

namespace seam {

using platform::success;
using Statuses = std::vector<platform::Status>;

Listed listed(std::unique_ptr<platform::Enumeration> enumeration)
{
    Listed all;
    std::unique_ptr<platform::Device> device;
    while (enumeration->next(&device) == platform::Found::device) {
        sim::DeviceTraits traits;
        EXPECT_EQ((Statuses{device->vendorId(&traits.vendor_id), device->productId(&traits.product_id),
                            device->speed(&traits.speed), device->locationId(&traits.location)}),
                  Statuses(4, success));
        all.emplace_back(traits, std::move(device));
    }
    return all;
}

TEST_F(Seam, TheListKeepsItsOrderWhenDevicesRestart)
{
    const auto list = [] {
        Lines lines;
        for (const auto& [traits, device] : listed())
            lines.push_back(format("%04X:%04X speed %d at %08X", traits.vendor_id, traits.product_id,
                                   traits.speed, traits.location));
        return lines;
    };
    Lines plugged;
    for (const unsigned location : {0x03100000, 0x03200000, 0x03F00000, 0x14100000, 0x40100000, 0x40120000,
                                    0x40123000, 0x40123A00, 0x40123AB0, 0x40123AB6}) {
        const unsigned number = static_cast<unsigned>(plugged.size());
        const unsigned speed = number % 5; // from low to one above SuperSpeed
        plugIn({static_cast<std::uint16_t>(number), 0x8765, static_cast<std::uint8_t>(speed), location});
        plugged.push_back(format("%04X:8765 speed %u at %08X", number, speed, location));
    }
    for (const std::size_t restarted : {9U, 4U, 3U, 0U}) {
        setPresent(devices[restarted], false);
        EXPECT_EQ(list().size(), plugged.size() - 1);
        setPresent(devices[restarted], true);
        EXPECT_EQ(list(), plugged) << "after a restart of the device at index " << restarted;
    }
    EXPECT_EQ(wire(), Lines{}); // looking asks the devices nothing
}

TEST_F(Seam, FindsTheHubsAmongHundreds)
{
    EXPECT_FALSE(HH_Open(nullptr)) << "on an empty bus";
    EXPECT_EQ(g_ErrCode, hub::error_open);
    // Each has a hub's product id with another vendor's, or the other way round.
    for (std::uint32_t i = 0; i < 285; ++i)
        plugIn({static_cast<std::uint16_t>(i % 15 == 0 ? 0x2E4D : 0x1234),
                static_cast<std::uint16_t>(i % 15 == 0 ? 0x7302 : 0x7305), 0,
                (1 + i / 15) << 24U | (1 + i % 15) << 20U});
    EXPECT_FALSE(IsExistDevice()) << "where only one of the two ids is a hub's";
    std::uint32_t position = 0;
    for (const sim::DeviceTraits& wanted : {hub, second_hub}) {
        plugIn(wanted);
        ASSERT_TRUE(HH_Open(&position)) << "with the session before it still open";
        ++position;
    }
    EXPECT_EQ(position, 287U);
    EXPECT_FALSE(HH_Open(&position));
}

TEST_F(Seam, OneProcessAtATime)
{
    Responder& first = plugIn(hub);
    plugIn(second_hub);
    const auto user = std::move(listed()[0].second);
    constexpr auto no = platform::not_open;
    EXPECT_EQ((Statuses{user->close(), user->controlRequest(enable, 100, 100)}), (Statuses{no, no}));
    world->holdElsewhere(first, true);
    EXPECT_EQ(user->open(), platform::exclusive_access);
    EXPECT_EQ(user->controlRequest(enable), no);
    EXPECT_FALSE(HH_Open(nullptr)); // and the second hub is not tried
    EXPECT_EQ(g_ErrCode, hub::error_open);
    EXPECT_EQ(wire(), Lines{});
    world->holdElsewhere(first, false);
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ((Statuses{user->open(), user->open(), user->controlRequest(enable), user->close(),
                            user->controlRequest(enable)}),
                  (Statuses{success, platform::exclusive_access, success, success, no}));
}

TEST_F(Seam, RequestsTravelAsTheyAreAndFailuresSayWhy)
{
    Responder& responder = plugIn(hub);
    std::iota(responder.reply.begin(), responder.reply.end(), std::uint8_t{3});
    const Bytes page(responder.reply.begin(), responder.reply.begin() + 4096);
    const auto device = std::move(listed()[0].second);
    ASSERT_EQ(device->open(), success);
    Bytes data(4096);
    const platform::ControlRequest read{0xC0, 0xD8, 0x2345, 0x0001, 4096, data.data()};
    const platform::ControlRequest write{0x40, 0xC8, 0x8000, 0xFEDC, 4096, data.data()};
    for (const auto status :
         {success, platform::pipe_stalled, platform::timeout, platform::no_device, success}) {
        responder.status = status;
        EXPECT_EQ(device->controlRequest(read), status);
        EXPECT_EQ(device->controlRequest(write, 40, 40), status);
        EXPECT_EQ(data, page);
        EXPECT_EQ(bus.log().records().back().data, page);
        EXPECT_EQ(wire(), (Lines{"C0 D8 2345 0001 4096", "40 C8 8000 FEDC 4096"}));
    }
}

TEST_F(Seam, ALengthWithoutDataNeverReachesTheBus)
{
    plugIn(hub);
    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_EQ(wire(), Lines{"40 02 0001 2E4D 0"}); // a session begins with the unlocking
    EXPECT_EQ((Statuses{HH_WriteFlash(0, nullptr, 2), HH_Status(nullptr, 32),
                        g_Dev->controlRequest({0xC0, 0x09, 0, 0, 32, nullptr}, 40, 40)}),
              Statuses(3, platform::bad_argument));
    EXPECT_EQ(wire(), Lines{});
}

TEST_F(Seam, ADeviceThatLeftStaysDead)
{
    Responder& responder = plugIn(hub);
    const auto early = std::move(listed()[0].second);
    ASSERT_TRUE(HH_Open(nullptr));
    wire();
    for (const bool present : {false, true}) { // what comes back is another one
        setPresent(responder, present);
        EXPECT_EQ(early->open(), platform::no_device);
        EXPECT_EQ(g_Dev->controlRequest(enable), platform::no_device);
        EXPECT_EQ(IsExistDevice(), present);
    }
    HH_Close();
    EXPECT_EQ(wire(), Lines{});
    EXPECT_TRUE(HH_Open(nullptr));
}

} // namespace seam
