/// One thread: first who is on the bus, then what the kernel has sent.
#include "sim/vhci/vhci_front.h"

#include <cstdio>
#include <sys/socket.h>
#include <utility>

namespace sim::vhci {

namespace {

std::string speedName(bool superSpeed)
{
    return superSpeed ? "SuperSpeed" : "High-Speed";
}

std::string labelOf(const HubIdentity& hub)
{
    std::array<char, 40> numbers{};
    std::snprintf(numbers.data(), numbers.size(), " face %04x:%04x %u.%u", hub.vendor_id, hub.product_id,
                  hub.firmware.major, hub.firmware.minor);
    return speedName(hub.super_speed) + numbers.data();
}

} // namespace

VhciFront::VhciFront(VirtualBus& bus, VirtualMonitor& monitor, const std::string& name, double pace, Say say)
    : bus_(bus)
    , monitor_(monitor)
    , name_(name)
    , say_(std::move(say))
    , time_(bus.clock(), pace)
    , faces_{{{monitor.hub().superSpeedFace(), {}, {}, {}, false},
              {monitor.hub().highSpeedFace(), {}, {}, {}, false}}}
{
}

void VhciFront::settle()
{
    time_.catchUp();
    for (Face& face : faces_) {
        const bool present = face.device.bus() != nullptr && face.device.present();
        if (present && !face.link)
            plugIn(face);
        else if (!present && face.link)
            pullOut(face);
    }
}

void VhciFront::serve(std::vector<pollfd>& others, int milliseconds)
{
    settle();
    std::vector<pollfd> all = others;
    for (const Face& face : faces_)
        all.push_back({face.link ? face.link->descriptor() : -1, POLLIN, 0});
    if (poll(all.data(), all.size(), milliseconds) <= 0)
        return;
    for (std::size_t i = 0; i < others.size(); ++i)
        others[i].revents = all[i].revents;
    for (std::size_t i = 0; i < faces_.size(); ++i) {
        // The request before may have taken both faces off the bus.
        Face& face = faces_[i];
        if (all[others.size() + i].revents != 0 && face.link && !face.link->serve())
            pullOut(face);
        settle();
    }
}

/// If the kernel has not yet freed the port of the former device, a later turn tries again.
void VhciFront::plugIn(Face& face)
{
    HubFace& device = face.device;
    const auto port = controller_.freePort(device.isSuperSpeed(), face.port);
    std::array<int, 2> ends{-1, -1};
    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
    FileDescriptor hub_end(ends[0]);
    const FileDescriptor kernel_end(ends[1]);
    if (!port || !kernel_end || !controller_.attach(*port, kernel_end.get(), device.isSuperSpeed())) {
        if (!std::exchange(face.waits, true))
            say_("the kernel has no free port for the " + speedName(device.isSuperSpeed()) + " face yet");
        return;
    }
    const HubIdentity identity{device.isSuperSpeed(), device.traits.vendor_id, device.traits.product_id,
                               monitor_.hub().runningVersion(), name_};
    const auto vendor = [this, &device](const SetupPacket& setup, std::uint8_t* data) {
        return vendorRequest(device, setup, data);
    };
    face.link.emplace(std::move(hub_end), HubFunction(identity, vendor));
    face.port = port;
    face.label = labelOf(identity);
    face.waits = false;
    say_(face.label + " is plugged in, port " + std::to_string(*port));
}

void VhciFront::pullOut(Face& face)
{
    face.link.reset();
    say_(face.label + " has left the bus");
}

platform::Status VhciFront::vendorRequest(HubFace& face, const SetupPacket& setup, std::uint8_t* data)
{
    // The kernel has its own timeouts; nobody waits here for a silent device.
    constexpr Duration none{0};
    time_.catchUp();
    const platform::Status status = bus_.transfer(face, setup, data, none);
    ++traffic_.requests;
    if (status == platform::success)
        (setup.isIn() ? traffic_.bytes_in : traffic_.bytes_out) += setup.length;
    else
        ++traffic_.failed;
    time_.waitForClock();
    return status;
}

} // namespace sim::vhci
