/// Options and their values.
#include "options.h"

#include <array>
#include <cstdlib>
#include <getopt.h>

const char* const usage = R"(Usage: virtual_monitor [OPTION]...

Plugs a virtual monitor into this computer, through the kernel's virtual USB host controller (as root, with
the module vhci-hcd loaded), and keeps it there until SIGINT or SIGTERM. Prints one line for each thing that
happens.

  --model NAME           QX1320, QX1650 or QX1655; QX1650 unless given
  --hub MAJOR.MINOR      hub firmware, 1.2 unless given
  --display MAJOR.MINOR  display firmware, 11.0 unless given
  --pace NUMBER          real seconds that one second of the monitor takes, 0.01 to 100; 1 unless given
  -h, --help             this text

Commands on standard input, one a line:
  status          what runs, what was asked, what the host did wrong
  unplug [N]      pulls the USB cable: now, or as the N-th write to the hub's flash from now begins
  plug            puts the cable back in
  dump FOLDER     writes hub_flash.bin and scaler_flash.bin there

Exit status: 0 ended by a signal; 1 it cannot be plugged in; 2 wrong usage; 3 ended by a signal, and the host
did what a real monitor would have punished.
)";

namespace {

enum Option { model_option = 1, hub_option, display_option, pace_option, help_option = 'h' };

constexpr std::array<option, 6> long_options{{{"model", required_argument, nullptr, model_option},
                                              {"hub", required_argument, nullptr, hub_option},
                                              {"display", required_argument, nullptr, display_option},
                                              {"pace", required_argument, nullptr, pace_option},
                                              {"help", no_argument, nullptr, help_option},
                                              {nullptr, 0, nullptr, 0}}};

bool parseModel(const std::string& text, sim::Model& model)
{
    for (const sim::Model candidate : {sim::Model::qx1320, sim::Model::qx1650, sim::Model::qx1655}) {
        if (text == sim::factsOf(candidate).name) {
            model = candidate;
            return true;
        }
    }
    return false;
}

bool parseByte(const std::string& text, std::uint8_t& byte)
{
    const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || text.size() > 3 || std::stoi(text) > 0xFF)
        return false;
    byte = static_cast<std::uint8_t>(std::stoi(text));
    return true;
}

bool parseVersion(const std::string& text, sim::Version& version)
{
    const std::size_t dot = text.find('.');
    return dot != std::string::npos && parseByte(text.substr(0, dot), version.major) &&
           parseByte(text.substr(dot + 1), version.minor);
}

bool parsePace(const std::string& text, double& pace)
{
    constexpr double slowest = 100;
    constexpr double fastest = 0.01;
    char* end = nullptr;
    pace = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && pace >= fastest && pace <= slowest;
}

bool parseValue(int option, const std::string& value, Options& options)
{
    switch (option) {
    case model_option:
        return parseModel(value, options.monitor.model);
    case hub_option:
        return parseVersion(value, options.monitor.hub_version);
    case display_option:
        return parseVersion(value, options.monitor.display_version);
    default:
        return parsePace(value, options.pace);
    }
}

} // namespace

bool parseOptions(int argc, char** argv, Options& options, std::string& complaint)
{
    opterr = 0;
    for (int which = 0;;) {
        const int option = getopt_long(argc, argv, "h", long_options.data(), &which);
        if (option == -1)
            break;
        if (option == help_option) {
            options.help = true;
            continue;
        }
        if (option == '?') {
            complaint = std::string("cannot take ") + argv[optind - 1];
            return false;
        }
        if (!parseValue(option, optarg, options)) {
            complaint = std::string("no such ") + long_options.at(static_cast<std::size_t>(which)).name +
                        ": " + optarg;
            return false;
        }
    }
    if (optind == argc)
        return true;
    complaint = std::string("cannot take ") + argv[optind];
    return false;
}
