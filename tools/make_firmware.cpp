/// make_firmware: builds firmware images for trials of the updater, and prints what an image file holds.
/// Exit status: 0 done, 1 an operation failed, 2 wrong usage.
#include "tools/command_line.h"
#include "tools/firmware_image.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace {

const char* const description =
    R"(Builds firmware images for trials of the updater and shows what image files hold. The same arguments always
build the same bytes.

  make_firmware hub --version MAJOR.MINOR [--size BYTES] OUT
  make_firmware scaler --version MAJOR.MINOR --model NAME [--size BYTES] OUT
  make_firmware show FILE...)";

constexpr int hub_size = 0x10000;
/// The user-code area of 1 MiB without its last 64 KiB, where the updater puts a marker of its own: after an update
/// the flash equals the image.
constexpr int scaler_size = 0xF0000;
constexpr qint64 longest_file = 0x400000; ///< the largest serial flash

int fail(const QString& message)
{
    std::cerr << "make_firmware: " << message.toStdString() << '\n';
    return EXIT_FAILURE;
}

/// The bytes as they stand in the file, unsigned.
QString versionText(FirmwareVersion version)
{
    return QString("%1.%2%3")
        .arg(version.major & 0xFF)
        .arg(version.minor & 0xFF)
        .arg(version.major < 0 || version.minor < 0 ? " (negative to the updater)" : "");
}

void print(const QString& name, const QString& value)
{
    std::cout << "  " << name.leftJustified(15).toStdString() << value.toStdString() << '\n';
}

void printHead(const QString& path, const char* kind, const QByteArray& image, FirmwareVersion version)
{
    std::cout << path.toStdString() << '\n';
    print("kind", kind);
    print("size", QString("%1 bytes").arg(image.size()));
    print("version", versionText(version));
    print("checksum", QString("0x%1").arg(checksum16(image), 0, 16));
}

int show(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail("cannot read " + path + ": " + file.errorString());
    const QByteArray image = file.read(longest_file + 1);
    if (image.size() > longest_file)
        return fail(path + ": longer than any firmware image");
    if (image.size() < firmware::shortest_image)
        return fail(QString("%1: too short for a firmware image (%2 bytes, at least %3 are needed)")
                        .arg(path)
                        .arg(image.size())
                        .arg(firmware::shortest_image));
    if (const auto scaler = firmware::inspectScaler(image)) {
        printHead(path, "scaler", image, scalerImageVersion(image));
        print("model", scaler->model);
        print("user code", scaler->user_code ? "marked" : "not marked");
    } else if (const auto hub = firmware::inspectHub(image)) {
        printHead(path, "hub", image, hubImageVersion(image));
        print("vendor config", QString("at 0x%1").arg(hub->vendor_config_at, 0, 16));
        print("mark", hub->mark);
    } else {
        return fail(
            path + ": neither a hub image (no vendor-config block) nor a scaler image (no user-code mark, no "
                   "model name)");
    }
    return EXIT_SUCCESS;
}

int showAll(const QStringList& files, const QStringList& options)
{
    if (!options.isEmpty())
        misuse("show takes no --" + options.front());
    if (files.isEmpty())
        misuse("name the files to show");
    int status = EXIT_SUCCESS;
    for (const QString& path : files)
        status = std::max(status, show(path));
    return status;
}

int write(const QByteArray& image, const QString& path)
{
    QFile file(path);
    const bool written = file.open(QIODevice::WriteOnly) && file.write(image) == image.size() && file.flush();
    return written ? EXIT_SUCCESS : fail("cannot write " + path + ": " + file.errorString());
}

int wantedSize(const QCommandLineParser& parser, int otherwise)
{
    bool good = true;
    const int size = parser.isSet("size") ? parser.value("size").toInt(&good, 0) : otherwise;
    if (!good)
        misuse(parser.value("size") + " is no size");
    return size;
}

FirmwareVersion wantedVersion(const QCommandLineParser& parser)
{
    if (!parser.isSet("version"))
        misuse("--version is missing");
    const FirmwareVersion version = versionOf(parser, "version");
    if (version.major > 127 || version.minor > 127)
        std::cerr << "make_firmware: warning: the updater takes version bytes above 127 as negative\n";
    return version;
}

QByteArray makeHub(const QCommandLineParser& parser)
{
    const int size = wantedSize(parser, hub_size);
    if (parser.isSet("model"))
        misuse("a hub image has no model");
    if (const QString problem = firmware::hubProblem(size); !problem.isEmpty())
        misuse(problem);
    return firmware::buildHub(wantedVersion(parser), size);
}

QByteArray makeScaler(const QCommandLineParser& parser)
{
    const int size = wantedSize(parser, scaler_size);
    const QByteArray model = parser.value("model").toUtf8();
    if (const QString problem = firmware::scalerProblem(model, size); !problem.isEmpty())
        misuse(problem);
    return firmware::buildScaler(wantedVersion(parser), model, size);
}

int run(const QCommandLineParser& parser)
{
    QStringList files = parser.positionalArguments();
    const QString command = files.isEmpty() ? QString() : files.takeFirst();
    if (command == "show")
        return showAll(files, parser.optionNames());
    if (command != "hub" && command != "scaler")
        misuse(command.isEmpty() ? "name a command" : "no such command: " + command);
    if (files.size() != 1)
        misuse("name one file to write");
    return write(command == "hub" ? makeHub(parser) : makeScaler(parser), files.front());
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    parser.addPositionalArgument("command", "what to do", "hub|scaler|show");
    parser.addPositionalArgument("file", "the image, or the images to show", "FILE...");
    parser.addOptions(
        {{"version", "0 to 255 each; the updater takes bytes above 127 as negative.", "MAJOR.MINOR"},
         {"model", "Monitor model, 2 to 20 characters.", "NAME"},
         {"size", "hub: 65536 (33024 to 262144, a multiple of 256); scaler: 983040 (65537 to 1048576).",
          "BYTES"}});
    parse(parser);
    const int status = run(parser);
    std::cout.flush();
    return std::cout ? status : fail("cannot write the output");
}
