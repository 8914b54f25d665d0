/// Command line of make_firmware: builds images for trials of the updater, and prints what an image file
/// holds. Exit status: 0 done, 1 an operation failed, 2 wrong usage.
#include "tools/firmware_image.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <getopt.h>
#include <iostream>
#include <iterator>
#include <string_view>

namespace {

using namespace firmware;

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;
constexpr std::size_t hub_size = 0x10000;
/// The user-code area of 1 MiB but for its last 64 KiB: there the updater puts a marker of its own, so only
/// without them does the flash equal the image after an update.
constexpr std::size_t scaler_size = 0xF0000;
constexpr std::size_t longest_file = 0x400000; ///< the largest serial flash

constexpr std::string_view usage = R"(Usage:
  make_firmware hub --version MAJOR.MINOR [--size BYTES] [--no-vendor-config] [--no-mark] OUT
  make_firmware scaler --version MAJOR.MINOR --model NAME [--size BYTES] [--no-user-code] OUT
  make_firmware show FILE...

Builds firmware images for trials of the updater, the same bytes for the same arguments, and shows what image
files hold.

  --version MAJOR.MINOR  0 to 255 each; the updater takes bytes above 127 as negative
  --model NAME           monitor model, 2 to 20 characters
  --size BYTES           hub: 65536 (33024 to 262144, a multiple of 256)
                         scaler: 983040 (65537 to 1048576, from 63770 with --no-user-code)
  --no-vendor-config     hub image without a vendor-config block, and so without a mark
  --no-mark              hub image whose mark is blank
  --no-user-code         scaler image without the user-code mark
  -h, --help             this text
)";

int fail(const std::string& message)
{
    std::cerr << "make_firmware: " << message << '\n';
    return exit_failed;
}

int misuse(const std::string& message)
{
    fail(message + "; try 'make_firmware --help'");
    return exit_usage;
}

/// Takes a whole decimal number, or a hexadecimal one after 0x.
template <class Number>
bool parse(std::string_view text, Number& value)
{
    const bool hexadecimal = text.substr(0, 2) == "0x";
    text.remove_prefix(hexadecimal ? 2 : 0);
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
    return error == std::errc() && stop == end;
}

bool parseVersion(std::string_view text, Version& version)
{
    const std::size_t dot = text.find('.');
    return dot != std::string_view::npos && parse(text.substr(0, dot), version.major) &&
           parse(text.substr(dot + 1), version.minor);
}

bool isNegativeToUpdater(Version version)
{
    return version.major > 127 || version.minor > 127;
}

int write(const Bytes& image, const std::string& path)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    std::copy(image.begin(), image.end(), std::ostreambuf_iterator<char>(file));
    file.close();
    return file ? EXIT_SUCCESS : fail("cannot write " + path + ": " + std::strerror(errno));
}

std::optional<Bytes> read(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    Bytes image(longest_file + 1);
    if (file)
        file.read(reinterpret_cast<char*>(image.data()), static_cast<std::streamsize>(image.size()));
    image.resize(static_cast<std::size_t>(file.gcount()));
    if (!file.is_open() || file.bad()) {
        fail("cannot read " + path + ": " + std::strerror(errno));
        return {};
    }
    if (image.size() > longest_file) {
        fail(path + ": longer than any firmware image");
        return {};
    }
    return image;
}

void printHead(const std::string& path, const char* kind, const Bytes& image, Version version)
{
    std::cout << path << "\n  kind           " << kind << "\n  size           " << image.size()
              << " bytes\n  version        " << +version.major << '.' << +version.minor
              << (isNegativeToUpdater(version) ? " (negative to the updater)" : "") << "\n  checksum       0x"
              << std::hex << checksum16(image) << std::dec << '\n';
}

int show(const std::string& path)
{
    const std::optional<Bytes> image = read(path);
    if (!image)
        return exit_failed;
    if (image->size() < firmware::shortest_image)
        return fail(path + ": too short for a firmware image (" + std::to_string(image->size()) +
                    " bytes, at least " + std::to_string(firmware::shortest_image) + " are needed)");
    if (const auto scaler = inspectScaler(*image)) {
        printHead(path, "scaler", *image, scaler->version);
        std::cout << "  model          " << scaler->model << "\n  user code      "
                  << (scaler->mark ? "marked" : "not marked") << '\n';
        return EXIT_SUCCESS;
    }
    if (const auto hub = inspectHub(*image)) {
        printHead(path, "hub", *image, hub->version);
        std::cout << "  vendor config  at 0x" << std::hex << hub->vendor_config_at << std::dec
                  << "\n  mark           " << hub->mark << '\n';
        return EXIT_SUCCESS;
    }
    return fail(
        path + ": " + std::to_string(image->size()) +
        " bytes that are neither a hub image (with a vendor-config block) nor a scaler image (with the "
        "user-code mark or a model name)");
}

