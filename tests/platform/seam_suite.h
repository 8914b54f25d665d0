/// The contract of the operating-system seam as cases that every back end has to pass. seam_cases.cpp is linked
/// into one program a back end, together with a World: the simulated operating system that the back end believes
/// to run on. It shows the back end what is plugged into the virtual bus.
#pragma once

#include "../unit/hub_fixture.h"

namespace seam {

constexpr sim::DeviceTraits hub{0x2E4D, 0x0305, 2, 0x14100000};
constexpr sim::DeviceTraits second_hub{0x2E4D, 0x7305, 3, 0x20300000};
constexpr platform::ControlRequest enable{0x40, 0x02, 1, 0x2E4D, 0, nullptr};

/// As it stands it is the virtual bus itself.
struct World
{
    virtual ~World() = default;
    /// The device came to the bus or left it.
    virtual void follow(sim::BusDevice& /*device*/, bool /*present*/) {}
    /// Another process takes the device, or lets it go.
    virtual void holdElsewhere(sim::BusDevice& device, bool held) { device.troubles.held_by_other = held; }
    /// Number of objects taken from the operating system and not yet returned; 0 where none are counted.
    virtual long liveObjects() const { return 0; }
};

/// The World of the back end that the program is linked with.
std::unique_ptr<World> makeWorld();

/// All devices on the bus in the platform's order, and a line about each: what it says of itself.
struct Listed
{
    Lines lines;
    std::vector<std::unique_ptr<platform::Device>> devices;
};
Listed listed();

struct Seam : HubTest
{
    void TearDown() override
    {
        g_Dev.reset();
        EXPECT_EQ(world->liveObjects(), 0) << "objects of the operating system are left behind";
    }
    /// The requests since the last call, one line each.
    Lines wire()
    {
        Lines lines;
        for (const auto& record : bus.log().records())
            lines.push_back(wireLine(record));
        bus.log().clear();
        return lines;
    }
    /// If the device is behind another hub, plug that hub in first.
    Responder& plugIn(const sim::DeviceTraits& traits)
    {
        bus.attach(devices.emplace_back(traits));
        world->follow(devices.back(), true);
        return devices.back();
    }
    /// What comes back is a new device.
    void setPresent(Responder& device, bool present)
    {
        device.setPresent(present);
        world->follow(device, present);
    }

    std::deque<Responder> devices;
    std::unique_ptr<World> world = makeWorld();
};

} // namespace seam
