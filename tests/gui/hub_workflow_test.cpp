/// "Update" while a hub update is pending: the question, the write, what follows it, and each failure.
#include "gui_support.h"

#include <algorithm>

namespace {

const QString failed_box =
    "warning [Update Hub FW Failed] Monitor Hub Firmware update failed , please close the "
    "application and retry again ! (OK)";

sim::When atFlashWrite(int nth)
{
    return sim::atMatch(sim::requestIs(0x40, 0xC8), nth);
}

bool hubHolds(Bench& bench, const QByteArray& image)
{
    return flashHolds(bench.monitor.hub().flash(), 0, image);
}

} // namespace

class HubWorkflowTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        clearResources();
        writeResource("hub.bin", hubImage(2, 5));
        writeResource("scaler.bin", scalerImage(11, 0)); // what the monitor runs
    }

    void anyAnswerButYesChangesNothing()
    {
        for (const char* answer : {"No", "Escape"}) {
            Bench bench;
            bench.dialog.show();
            const std::uint64_t requests = bench.bus.requestCount();
            bench.update({answer});
            QCOMPARE(bench.boxes.seen, QStringList(confirm_box));
            QCOMPARE(bench.bus.requestCount(), requests);
            QCOMPARE(bench.label("lblInfo"), QString("Please click update button to update new firmware!"));
            QCOMPARE(bench.offers(), QString("update exit 0"));
        }
    }

    void wholeUpdate()
    {
        Bench bench;
        bench.dialog.show();
        bool guarded = true;
        connect(bench.find<QProgressBar>("bar1"), &QProgressBar::valueChanged, this, [&](int percent) {
            const bool writing = percent < 100;
            guarded &= !writing ||
                       (bench.offers() == QString::number(percent) && bench.label("lblInfo") == busy_text);
        });
        bench.update({"Yes"});

        QVERIFY(guarded);
        QVERIFY(std::is_sorted(bench.progress.begin(), bench.progress.end()));
        QCOMPARE(bench.progress.front(), 10);
        QVERIFY(bench.progress.contains(42)); // all written
        QVERIFY(bench.progress.contains(74)); // all read back
        QCOMPARE(bench.progress.mid(bench.progress.size() - 2),
                 QVector<int>({84, 100})); // 100: nothing left to do
        QVERIFY(hubHolds(bench, hubImage(2, 5)));
        QVERIFY((bench.monitor.hub().runningVersion() == sim::Version{2, 5}));
        QCOMPARE(bench.label("lblCurrentFW"), QString("Monitor FW : <b>M011</b>"));
        QCOMPARE(bench.label("lblInfo"), latest_text);
        QCOMPARE(bench.offers(), QString("exit 100"));
        QCOMPARE(bench.boxes.seen, QStringList(confirm_box)); // no success box for the hub alone
        QCOMPARE(bench.bus.violations().count(), 0);
    }

    void failureIsToldOnce_data()
    {
        QTest::addColumn<Sabotage>("sabotage");
        const auto row = [](const char* name, const Sabotage& sabotage) { QTest::newRow(name) << sabotage; };
        row("hub never returns", [](Bench& bench) { bench.bus.faults().troubles.hub_never_returns = true; });
        row("erase refused", [](Bench& bench) {
            bench.bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0xE8)).forGood());
        });
        row("first piece refused", [](Bench& bench) { bench.bus.faults().refuse(atFlashWrite(2)); });
        row("last piece refused", [](Bench& bench) { bench.bus.faults().refuse(atFlashWrite(17)); });
        row("unplugged before", [](Bench& bench) { bench.monitor.unplug(); });
        row("unplugged midway", [](Bench& bench) { bench.bus.faults().unplug(atFlashWrite(9)); });
    }
    void failureIsToldOnce()
    {
        Bench bench;
        bench.dialog.show();
        QFETCH(Sabotage, sabotage);
        sabotage(bench);
        bench.update({"Yes", "OK"});
        QCOMPARE(bench.boxes.seen, QStringList({confirm_box, failed_box}));
        QCOMPARE(bench.label("lblInfo"), failed_text);
        QVERIFY(bench.offers().startsWith("exit ")); // "Update" is not offered
        QVERIFY(!hubHolds(bench, hubImage(2, 5)));
    }

    void interruptedUpdateCanBeFinished()
    {
        Bench bench;
        bench.dialog.show();
        bench.bus.faults().unplug(atFlashWrite(9));
        bench.update({"Yes", "OK"});
        bench.monitor.plugIn();
        bench.dialog.hide();
        bench.dialog.show();
        QCOMPARE(bench.label("lblCurrentFW"), QString("Hub FW : <b>0.1</b>")); // the boot ROM's own
        bench.update({"Yes"});
        QVERIFY(hubHolds(bench, hubImage(2, 5)));
        QCOMPARE(bench.label("lblInfo"), latest_text);
    }

    void hubThatDoesNotStartAgainIsFoundMissing()
    {
        Bench bench;
        bench.dialog.show();
        bench.bus.faults().unplug(sim::atMatch(sim::requestIs(0x40, 0xE9))); // the restart into the new code
        bench.update({"Yes"});
        QVERIFY(hubHolds(bench, hubImage(2, 5)));
        QCOMPARE(bench.boxes.seen, QStringList(confirm_box));
        QCOMPARE(bench.label("lblInfo"), no_hub_text);
        QVERIFY(bench.offers().startsWith("exit "));
    }
};

int main(int argc, char** argv)
{
    return runGuiTest<HubWorkflowTest>(argc, argv);
}

#include "hub_workflow_test.moc"
