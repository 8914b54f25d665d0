/// Box texts letter by letter.
#include "gui_support.h"

#include "hub/api/hub_api.h"
#include "tools/firmware_image.h"

#include <QDir>
#include <QFile>

const QString confirm_box = "question [Confirm to update firmware] Are you sure you want to update your "
                            "firmware to the latest version? (Yes, No)";
const QString success_box = "plain [Update Firmware] Your monitor firmware was updated successfully.\n"
                            "Suggest to reset OSD setting to default. (Reset OSD Setting, Exit)";
const QString reset_box =
    "information [OSD Settings Reset] Your monitor OSD Settings has been reset successfully. (OK)";

namespace {

QByteArray asBytes(const std::vector<std::uint8_t>& image)
{
    return {reinterpret_cast<const char*>(image.data()), static_cast<int>(image.size())};
}

} // namespace

QByteArray hubImage(std::uint8_t major, std::uint8_t minor)
{
    return firmware::buildHub({major, minor}, 0x10000);
}

QByteArray scalerImage(std::uint8_t major, std::uint8_t minor, const std::string& model)
{
    return firmware::buildScaler({major, minor}, QByteArray::fromStdString(model), 0x10105);
}

bool hubHolds(sim::VirtualMonitor& monitor, const QByteArray& image)
{
    return asBytes(monitor.hub().flash()).startsWith(image);
}

bool scalerHolds(sim::VirtualMonitor& monitor, const QByteArray& image)
{
    const QByteArray flash = asBytes(monitor.scaler().flash().bytes());
    return flash.mid(0x100000, image.size()) == image && flash.mid(0x1FF8FE, 2) == "\xAA\x55";
}

void clearResources()
{
    QDir(resourcesDir()).removeRecursively();
    QDir().mkpath(resourcesDir());
}

void writeResource(const QString& fileName, const QByteArray& bytes)
{
    QFile file(resourcesDir() + "/" + fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("%s cannot be written", qPrintable(file.fileName()));
}

Bench::Bench(const sim::MonitorSetup& setup)
    : monitor(bus, setup)
{
    g_dialog = &dialog;
    dialog.hubBinFile = "hub.bin";
    dialog.scalarBinFile = "scaler.bin";
    dialog.modelName = "from Config.ini";
    QObject::connect(find<QProgressBar>("bar1"), &QProgressBar::valueChanged, &dialog,
                     [this](int percent) { progress += percent; });
}

Bench::Bench(const QByteArray& hubFile, const QByteArray& scalerFile, const sim::MonitorSetup& setup)
    : Bench(setup)
{
    clearResources();
    writeResource("hub.bin", hubFile);
    writeResource("scaler.bin", scalerFile);
    dialog.show();
}

Bench::~Bench()
{
    Deinit();
    g_dialog = nullptr;
}

QString Bench::offers() const
{
    const auto offered = [this](const char* name, const char* word) {
        const auto* widget = find<QWidget>(name);
        return widget->isEnabled() && widget->isVisible() ? QString(word) + " " : QString();
    };
    return offered("btnUpdate", "update") + offered("btnExit", "exit") + offered("chkOverride", "override") +
           QString::number(find<QProgressBar>("bar1")->value());
}

void Bench::showAgain()
{
    dialog.hide();
    dialog.show();
}

QStringList Bench::update(const QStringList& answers)
{
    boxes.answers = answers;
    boxes.seen.clear();
    progress.clear();
    press("btnUpdate");
    return boxes.seen + QStringList{label("lblInfo"), offers()};
}
