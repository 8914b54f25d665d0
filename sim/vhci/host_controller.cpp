/// Reads `status`, writes `attach`, and looks for devices below the root hubs.
#include "sim/vhci/host_controller.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>
#include <utility>

namespace sim::vhci {

namespace {

/// In the column `sta` of `status`: nothing is plugged in.
constexpr int port_is_free = 4;
/// As the kernel numbers speeds (enum usb_device_speed).
constexpr int high_speed = 3;
constexpr int super_speed = 5;
/// Bus and device number at the exporting host; any but 0 will do.
constexpr int foreign_device = 0x00010001;

} // namespace

HostController::HostController(std::string folder)
    : folder_(std::move(folder))
{
}

std::string HostController::trouble() const
{
    if (access((folder_ + "/status").c_str(), F_OK) != 0)
        return "no virtual host controller; load the kernel's module vhci-hcd";
    if (access((folder_ + "/attach").c_str(), W_OK) != 0)
        return "the virtual host controller may not be used; be root";
    return {};
}

std::optional<int> HostController::freePort(bool superSpeed, std::optional<int> wanted) const
{
    std::ifstream status(folder_ + "/status");
    std::string line;
    std::string kind;
    int port = 0;
    int state = 0;
    int root_port = 0; // counted from 1 on each root hub, and there is one for each speed
    std::getline(status, line);
    while (status >> kind >> port >> state && std::getline(status, line)) {
        if (kind != (superSpeed ? "ss" : "hs"))
            continue;
        ++root_port;
        const bool fits = state == port_is_free && (!wanted || *wanted == port);
        if (fits && !showsDevice(root_port, superSpeed))
            return port;
    }
    return std::nullopt;
}

bool HostController::showsDevice(int rootPort, bool superSpeed) const
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder_, error)) {
        const std::string name = entry.path().filename();
        int speed = 0; // in Mbit/s
        if (name.rfind("usb", 0) != 0 || !(std::ifstream(entry.path() / "speed") >> speed))
            continue;
        if ((speed > 480) == superSpeed)
            return exists(entry.path() / (name.substr(3) + "-" + std::to_string(rootPort)), error);
    }
    return false;
}

bool HostController::attach(int port, int socket, bool superSpeed) const
{
    std::ofstream file(folder_ + "/attach");
    file << port << ' ' << socket << ' ' << foreign_device << ' ' << (superSpeed ? super_speed : high_speed)
         << std::flush;
    return file.good();
}

} // namespace sim::vhci
