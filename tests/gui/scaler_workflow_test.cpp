/// "Update" with a scaler update pending: the whole job for each model, the downgrade, and each failure.
#include "gui_support.h"

#include <QCheckBox>

#include <algorithm>

namespace {

const QString success_box = "plain [Update Firmware] Your monitor firmware was updated successfully.\n"
                            "Suggest to reset OSD setting to default. (Reset OSD Setting, Exit)";
const QString reset_box =
    "information [OSD Settings Reset] Your monitor OSD Settings has been reset successfully. (OK)";

sim::When atBlockWrite(int nth)
{
    return sim::atMatch(sim::requestIs(0x40, 0xC6), nth);
}

bool scalerHolds(Bench& bench, const QByteArray& image)
{
    const std::vector<std::uint8_t>& flash = bench.monitor.scaler().flash().bytes();
    return flashHolds(flash, 0x100000, image) && flashHolds(flash, 0x1FF8FE, "\xAA\x55");
}

/// Runs of the erase command: 0xB9 into the scaler's command register.
int blockErases(Bench& bench)
{
    const std::vector<sim::WireRecord>& records = bench.bus.log().records();
    return static_cast<int>(std::count_if(records.begin(), records.end(), [](const sim::WireRecord& record) {
        return record.setup.request == 0xE6 && record.setup.value == 0x60 &&
               record.data == std::vector<std::uint8_t>{0xB9};
    }));
}

/// Whole milliseconds from each request to the next.
QVector<int> pauses(Bench& bench)
{
    const std::vector<sim::WireRecord>& records = bench.bus.log().records();
    QVector<int> result;
    for (std::size_t i = 1; i < records.size(); ++i)
        result += static_cast<int>((records[i].time - records[i - 1].time) / std::chrono::milliseconds(1));
    return result;
}

} // namespace
Q_DECLARE_METATYPE(sim::Model)

class ScalerWorkflowTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        clearResources();
        writeResource("hub.bin", hubImage(1, 2)); // what the hub runs
        writeResource("scaler.bin", scalerImage(12, 3));
    }

    void wholeJob_data()
    {
        QTest::addColumn<sim::Model>("model");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("superSpeed");
        QTest::addColumn<int>("erases");
        QTest::newRow("QX1320") << sim::Model::qx1320 << QByteArray("QX1320") << true << 16;
        QTest::newRow("QX1650") << sim::Model::qx1650 << QByteArray("QX1650") << true << 16;
        QTest::newRow("QX1650 at high speed") << sim::Model::qx1650 << QByteArray("QX1650") << false << 16;
        QTest::newRow("QX1655") << sim::Model::qx1655 << QByteArray("QX1655") << true << 32;
    }
    void wholeJob()
    {
        QFETCH(QByteArray, name);
        QFETCH(bool, superSpeed);
        QFETCH(sim::Model, model);
        sim::MonitorSetup setup;
        setup.model = model;
        setup.has_super_speed_face = superSpeed;
        Bench bench(setup);
        writeResource("hub.bin", hubImage(2, 5));
        writeResource("scaler.bin", scalerImage(12, 3, name));
        bench.dialog.show();
        bench.update({"Yes", "Reset OSD Setting", "OK"});

        QCOMPARE(bench.boxes.seen, QStringList({confirm_box, success_box, reset_box}));
        QCOMPARE(bench.monitor.display().factoryResets(), 1);
        const int hubDone =
            bench.progress.indexOf(84); // the hub first, then the scaler from its own beginning
        QCOMPARE(bench.progress.mid(hubDone, 4), QVector<int>({84, 0, 20, 21}));
        QVERIFY(std::is_sorted(bench.progress.begin() + hubDone + 1, bench.progress.end()));
        QVERIFY(flashHolds(bench.monitor.hub().flash(), 0, hubImage(2, 5)));
        QVERIFY((bench.monitor.display().runningVersion() == sim::Version{12, 3}));
        QVERIFY(scalerHolds(bench, scalerImage(12, 3, name)));
        QCOMPARE(bench.bus.violations().count(), 0);
        QTEST(blockErases(bench), "erases");
        QVERIFY(pauses(bench).contains(1000)); // for the hub to settle
        QVERIFY(pauses(bench).contains(8000)); // for the scaler to restart
        for (int showings = 0; showings < 2; ++showings) {
            QCOMPARE(bench.label("lblCurrentFW"), QString("Monitor FW : <b>M012</b>"));
            QCOMPARE(bench.label("lblInfo"), latest_text);
            QCOMPARE(bench.offers(), QString("exit 100"));
            bench.dialog.hide();
            bench.dialog.show();
        }
    }

    void exitInTheSuccessBoxKeepsTheToolOpen()
    {
        for (const char* answer : {"Exit", "Escape"}) {
            Bench bench;
            bench.dialog.show();
            bench.update({"Yes", answer});
            QCOMPARE(bench.boxes.seen, QStringList({confirm_box, success_box}));
            QCOMPARE(bench.monitor.display().factoryResets(), 0);
            QCOMPARE(bench.offers(), QString("exit 100"));
        }
    }

    void downgradeNeedsTheTick()
    {
        sim::MonitorSetup setup;
        setup.display_version = {12, 4};
        Bench bench(setup);
        bench.dialog.show();
        bench.update({"Yes"});
        QCOMPARE(bench.boxes.seen, QStringList());
        bench.find<QCheckBox>("chkOverride")->click();
        bench.update({"Yes", "Exit"});
        QCOMPARE(bench.boxes.seen,
                 QStringList({"question [Confirm to update firmware] Are you sure you want to downgrade your "
                              "firmware to the old version? (Yes, No)",
                              success_box}));
        QVERIFY((bench.monitor.display().runningVersion() == sim::Version{12, 3}));
        QCOMPARE(bench.offers(), QString("exit 100"));
    }

    void failureIsToldOnce_data()
    {
        QTest::addColumn<Sabotage>("sabotage");
        const auto row = [](const char* name, const Sabotage& sabotage) { QTest::newRow(name) << sabotage; };
        row("image without mark", [](Bench& /*bench*/) {
            writeResource("scaler.bin", scalerImage(12, 3).replace(0xF8FE, 2, "\xAA\xAA"));
        });
        row("image short",
            [](Bench& /*bench*/) { writeResource("scaler.bin", scalerImage(12, 3).left(0x10000)); });
        row("image gone", [](Bench& /*bench*/) { writeResource("scaler.bin", {}); });
        row("bad block", [](Bench& bench) { bench.bus.faults().troubles.bad_erase_check = 20; });
        row("chunk refused", [](Bench& bench) { bench.bus.faults().refuse(atBlockWrite(100)); });
        row("mark refused", [](Bench& bench) { bench.bus.faults().refuse(atBlockWrite(516)); });
        row("unplugged midway", [](Bench& bench) { bench.bus.faults().unplug(atBlockWrite(200)); });
    }
    void failureIsToldOnce()
    {
        Bench bench;
        bench.dialog.show();
        QFETCH(Sabotage, sabotage);
        sabotage(bench);
        bench.update({"Yes", "OK"});
        QCOMPARE(bench.boxes.seen,
                 QStringList({confirm_box,
                              "warning [Update Scalar FW Failed] Monitor Scalar Firmware update failed, "
                              "please close the application and retry again ! (OK)"}));
        QCOMPARE(bench.label("lblInfo"), failed_text);
        QVERIFY(bench.offers().startsWith("exit ")); // "Update" is not offered
    }

    void modelWithoutScalerParametersIsNotWritten()
    {
        sim::MonitorSetup setup;
        setup.capabilities = "(model(QX9999 Series))";
        Bench bench(setup);
        writeResource("scaler.bin", scalerImage(12, 3, "QX9999"));
        bench.dialog.show();
        bench.update({"Yes", "OK"});
        QCOMPARE(bench.boxes.seen, QStringList({confirm_box, "warning [Fatal Error] Update Failed ! (OK)"}));
        QCOMPARE(bench.label("lblInfo"), busy_text);
        QCOMPARE(bench.offers(), QString("exit 0"));
        QVERIFY((bench.monitor.display().runningVersion() == sim::Version{11, 0}));
    }

    void monitorThatLeftBeforeTheResetIsMissed()
    {
        Bench bench;
        bench.dialog.show();
        connect(&bench.boxes, &BoxHand::aboutToAnswer, this, [&](const QString& box) {
            if (box == success_box)
                bench.monitor.unplug();
        });
        bench.update({"Yes", "Reset OSD Setting", "OK"});
        QCOMPARE(bench.boxes.seen.back(), reset_box); // it does not look at the result
        QCOMPARE(bench.label("lblInfo"), no_hub_text);
        QCOMPARE(bench.monitor.display().factoryResets(), 0);
    }
};

int main(int argc, char** argv)
{
    return runGuiTest<ScalerWorkflowTest>(argc, argv);
}

#include "scaler_workflow_test.moc"