/// What follows the command.
struct Arguments
{
    Recipe recipe;
    bool has_version = false;
    std::vector<std::string> files;
    bool help = false;
    std::string problem;
};

void take(int letter, Arguments& arguments)
{
    switch (letter) {
    case 'v':
        arguments.has_version = true;
        if (!parseVersion(optarg, arguments.recipe.version))
            arguments.problem = std::string(optarg) + " is no version (0.0 to 255.255)";
        return;
    case 's':
        if (!parse(optarg, arguments.recipe.size))
            arguments.problem = std::string(optarg) + " is no size";
        return;
    case 'n':
        arguments.recipe.model = optarg;
        return;
    case 'c':
        arguments.recipe.vendor_config = false;
        return;
    case 'm':
        arguments.recipe.mark = false;
        return;
    case 'h':
        arguments.help = true;
        return;
    default:
        arguments.problem = "wrong option"; // which one, getopt has said
    }
}

Arguments parseArguments(int argc, char* argv[], const option* options, std::size_t size)
{
    Arguments arguments;
    arguments.recipe.size = size;
    optind = 2; // past the command
    int letter = 0;
    while (arguments.problem.empty() && (letter = getopt_long(argc, argv, "h", options, nullptr)) != -1)
        take(letter, arguments);
    arguments.files.assign(argv + optind, argv + argc);
    return arguments;
}

struct Command
{
    const char* name;
    std::size_t size;
    option options[6];
    std::string (*problem)(const Recipe&);
    Bytes (*build)(const Recipe&);
};

constexpr option version_option = {"version", required_argument, nullptr, 'v'};
constexpr option size_option = {"size", required_argument, nullptr, 's'};
constexpr option model_option = {"model", required_argument, nullptr, 'n'};
constexpr option help_option = {"help", no_argument, nullptr, 'h'};

const Command commands[] = {
    {"hub",
     hub_size,
     {version_option,
      size_option,
      {"no-vendor-config", no_argument, nullptr, 'c'},
      {"no-mark", no_argument, nullptr, 'm'},
      help_option},
     hubProblem,
     buildHub},
    {"scaler",
     scaler_size,
     {version_option, size_option, model_option, {"no-user-code", no_argument, nullptr, 'm'}, help_option},
     scalerProblem,
     buildScaler},
    {"show", 0, {help_option}, nullptr, nullptr},
};

int make(const Command& command, const Arguments& arguments)
{
    if (!arguments.has_version)
        return misuse("--version is missing");
    if (arguments.files.size() != 1)
        return misuse("name one file to write");
    const std::string problem = command.problem(arguments.recipe);
    if (!problem.empty())
        return misuse(problem);
    if (isNegativeToUpdater(arguments.recipe.version))
        std::cerr << "make_firmware: warning: the updater takes version bytes above 127 as negative\n";
    return write(command.build(arguments.recipe), arguments.files.front());
}

int showAll(const std::vector<std::string>& files)
{
    if (files.empty())
        return misuse("name the files to show");
    int status = EXIT_SUCCESS;
    for (const std::string& path : files)
        status = std::max(status, show(path));
    return status;
}

int help()
{
    std::cout << usage;
    return EXIT_SUCCESS;
}

int run(int argc, char* argv[])
{
    const std::string_view name = argc > 1 ? argv[1] : "";
    if (name == "--help" || name == "-h")
        return help();
    for (const Command& command : commands) {
        if (name != command.name)
            continue;
        const Arguments arguments = parseArguments(argc, argv, command.options, command.size);
        if (!arguments.problem.empty())
            return misuse(arguments.problem);
        if (arguments.help)
            return help();
        return command.build ? make(command, arguments) : showAll(arguments.files);
    }
    return misuse(name.empty() ? "name a command" : "no such command: " + std::string(name));
}

} // namespace

int main(int argc, char* argv[])
{
    const int status = run(argc, argv);
    std::cout.flush();
    return std::cout ? status : fail("cannot write the output");
}
