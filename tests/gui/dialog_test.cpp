/// What the dialog shows for each monitor and pair of images it may find, and what "Update" makes of it.
#include "app/image_fields.h"
#include "gui_support.h"

#include <QCheckBox>

#include <algorithm>
#include <tuple>

namespace {

const QByteArray hub = hubImage(2, 5);
const QByteArray scaler = scalerImage(12, 3);
const QByteArray hub_as_it_is = hubImage(1, 2); // in a monitor that is not asked to be another
const QByteArray scaler_as_it_is = scalerImage(11, 0);
const QString hub_is_old = "Please click update button to update new firmware!";
const QString scaler_is_old = "Please click \"update\" to update your firmware.";

/// Label, current and new firmware, model, checksum, and what is offered, for a monitor that runs these.
QString shownFor(sim::Version hubVersion, sim::Version monitorVersion, const QByteArray& hubFile,
                 const QByteArray& scalerFile)
{
    Bench bench({sim::Model::qx1650, hubVersion, monitorVersion, ""});
    writeResource("hub.bin", hubFile);
    writeResource("scaler.bin", scalerFile);
    if (scalerFile.isNull())
        bench.dialog.scalarBinFile.clear(); // the path is the folder then
    bench.dialog.show();
    QStringList shown = bench.boxes.seen;
    for (const char* name : {"lblInfo", "lblCurrentFW", "lblNewFW", "lblModelName", "lblCheckSum"})
        shown += bench.label(name);
    if (bench.bus.violations().count() != 0)
        shown += "violations";
    return (shown + QStringList(bench.offers())).join(" | ");
}

QString sumOf(const QByteArray& image)
{
    return " | 0x" + QString::number(checksum16(image), 16) + " | ";
}

} // namespace

class DialogTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { clearResources(); }

    void nothingToCompare()
    {
        const QString untouched = " | Current Firmware | New Firmware | Model Name | ";
        const QString no_file = "Firmware file is not detected ." + untouched + "0x0 | exit 0";
        QCOMPARE(shownFor({0, 0}, {11, 0}, hub, scaler), texts::noHub() + untouched + "CheckSum | exit 0");
        QCOMPARE(shownFor({2, 5}, {11, 0}, hub, ""), no_file);
        QCOMPARE(shownFor({2, 5}, {11, 0}, hub, {}), no_file);
    }

    void hubComesFirst()
    {
        for (const auto& [running, shown] :
             {std::pair{sim::Version{1, 0}, "1.0"}, {sim::Version{2, 4}, "2.4"}}) {
            const QString wanted =
                hub_is_old + " | Hub FW : <b>%1</b> | Hub FW : <b>2.5</b> | from Config.ini";
            QCOMPARE(shownFor(running, {11, 0}, hub, scaler),
                     wanted.arg(shown) + sumOf(hub) + "update exit 0");
        }
    }

    void scalerFollows()
    {
        struct Case
        {
            sim::Version monitor;
            const char* running;
            const char* offered;
            QString offers;
            QByteArray file = scaler;
            sim::Version running_hub = {2, 5};
            QByteArray hub_file = hub;
        };
        for (const Case& c : {Case{{11, 9}, "M011", "M012", "update exit 0"},
                              {{12, 1}, "M012REV 1", "M012REV 3", "update exit 0"},
                              {{12, 3}, "M012", "M012", "exit 100"},
                              {{12, 4}, "M012", "M012", "exit override 100"},
                              {{127, 0}, "M127", "M012", "exit override 100"},
                              {{12, 3}, "M012", "M012", "exit 100", scaler, {2, 6}},
                              // The bytes of an image are signed.
                              {{11, 0}, "M011", "M0-5", "exit override 100", scalerImage(0xFB, 0)},
                              {{12, 3}, "M012", "M012", "exit 100", scaler, {2, 5}, hubImage(3, 0x90)}}) {
            const QString firmware = " | Monitor FW : <b>%1</b> | Monitor FW : <b>%2</b> | QX1650";
            QCOMPARE(shownFor(c.running_hub, c.monitor, c.hub_file, c.file),
                     (c.offers[0] == 'u' ? scaler_is_old : texts::alreadyLatest()) +
                         firmware.arg(c.running, c.offered) + sumOf(c.file) + c.offers);
        }
    }

    void unreliableDisplay()
    {
        Bench bench(
            {sim::Model::qx1650, {1, 2}, {11, 0}, "(prot(monitor)type(lcd)model(qx1650 series)cmds(01 02))"});
        writeResource("scaler.bin", scaler);
        const sim::Matches reads = sim::requestIs(0xC0, 0xD6);
        bench.bus.faults().refuse(sim::atMatch(reads)); // the firmware level reads as 0.0 then
        // The second fragment comes as that of another offset twice, and is asked for again.
        bench.bus.faults().replaceReply(sim::atMatch(reads, 3), 3, {0x00, 0x01});
        bench.bus.faults().replaceReply(sim::atMatch(reads, 4), 3, {0x01, 0x1A});
        bench.dialog.show();
        QCOMPARE(bench.bus.faults().fired(), 3);
        QCOMPARE(bench.label("lblCurrentFW"), QString("Monitor FW : <b>M000</b>"));
        QCOMPARE(bench.label("lblInfo"), scaler_is_old);
    }

    void showingAgainDetectsAgain()
    {
        Bench bench({}, scaler, {sim::Model::qx1650, {1, 2}, {12, 4}, ""});
        auto* override = bench.find<QCheckBox>("chkOverride");
        for (const char* offered :
             {"update exit override 100", "exit override 100", "update exit override 100"}) {
            override->click();
            QCOMPARE(bench.offers(), QString(offered));
        }
        bench.monitor.unplug();
        bench.showAgain();
        QCOMPARE(bench.label("lblInfo"), texts::noHub());
        QCOMPARE(bench.offers(), QString("exit 0"));
        QVERIFY(!override->isChecked());
    }

    void anyAnswerButYesChangesNothing()
    {
        for (const char* answer : {"No", "Escape"}) {
            Bench bench(hub, scaler_as_it_is);
            const std::uint64_t requests = bench.bus.requestCount();
            QCOMPARE(bench.update({answer}), QStringList({confirm_box, hub_is_old, "update exit 0"}));
            QCOMPARE(bench.bus.requestCount(), requests);
        }
    }

    void wholeJob()
    {
        using Case = std::tuple<sim::Model, bool, int>;
        for (const auto& [model, superSpeed, wanted] :
             {Case{sim::Model::qx1320, true, 16}, Case{sim::Model::qx1650, true, 16},
              Case{sim::Model::qx1650, false, 16}, Case{sim::Model::qx1655, true, 32}}) {
            const QByteArray image = scalerImage(12, 3, sim::factsOf(model).name);
            Bench bench(hub, image, {model, {1, 2}, {11, 0}, "", superSpeed});
            bool guarded = true; // while writing
            connect(bench.find<QProgressBar>("bar1"), &QProgressBar::valueChanged, this, [&](int percent) {
                guarded &= percent == 100 || (bench.offers() == QString::number(percent) &&
                                              bench.label("lblInfo") == texts::busy());
            });
            QCOMPARE(bench.update({"Yes", "Reset OSD Setting", "OK"}),
                     QStringList({confirm_box, success_box, reset_box, texts::alreadyLatest(), "exit 100"}));
            QCOMPARE(bench.monitor.display().factoryResets(), 1);
            QVERIFY(guarded);
            // The hub first, then the scaler from its own beginning.
            const auto hubDone = bench.progress.indexOf(84);
            QCOMPARE(bench.progress.front(), 10);
            QCOMPARE(bench.progress.mid(hubDone, 4), QVector<int>({84, 0, 20, 21}));
            QVERIFY(std::is_sorted(bench.progress.begin() + hubDone + 1, bench.progress.end()));
            QVERIFY(hubHolds(bench.monitor, hub));
            QVERIFY(scalerHolds(bench.monitor, image));
            QCOMPARE(bench.bus.violations().count(), 0);

            int erases = 0;
            QSet<qint64> pauses; // whole milliseconds from a request to the next
            const std::vector<sim::WireRecord>& records = bench.bus.log().records();
            for (std::size_t i = 1; i < records.size(); ++i) {
                pauses += (records[i].time - records[i - 1].time) / std::chrono::milliseconds(1);
                if (records[i].setup.value == 0x60 && records[i].data == std::vector<std::uint8_t>{0xB9})
                    ++erases;
            }
            QCOMPARE(erases, wanted);
            QVERIFY(pauses.contains(1000)); // for the hub to settle
            QVERIFY(pauses.contains(8000)); // for the scaler to restart
            QCOMPARE(bench.label("lblCurrentFW"), QString("Monitor FW : <b>M012</b>"));
        }
    }

    void downgradeNeedsTheTick()
    {
        const QString downgrade_box =
            "question [Confirm to update firmware] Are you sure you want to downgrade "
            "your firmware to the old version? (Yes, No)";
        Bench bench(hub_as_it_is, scaler, {sim::Model::qx1650, {1, 2}, {12, 4}, ""});
        QCOMPARE(bench.update({"Yes"}), QStringList({texts::alreadyLatest(), "exit override 100"}));
        bench.find<QCheckBox>("chkOverride")->click();
        QCOMPARE(bench.update({"Yes", "Exit"}),
                 QStringList({downgrade_box, success_box, texts::alreadyLatest(), "exit 100"}));
        QVERIFY((bench.monitor.display().runningVersion() == sim::Version{12, 3}));
        QCOMPARE(bench.monitor.display().factoryResets(), 0);
    }

    void monitorThatLeavesIsFoundMissing()
    {
        Bench bench(hub_as_it_is, scaler);
        bench.boxes.before_answer = [&bench](const QMessageBox& box) {
            if (Hand::described(box) == success_box)
                bench.monitor.unplug();
        };
        // That the settings were reset is said in any case.
        QCOMPARE(bench.update({"Yes", "Reset OSD Setting", "OK"}),
                 QStringList({confirm_box, success_box, reset_box, texts::noHub(), "exit 100"}));
        QCOMPARE(bench.monitor.display().factoryResets(), 0);
    }

    void modelWithoutScalerParametersIsNotWritten()
    {
        Bench bench(hub_as_it_is, scalerImage(12, 3, "QX9999"),
                    {sim::Model::qx1650, {1, 2}, {11, 0}, "(model(QX9999 Series))"});
        QCOMPARE(bench.update({"Yes", "OK"}),
                 QStringList(
                     {confirm_box, "warning [Fatal Error] Update Failed ! (OK)", texts::busy(), "exit 0"}));
        QVERIFY((bench.monitor.display().runningVersion() == sim::Version{11, 0}));
    }
};

int main(int argc, char** argv)
{
    return runGuiTest<DialogTest>(argc, argv);
}

#include "dialog_test.moc"
