/// What the dialog shows for each monitor and pair of images it may find.
#include "gui_support.h"

#include <QCheckBox>

#include <memory>

namespace {

const QString hub_is_old = "Please click update button to update new firmware!";
const QString monitor_is_old = "Please click \"update\" to update your firmware.";
const QString no_file = "Firmware file is not detected .";

QString sumOf(const QByteArray& image)
{
    int sum = 0;
    for (const char byte : image)
        sum = (sum + (byte & 0xFF)) & 0xFFFF;
    return QString::asprintf("0x%x", static_cast<unsigned>(sum));
}

sim::Version version(int number)
{
    return {static_cast<std::uint8_t>(number / 0x100), static_cast<std::uint8_t>(number)};
}

} // namespace

class DetectionTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { clearResources(); }

    void eachOutcome_data()
    {
        QTest::addColumn<int>("hub");
        QTest::addColumn<int>("monitor");
        QTest::addColumn<QByteArray>("hubFile");
        QTest::addColumn<QByteArray>("scalerFile");
        QTest::addColumn<QString>("info");
        QTest::addColumn<QStringList>("values"); // current, new, model, checksum
        QTest::addColumn<QString>("offers");

        const QByteArray hub = hubImage(2, 5);
        const QByteArray scaler = scalerImage(12, 3);
        const auto hubRow = [&](const char* name, int running, const QByteArray& scalerFile,
                                const QString& info, const QStringList& values, const char* offers) {
            QTest::newRow(name) << running << 0xB00 << hub << scalerFile << info << values << offers;
        };
        const QStringList untouched{"Current Firmware", "New Firmware", "Model Name"};
        hubRow("hub 0.0", 0, scaler, no_hub_text, untouched + QStringList("CheckSum"), "exit 0");
        hubRow("hub 1.0", 0x100, scaler, hub_is_old,
               {"Hub FW : <b>1.0</b>", "Hub FW : <b>2.5</b>", "from Config.ini", sumOf(hub)},
               "update exit 0");
        hubRow("hub 2.4", 0x204, scaler, hub_is_old,
               {"Hub FW : <b>2.4</b>", "Hub FW : <b>2.5</b>", "from Config.ini", sumOf(hub)},
               "update exit 0");
        hubRow("no scaler image", 0x205, {}, no_file, untouched + QStringList("0x0"), "exit 0");

        const auto scalerRow = [](const char* name, int running, const QByteArray& hubFile,
                                  const QByteArray& file, const QString& info, const char* current,
                                  const char* offered, const char* offers) {
            const QString text = "Monitor FW : <b>%1</b>";
            QTest::newRow(name) << 0x205 << running << hubFile << file << info
                                << QStringList{text.arg(current), text.arg(offered), "QX1650", sumOf(file)}
                                << offers;
        };
        const QString& old = monitor_is_old;
        const QString& latest = latest_text;
        scalerRow("monitor major older", 0xB09, hub, scaler, old, "M011", "M012", "update exit 0");
        scalerRow("monitor minor older", 0xC01, hub, scaler, old, "M012REV 1", "M012REV 3", "update exit 0");
        scalerRow("monitor equal", 0xC03, hub, scaler, latest, "M012", "M012", "exit 100");
        scalerRow("monitor minor newer", 0xC04, hub, scaler, latest, "M012", "M012", "exit override 100");
        scalerRow("monitor major newer", 0x7F00, hub, scaler, latest, "M127", "M012", "exit override 100");
        scalerRow("image minor 0x80", 0xB00, hub, scalerImage(12, 0x80), latest, "M011", "M012",
                  "exit override 100");
        scalerRow("image major 0xFB", 0xB00, hub, scalerImage(0xFB, 0), latest, "M011", "M0-5",
                  "exit override 100");
        scalerRow("hub image older", 0xC03, hubImage(2, 4), scaler, latest, "M012", "M012", "exit 100");
        scalerRow("hub image minor 0x90", 0xC03, hubImage(3, 0x90), scaler, latest, "M012", "M012",
                  "exit 100");
        scalerRow("hub image short", 0xC03, hub.left(0x7EF9), scaler, latest, "M012", "M012", "exit 100");
    }
    void eachOutcome()
    {
        QFETCH(int, hub);
        QFETCH(int, monitor);
        QFETCH(QByteArray, hubFile);
        QFETCH(QByteArray, scalerFile);
        sim::MonitorSetup setup;
        setup.hub_version = version(hub);
        setup.display_version = version(monitor);
        Bench bench(setup);
        writeResource("hub.bin", hubFile);
        writeResource("scaler.bin", scalerFile);
        bench.dialog.show();

        QTEST(bench.label("lblInfo"), "info");
        const QStringList values{bench.label("lblCurrentFW"), bench.label("lblNewFW"),
                                 bench.label("lblModelName"), bench.label("lblCheckSum")};
        QTEST(values, "values");
        QTEST(bench.offers(), "offers");
        QCOMPARE(bench.boxes.seen, QStringList());
        QCOMPARE(bench.bus.violations().count(), 0);
    }

    void unconfiguredImagesAreEmpty()
    {
        Bench bench;
        bench.dialog.hubBinFile.clear(); // the path is the folder then
        bench.dialog.scalarBinFile.clear();
        bench.dialog.show();
        QCOMPARE(bench.label("lblInfo"), no_file);
    }

    void unreliableDisplay()
    {
        sim::MonitorSetup setup;
        setup.capabilities = "(prot(monitor)type(lcd)model(qx1650 series)cmds(01 02))";
        Bench bench(setup);
        writeResource("scaler.bin", scalerImage(12, 3));
        const sim::Matches reads = sim::requestIs(0xC0, 0xD6);
        bench.bus.faults().refuse(sim::atMatch(reads)); // the firmware level reads as 0.0 then
        // The second fragment comes as that of another offset twice, and is asked for again.
        bench.bus.faults().replaceReply(sim::atMatch(reads, 3), 3, {0x00, 0x01});
        bench.bus.faults().replaceReply(sim::atMatch(reads, 4), 3, {0x01, 0x1A});
        bench.dialog.show();
        QCOMPARE(bench.bus.faults().fired(), 3);
        QCOMPARE(bench.label("lblCurrentFW"), QString("Monitor FW : <b>M000</b>"));
        QCOMPARE(bench.label("lblInfo"), monitor_is_old);
    }

    void busWithoutAFreeHub()
    {
        Bench bench;
        bench.monitor.hub().superSpeedFace().troubles.held_by_other = true;
        bench.monitor.hub().highSpeedFace().troubles.held_by_other = true;
        std::vector<std::unique_ptr<sim::BusDevice>> foreign;
        for (int i = 0; i < 40; ++i) {
            foreign.push_back(std::make_unique<sim::BusDevice>(sim::DeviceTraits{0x1234, 0x5678, 2, 0}));
            bench.bus.attach(*foreign.back());
        }
        bench.dialog.show();
        QCOMPARE(bench.label("lblInfo"), no_hub_text);
    }

    void hubWithoutBridgeIsFatal()
    {
        Bench bench;
        bench.monitor.hub().loadFlash({}); // no valid mark: the boot ROM stays, and it has no bridge
        bench.monitor.powerCycle();
        bench.bus.clock().advance(sim::VirtualMonitor::start_up_time);
        bench.dialog.show();
        QCOMPARE(bench.boxes.seen, QStringList("warning [Fatal Error] Set Hub Speed failed!!! (OK)"));
        QCOMPARE(bench.label("lblInfo"), QString("Info"));
        QCOMPARE(bench.offers(), QString("exit 0"));
    }

    void showingAgainDetectsAgain()
    {
        sim::MonitorSetup setup;
        setup.display_version = {12, 4};
        Bench bench(setup);
        writeResource("scaler.bin", scalerImage(12, 3));
        bench.dialog.show();
        auto* override = bench.find<QCheckBox>("chkOverride");
        override->click();
        QCOMPARE(bench.offers(), QString("update exit override 100"));
        override->click();
        QCOMPARE(bench.offers(), QString("exit override 100"));
        override->click();

        bench.dialog.hide();
        bench.monitor.unplug();
        bench.dialog.show();
        QCOMPARE(bench.label("lblInfo"), no_hub_text);
        QCOMPARE(bench.offers(), QString("exit 0"));
        QVERIFY(!override->isChecked());
    }
};

int main(int argc, char** argv)
{
    return runGuiTest<DetectionTest>(argc, argv);
}

#include "detection_test.moc"
