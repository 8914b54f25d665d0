// The seam's contract, case by case; see seam_suite.h.
#include "seam_suite.h"

#include <algorithm>
#include <numeric>

#include "hub/firmware/hub_control.h"
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
        EXPECT_EQ(device->vendorId(&traits.vendor_id), success);
        EXPECT_EQ(device->productId(&traits.product_id), success);
        EXPECT_EQ(device->speed(&traits.speed), success);
        EXPECT_EQ(device->locationId(&traits.location), success);
        all.emplace_back(traits, std::move(device));
    }
    return all;
}

TEST_F(Seam, TheListKeepsItsOrderWhenDevicesRestart)
{
    const auto factsOf = [](const sim::DeviceTraits& device) {
        return format("%04X:%04X speed %d at %08X", device.vendor_id, device.product_id, device.speed,
                      device.location);
    };
    const auto facts = [factsOf] {
        Lines lines;
        for (const auto& [traits, device] : listed())
            lines.push_back(factsOf(traits));
        return lines;
    };
    Lines plugged;
    for (const std::uint32_t location :
         {0x03100000, 0x03200000, 0x03F00000, 0x14100000, 0x14200000, 0x20300000, 0x40100000, 0x40120000,
          0x40123000, 0x40123A00, 0x40123AB0, 0x40123AB6}) {
        const auto id = static_cast<std::uint16_t>(plugged.size());
        // From low speed to one that is faster than SuperSpeed.
        plugIn({id, 0x8765, static_cast<std::uint8_t>(id % 5), location});
        plugged.push_back(factsOf(devices.back().traits));
    }
    EXPECT_EQ(facts(), plugged);
    for (const std::size_t restarted : {11U, 4U, 3U, 5U, 0U}) {
        setPresent(devices[restarted], false);
        EXPECT_EQ(facts().size(), plugged.size() - 1);
        setPresent(devices[restarted], true);
    }
    EXPECT_EQ(facts(), plugged);
    EXPECT_EQ(wire(), Lines{}); // looking asks the devices nothing
}

TEST_F(Seam, FindsTheHubsAmongHundreds)
{
    EXPECT_FALSE(HH_Open(nullptr)); // on an empty bus
    EXPECT_EQ(g_ErrCode, hub::error_open);
    // Each has one of a hub's ids, but not both.
    for (std::uint32_t i = 0; i < 285; ++i) {
        const bool same_vendor = i % 15 == 0;
        plugIn({static_cast<std::uint16_t>(same_vendor ? 0x2E4D : 0x1234),
                static_cast<std::uint16_t>(same_vendor ? 0x7302 : 0x7305), 0,
                (1 + i / 15) << 24U | (1 + i % 15) << 20U});
    }
    EXPECT_FALSE(IsExistDevice());
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
    wire();
    EXPECT_EQ(user->open(), platform::exclusive_access);
    EXPECT_EQ(user->controlRequest(enable), no);
    EXPECT_FALSE(HH_Open(nullptr)); // and the second hub is not tried
    EXPECT_EQ(g_ErrCode, hub::error_open);
    EXPECT_EQ(wire(), Lines{});
    world->holdElsewhere(first, false);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ((Statuses{user->open(), user->open(), user->controlRequest(enable), user->close(),
                            user->controlRequest(enable)}),
                  (Statuses{success, platform::exclusive_access, success, success, no}));
    }
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
    const Lines both{"C0 D8 2345 0001 4096", "40 C8 8000 FEDC 4096"};
    for (const auto status : {platform::pipe_stalled, platform::timeout, platform::no_device}) {
        responder.status = success; // also after a failure
        EXPECT_EQ(device->controlRequest(read), success);
        EXPECT_EQ(device->controlRequest(write), success);
        EXPECT_EQ(data, page);
        EXPECT_EQ(bus.log().records().back().data, page);
        EXPECT_EQ(wire(), both);
        responder.status = status;
        EXPECT_EQ(device->controlRequest(read, 40, 40), status);
        EXPECT_EQ(device->controlRequest(write, 40, 40), status);
        EXPECT_EQ(wire(), both);
    }
}

TEST_F(Seam, ALengthWithoutDataNeverReachesTheBus)
{
    plugIn(hub);
    ASSERT_TRUE(HH_Open(nullptr));
    wire();
    EXPECT_EQ(HH_WriteFlash(0, nullptr, 2), platform::bad_argument);
    EXPECT_EQ(HH_Status(nullptr, 32), platform::bad_argument);
    EXPECT_EQ(g_Dev->controlRequest({0xC0, 0x09, 0, 0, 32, nullptr}, 40, 40), platform::bad_argument);
    EXPECT_EQ(wire(), Lines{});
}

TEST_F(Seam, ADeviceThatLeftStaysDead)
{
    for (const sim::DeviceTraits& traits : {hub, second_hub}) {
        Responder& responder = plugIn(traits);
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
        HH_Close();
        setPresent(responder, false);
    }
}

TEST_F(Seam, AThousandRoundsLeaveNothingBehind)
{
    plugIn(hub);
    for (int round = 0; round < 1000; ++round) {
        ASSERT_TRUE(HH_Open(nullptr)) << "in round " << round;
        if (round % 3 == 0)
            g_Dev.reset(); // without close()
        HH_Close();
    }
    EXPECT_EQ(world->liveObjects(), 0);
    EXPECT_EQ(wire().size(), 1000U);
}

TEST_F(Seam, TheMonitorRestartsIntoItsRomAndBack)
{
    sim::VirtualMonitor monitor(bus);
    world->followBus();
    ASSERT_TRUE(HH_Open(nullptr));
    EXPECT_EQ(HvxFun_GetFwVer(), 0x0102);
    ASSERT_TRUE(HvxFun_OpenRomDevice());
    EXPECT_EQ(HvxFun_GetFwVer(), 0x0001);
    ASSERT_TRUE(HvxFun_ResetAndWait(CODE_MODE));
    EXPECT_EQ(HvxFun_GetFwVer(), 0x0102);
    Bytes page(4096);
    EXPECT_EQ(HH_ReadFlash(0x7000, page.data(), 4096), success);
    EXPECT_TRUE(std::equal(page.begin(), page.end(), monitor.hub().flash().begin() + 0x7000));
    EXPECT_EQ(bus.violations().count(), 0);
}

} // namespace seam
