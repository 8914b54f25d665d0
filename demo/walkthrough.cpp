/// The demo played by itself: the real dialog on a virtual monitor, offscreen. It tells every step, keeps a
/// picture of each state and box in build/demo/, writes down what went over the wire in the first story, and
/// exits with 0 only when the monitor ends as it should.
#include "app/startup.h"
#include "demo/narrator.h"
#include "demo/stage.h"
#include "hub/api/hub_api.h"
#include "sim/bus/virtual_bus.h"
#include "sim/virtual_monitor.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>

#include <cstdlib>

namespace {

const QString pictures_dir = FW_PICTURES_DIR;
const char* const other_model_story = "--other-model";

// Requests at which a story breaks off.
constexpr std::uint8_t write_hub_flash = 0xC8;
constexpr std::uint8_t write_scaler_flash = 0xC6;

QString demoFile(const QString& name)
{
    return pictures_dir + "/" + name;
}

/// One monitor on a bus of its own, until the story ends.
struct Scene
{
    Scene(sim::Version hub, sim::Version display, sim::Model model = sim::Model::qx1650)
        : monitor(bus, {model, hub, display})
    {
    }
    ~Scene() { Deinit(); }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    sim::VirtualBus bus;
    sim::VirtualMonitor monitor;
};

bool holdsFile(const std::vector<std::uint8_t>& flash, std::size_t address, const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray image = file.readAll();
    return !image.isEmpty() && address + static_cast<std::size_t>(image.size()) <= flash.size() &&
           std::equal(image.begin(), image.end(), flash.begin() + static_cast<std::ptrdiff_t>(address),
                      [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

void checkNoViolations(Narrator& narrator, Scene& scene)
{
    for (const std::string& message : scene.bus.violations().messages())
        narrator.say("violation: " + QString::fromStdString(message));
    narrator.check(scene.bus.violations().count() == 0, "the tool broke no rule of the monitor's protocols");
}

void keepWireLog(Narrator& narrator, Scene& scene)
{
    QFile file(demoFile("wire.log"));
    const QByteArray text = QByteArray::fromStdString(scene.bus.log().text());
    narrator.check(
        file.open(QIODevice::WriteOnly) && file.write(text) == text.size(),
        QString("all %1 requests of this job: demo/wire.log").arg(scene.bus.log().records().size()));
}

QString versionOf(const Stage& stage)
{
    return QString("monitor: %1, image: %2").arg(stage.label("lblCurrentFW"), stage.label("lblNewFW"));
}

void wholeJob(Narrator& narrator, Stage& stage)
{
    narrator.heading("An old monitor is brought up to date");
    Scene scene({1, 2}, {11, 0});
    narrator.say("A QX1650 is plugged in: its USB hub runs firmware 1.2, its display firmware M011.");
    stage.open(resourcesDir() + "/Config.ini");
    narrator.say("The tool finds it and compares: " + versionOf(stage));
    stage.picture("hub-update-offered");
    narrator.check(stage.updateOffered() && stage.label("lblCurrentFW") == "Hub FW : 1.2",
                   "the hub's image is newer, so \"Update\" is offered");

    stage.pressUpdate({{"Confirm to update firmware", "Yes", "confirm"},
                       {"Update Firmware", "Reset OSD Setting", "success"},
                       {"OSD Settings Reset", "OK", "osd-reset"}},
                      {"writing-the-hub", "writing-the-scaler"});
    narrator.say("The tool has looked again: " + stage.label("lblInfo"));
    stage.picture("up-to-date");

    sim::VirtualMonitor& monitor = scene.monitor;
    narrator.check(holdsFile(monitor.hub().flash(), 0, resourcesDir() + "/QX1650_hub.bin"),
                   "the hub's flash holds the hub image, byte for byte");
    narrator.check(monitor.hub().runsCode() && monitor.hub().runningVersion() == sim::Version{1, 3},
                   "the hub runs firmware 1.3");
    narrator.check(
        holdsFile(monitor.scaler().flash().bytes(), 0x100000, resourcesDir() + "/QX1650_scaler.bin"),
        "the scaler's flash holds the scaler image, byte for byte");
    narrator.check(monitor.display().runningVersion() == sim::Version{12, 0},
                   "the display runs firmware M012");
    narrator.check(monitor.display().factoryResets() == 1, "the display's OSD settings were reset once");
    narrator.check(stage.label("lblInfo").contains("already the latest version") && !stage.updateOffered(),
                   "the tool says that there is nothing left to update");
    checkNoViolations(narrator, scene);
    keepWireLog(narrator, scene);
}

void interruptedHub(Narrator& narrator, Stage& stage)
{
    narrator.heading("The cable is pulled while the hub is written");
    Scene scene({1, 2}, {12, 0});
    stage.open(resourcesDir() + "/Config.ini");
    scene.bus.faults().unplug(sim::atMatch(sim::requestIs(sim::vendor_out, write_hub_flash), 10));
    stage.pressUpdate(
        {{"Confirm to update firmware", "Yes", {}}, {"Update Hub FW Failed", "OK", "hub-failed"}});
    stage.picture("update-failed");
    narrator.check(!scene.monitor.hub().flashIsValid(), "half an image lies in the hub, and it is not valid");

    narrator.say("The cable is put back, and the tool started again.");
    scene.monitor.plugIn();
    stage.open(resourcesDir() + "/Config.ini");
    stage.picture("hub-in-its-rom");
    narrator.check(stage.updateOffered() && !scene.monitor.hub().runsCode(),
                   "the hub runs its ROM, and \"Update\" is offered again: " + versionOf(stage));
    stage.pressUpdate({{"Confirm to update firmware", "Yes", {}}});
    narrator.check(scene.monitor.hub().runningVersion() == sim::Version{1, 3}, "the hub runs firmware 1.3");
}

void interruptedScaler(Narrator& narrator, Stage& stage)
{
    narrator.heading("The power fails while the display is written");
    Scene scene({1, 3}, {11, 0});
    stage.open(resourcesDir() + "/Config.ini");
    stage.picture("scaler-update-offered");
    scene.bus.faults().cutPower(sim::atMatch(sim::requestIs(sim::vendor_out, write_scaler_flash), 100),
                                sim::Moment::during);
    stage.pressUpdate(
        {{"Confirm to update firmware", "Yes", {}}, {"Update Scalar FW Failed", "OK", "scaler-failed"}});

    narrator.say("The power comes back, and the tool is started again.");
    scene.monitor.powerOn();
    scene.bus.clock().advance(sim::VirtualMonitor::start_up_time);
    stage.open(resourcesDir() + "/Config.ini");
    narrator.check(stage.updateOffered() && !scene.monitor.scaler().runsUserCode(),
                   "the display runs its factory firmware, and \"Update\" is offered again");
    stage.pressUpdate({{"Confirm to update firmware", "Yes", {}}, {"Update Firmware", "Exit", {}}});
    narrator.check(scene.monitor.display().runningVersion() == sim::Version{12, 0},
                   "the display runs firmware M012");
}

void downgrade(Narrator& narrator, Stage& stage)
{
    narrator.heading("A monitor that is newer than the image");
    Scene scene({1, 3}, {13, 0});
    stage.open(resourcesDir() + "/Config.ini");
    narrator.say("The display runs M013, the image holds M012: " + stage.label("lblInfo"));
    narrator.check(stage.overrideOffered() && !stage.updateOffered(),
                   "\"Update\" waits for the tick at \"Allow Monitor use older firmware.\"");
    stage.picture("downgrade-offered");
    stage.tickOverride();
    stage.picture("downgrade-allowed");
    stage.pressUpdate(
        {{"Confirm to update firmware", "Yes", "confirm-downgrade"}, {"Update Firmware", "Exit", {}}});
    narrator.check(scene.monitor.display().runningVersion() == sim::Version{12, 0},
                   "the display runs firmware M012");
    checkNoViolations(narrator, scene);
}

/// The tool ends by itself when the image is for another model, so this one plays in a process of its own.
int otherModel(Narrator& narrator, Stage& stage)
{
    Scene scene({1, 3}, {11, 0}, sim::Model::qx1320);
    stage.expect({{"Update FW Tool for QX Series", "OK", "other-model"}});
    stage.open(resourcesDir() + "/Config.ini");
    narrator.check(false, "the tool ended by itself");
    return EXIT_FAILURE;
}

void otherModelInAProcess(Narrator& narrator, Stage& stage)
{
    narrator.heading("An image for another model");
    narrator.say("A QX1320 is plugged in, and the image is for a QX1650.");
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QCoreApplication::applicationFilePath(), {other_model_story});
    const bool ended = process.waitForFinished();
    const QString told = QString::fromUtf8(process.readAll());
    for (const QString& line : told.split('\n', Qt::SkipEmptyParts))
        narrator.say(line.trimmed());
    narrator.check(ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 &&
                       told.contains("only for QX1650") && !told.contains("FAIL"),
                   "the tool refused the image and ended by itself, with status 0");
    stage.addPicture("other-model");
}

void noImage(Narrator& narrator, Stage& stage)
{
    narrator.heading("An image file that is not there");
    Scene scene({1, 3}, {11, 0});
    const QString settings = demoFile("no-image.ini");
    QSettings(settings, QSettings::IniFormat).setValue("FWFilePath/ScalarBinFile", "not-there.bin");
    stage.open(settings);
    stage.picture("no-image");
    narrator.check(stage.label("lblInfo") == "Firmware file is not detected ." && !stage.updateOffered(),
                   "the tool says so and offers nothing");
}

void noMonitor(Narrator& narrator, Stage& stage)
{
    narrator.heading("No monitor at all");
    sim::VirtualBus bus;
    stage.open(resourcesDir() + "/Config.ini");
    narrator.say("The tool says: " + stage.label("lblInfo"));
    stage.picture("no-monitor");
    narrator.check(
        stage.label("lblInfo").startsWith("The detection of USB Hub is not configured correctly.") &&
            !stage.updateOffered(),
        "nothing is offered");
    Deinit();
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_FONT_DPI"))
        qputenv("QT_FONT_DPI", "96"); // a picture's pixels are the form's, whatever the screen says of itself
    setScreenScaling();
    QApplication application(argc, argv);
    setFormLook();
    QDir().mkpath(pictures_dir);
    const bool isChild = argc == 2 && QString(argv[1]) == other_model_story;
    Narrator narrator(demoFile(isChild ? "other-model.log" : "tool.log"));
    Stage stage(narrator, pictures_dir);
    if (isChild)
        return otherModel(narrator, stage);

    wholeJob(narrator, stage);
    interruptedHub(narrator, stage);
    interruptedScaler(narrator, stage);
    downgrade(narrator, stage);
    otherModelInAProcess(narrator, stage);
    noImage(narrator, stage);
    noMonitor(narrator, stage);
    stage.saveContactSheet("contact-sheet.png");
    narrator.heading(narrator.allRight() ? "Verdict: all is right" : "Verdict: FAILED");
    return narrator.allRight() ? EXIT_SUCCESS : EXIT_FAILURE;
}
