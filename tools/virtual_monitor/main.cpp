/// virtual_monitor: a monitor in software, plugged into the running kernel. Commands come on standard input;
/// signals end it.
#include "options.h"

#include "sim/bus/virtual_bus.h"
#include "sim/vhci/vhci_front.h"
#include "sim/virtual_monitor.h"

#include <array>
#include <csignal>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int exit_no_controller = 1;
constexpr int exit_usage = 2;
constexpr int exit_violations = 3;

/// How late a restarted hub may come back on the bus, in milliseconds.
constexpr int turn = 10;

void say(const std::string& line)
{
    std::cout << "monitor: " << line << std::endl;
}

std::string text(sim::Version version)
{
    return std::to_string(version.major) + "." + std::to_string(version.minor);
}

bool writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return file.flush().good();
}

class Program
{
public:
    explicit Program(const Options& options)
        : monitor_(bus_, options.monitor)
        , front_(bus_, monitor_, std::string(sim::factsOf(options.monitor.model).name) + " hub", options.pace,
                 say)
    {
        bus_.log().setEnabled(false);
    }

    int run(int signals);

private:
    /// False at the end of standard input.
    bool readCommands();
    void obey(const std::string& command);
    void unplug(int writes);
    void dump(const std::string& folder);
    void sayStatus();

    sim::VirtualBus bus_;
    sim::VirtualMonitor monitor_;
    sim::vhci::VhciFront front_;
    std::string input_;
};

int Program::run(int signals)
{
    if (const std::string trouble = front_.trouble(); !trouble.empty()) {
        std::cerr << "virtual_monitor: " << trouble << '\n';
        return exit_no_controller;
    }
    std::vector<pollfd> others{{signals, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    pollfd& ended = others[0];
    pollfd& commands = others[1];
    while (ended.revents == 0) {
        commands.revents = 0;
        front_.serve(others, turn);
        if (commands.revents != 0 && !readCommands())
            commands.fd = -1;
    }
    sayStatus();
    return bus_.violations().count() == 0 ? 0 : exit_violations;
}

bool Program::readCommands()
{
    std::array<char, 256> buffer{};
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count <= 0)
        return false;
    input_.append(buffer.data(), static_cast<std::size_t>(count));
    for (std::size_t end = input_.find('\n'); end != std::string::npos; end = input_.find('\n')) {
        obey(input_.substr(0, end));
        input_.erase(0, end + 1);
        front_.settle();
    }
    return true;
}

void Program::obey(const std::string& command)
{
    std::istringstream words(command);
    std::string verb;
    std::string object;
    words >> verb >> object;
    if (verb == "status")
        sayStatus();
    else if (verb == "unplug")
        unplug(std::atoi(object.c_str()));
    else if (verb == "plug")
        monitor_.plugIn();
    else if (verb == "dump")
        dump(object);
    else
        say("no such command: " + command);
}

void Program::unplug(int writes)
{
    constexpr std::uint8_t vendor_out = 0x40;
    constexpr std::uint8_t write_flash = 0xC8;
    if (writes > 0)
        bus_.faults().unplug(sim::atMatch(sim::requestIs(vendor_out, write_flash), writes));
    else
        monitor_.unplug();
}

void Program::dump(const std::string& folder)
{
    const bool done = writeFile(folder + "/hub_flash.bin", monitor_.hub().flash()) &&
                      writeFile(folder + "/scaler_flash.bin", monitor_.scaler().flash().bytes());
    say(done ? "both flashes are in " + folder : "cannot write to " + folder);
}

void Program::sayStatus()
{
    const sim::HubChip& hub = monitor_.hub();
    say("hub " + text(hub.runningVersion()) + (hub.runsCode() ? ", runs its code" : ", runs its ROM") +
        (hub.flashIsValid() ? ", flash valid" : ", flash not valid"));
    say("display " + text(monitor_.display().runningVersion()) +
        (monitor_.scaler().runsUserCode() ? ", runs user code" : ", runs factory firmware") + ", " +
        std::to_string(monitor_.display().factoryResets()) + " resets to factory defaults");
    const sim::vhci::Traffic& traffic = front_.traffic();
    say(std::to_string(traffic.requests) + " vendor requests, " + std::to_string(traffic.failed) +
        " failed, " + std::to_string(traffic.bytes_out) + " bytes out, " + std::to_string(traffic.bytes_in) +
        " bytes in");
    say(std::to_string(bus_.violations().count()) + " protocol violations");
    for (const std::string& violation : bus_.violations().messages())
        say("  " + violation);
}

/// The signals that end the program, as something to poll.
int endingSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    std::string complaint;
    if (!parseOptions(argc, argv, options, complaint)) {
        std::cerr << "virtual_monitor: " << complaint << "; try 'virtual_monitor --help'\n";
        return exit_usage;
    }
    if (options.help) {
        std::cout << usage;
        return 0;
    }
    return Program(options).run(endingSignals());
}
