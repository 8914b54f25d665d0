/// virtual_monitor: a monitor in software, plugged into the running kernel.
#include "sim/virtual_monitor.h"

#include "sim/bus/virtual_bus.h"
#include "sim/vhci/vhci_front.h"
#include "tools/command_line.h"

#include <QCoreApplication>

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

constexpr int exit_no_controller = 1; // 2 is wrong usage
constexpr int exit_violations = 3;

const char* const description =
    R"(Plugs a virtual monitor into this computer, through the kernel's virtual USB host controller, until SIGINT or
SIGTERM. Needs root and the kernel module vhci-hcd. Prints a line for each event.

Commands on standard input, one a line:
  status          firmware that runs, number of requests, protocol violations
  unplug [N]      pulls the USB cable, now or at the N-th write to the hub's flash from now on
  plug            puts the cable back in
  dump FOLDER     writes hub_flash.bin and scaler_flash.bin there

Exit status: 0 ended by a signal; 1 cannot plug it in; 2 wrong usage; 3 ended by a signal, and the host broke a
rule of the protocol.)";

struct Options
{
    sim::MonitorSetup monitor;
    double pace = 1;
};

sim::Model modelNamed(const QString& name)
{
    const auto model = sim::modelNamed(name.toStdString());
    if (!model)
        misuse("no such model: " + name);
    return *model;
}

sim::Version simVersion(FirmwareVersion version)
{
    return {static_cast<std::uint8_t>(version.major), static_cast<std::uint8_t>(version.minor)};
}

double paceOf(const QString& text)
{
    bool good = false;
    const double pace = text.toDouble(&good);
    if (good && pace >= 0.01 && pace <= 100)
        return pace;
    misuse("no such pace: " + text);
}

Options parseOptions()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    parser.addOptions(
        {{"model", "QX1320, QX1650 or QX1655; QX1650 unless given.", "NAME", "QX1650"},
         {"hub", "Hub firmware; 1.2 unless given.", "MAJOR.MINOR", "1.2"},
         {"display", "Display firmware; 11.0 unless given.", "MAJOR.MINOR", "11.0"},
         {"pace", "Real seconds that one second of the monitor takes, 0.01 to 100; 1 unless given.", "NUMBER",
          "1"}});
    parse(parser);
    if (!parser.positionalArguments().isEmpty())
        misuse("cannot take " + parser.positionalArguments().constFirst());
    Options options;
    options.monitor.model = modelNamed(parser.value("model"));
    options.monitor.hub_version = simVersion(versionOf(parser, "hub"));
    options.monitor.display_version = simVersion(versionOf(parser, "display"));
    options.pace = paceOf(parser.value("pace"));
    return options;
}

void say(const std::string& line)
{
    std::cout << "monitor: " << line << '\n' << std::flush;
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

    /// Until a signal comes; gives the exit status.
    int run(int endingSignal);

private:
    /// False at the end of standard input.
    bool readCommands();
    void obey(const std::string& command);
    void unplug(int nthWrite);
    void dump(const std::string& folder);
    void sayStatus();

    sim::VirtualBus bus_;
    sim::VirtualMonitor monitor_;
    sim::vhci::VhciFront front_;
    std::string input_;
};

int Program::run(int endingSignal)
{
    constexpr int turn = 10; // milliseconds; how late a restarted hub may come back on the bus
    if (const std::string trouble = front_.trouble(); !trouble.empty()) {
        std::cerr << "virtual_monitor: " << trouble << '\n';
        return exit_no_controller;
    }
    std::vector<pollfd> others{{endingSignal, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
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

void Program::unplug(int nthWrite)
{
    constexpr std::uint8_t write_flash = 0xC8;
    if (nthWrite > 0)
        bus_.faults().unplug(sim::atMatch(sim::requestIs(sim::vendor_out, write_flash), nthWrite));
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
    const sim::vhci::Traffic& traffic = front_.traffic();
    say("hub " + text(hub.runningVersion()) + (hub.runsCode() ? ", runs its code" : ", runs its ROM") +
        (hub.flashIsValid() ? ", flash valid" : ", flash not valid"));
    say("display " + text(monitor_.display().runningVersion()) +
        (monitor_.scaler().runsUserCode() ? ", runs user code" : ", runs factory firmware") + ", " +
        std::to_string(monitor_.display().factoryResets()) + " resets to factory defaults");
    say(std::to_string(traffic.requests) + " vendor requests, " + std::to_string(traffic.failed) +
        " failed, " + std::to_string(traffic.bytes_out) + " bytes out, " + std::to_string(traffic.bytes_in) +
        " bytes in");
    say(std::to_string(bus_.violations().count()) + " protocol violations");
    for (const std::string& violation : bus_.violations().messages())
        say("  " + violation);
}

/// A descriptor that becomes readable when SIGINT or SIGTERM comes; neither ends the program by itself any more.
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
    const QCoreApplication application(argc, argv);
    return Program(parseOptions()).run(endingSignals());
}
