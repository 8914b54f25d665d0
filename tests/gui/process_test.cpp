/// What ends with its process: every way out of the program, and the dialog on a bad day. All along both updates
/// each kind of fault strikes once, the user keeps pressing "Update", and closes the tool in the end or in the
/// middle of a write. Every run is a copy of this process, because the dialog may end it, and at the user's wish
/// must.
#include "gui_support.h"
#include "tests/faults/fault_kinds.h"

#include <QDir>
#include <QTemporaryDir>

#include <optional>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

/// A hub that is gone at the very first one is not opened again, and without an open hub the scaler update
/// gives 0, which is its success.
constexpr int first_request = 2;
/// The last ones fetch further pieces of the capabilities. A monitor that leaves between two pieces is asked for
/// the next one for ever, as one is that answers something else.
constexpr int last_pieces = 4;
constexpr int stayed = 99;          ///< exit status of a copy that did not end when asked to
constexpr unsigned time_limit = 60; ///< seconds for a copy, which needs a twentieth of one

/// Short names for boxes or labels; what has none is its own.
QString named(const QStringList& shown)
{
    const QString other = "information [Update FW Tool for QX Series] unformatted: This firmwave is not for "
                          "your monitor (%1) , only for QX1650!!! (OK)";
    const QString failed = " Firmware update failed%1, please close the application and retry again ! (OK)";
    const QMap<QString, QString> names{
        {confirm_box, "asked"},
        {"warning [Update Hub FW Failed] Monitor Hub" + failed.arg(' '), "hub failed"},
        {"warning [Update Scalar FW Failed] Monitor Scalar" + failed.arg(""), "scaler failed"},
        {success_box, "success"},
        {reset_box, "reset"},
        {"warning [Fatal Error] Set Hub Speed failed!!! (OK)", "no bridge"},
        {other.arg(""), "other model"},
        {other.arg(QString(26, QChar('\0'))), "other model"}, // a reply that was not fetched
        {texts::updateFailed(), "try again"},
        {texts::alreadyLatest(), "up to date"},
        {texts::noHub(), "no hub"},
        {texts::busy(), "busy"},
        {"Please click update button to update new firmware!", "hub is old"},
        {"Please click \"update\" to update your firmware.", "scaler is old"}};
    QStringList result;
    for (const QString& text : shown)
        result += names.value(text, text);
    return result.join(", ");
}

const QByteArray new_hub = hubImage(2, 5);
const QByteArray new_scaler = scalerImage(12, 3);

struct Job
{
    QByteArray hub; ///< image files
    QByteArray scaler;
    QStringList endings; ///< boxes; label; buttons; flash: which of them go together; first without a fault
};

const Job jobs[] = {
    {new_hub,
     scalerImage(11, 0),
     {"asked; up to date; exit; new", "asked, hub failed; try again; exit; old", "asked; no hub; exit; old",
      "asked; no hub; exit; new",
      // Not verified, or still in its ROM: detection offers it again.
      "asked; hub is old; update exit; old", "asked; hub is old; update exit; new",
      // Written, but the display cannot be asked, or only in part.
      "asked, no bridge; busy; exit; new", "asked, other model; ended; new",
      "asked, no bridge, other model; ended; new", "asked, success; up to date; exit; new"}},
    {hubImage(1, 2),
     new_scaler,
     {"asked, success; up to date; exit; new", "asked, scaler failed; try again; exit; old",
      "asked, scaler failed; try again; exit; new", "asked, success; no hub; exit; new",
      "asked, success; scaler is old; update exit; new", "asked, no bridge, success; busy; exit; new",
      "asked, other model; ended; new", "asked, no bridge, other model; ended; new"}}};

/// What a copy leaves behind.
struct Remains
{
    char ending[0x1000];
    int requests; ///< from the first press to the end
    std::uint8_t hub[0x40000];
    std::uint8_t scaler[0x400000];
};
Remains& remains = *static_cast<Remains*>(mmap(nullptr, sizeof(Remains), PROT_READ | PROT_WRITE,
                                               MAP_SHARED | MAP_ANONYMOUS, -1, 0)); // NOLINT: see lastWords
std::function<void()> lastWords; // NOLINT: an exit handler takes no arguments

/// Does `work` in a copy of this process. Returns what it has left behind, after its exit status (or minus the
/// signal that ended it) when that is not 0.
QString inACopy(const std::function<void()>& work)
{
    std::fflush(stdout);
    const pid_t copy = fork();
    if (copy == 0) {
        alarm(time_limit);
        if (std::freopen("/dev/null", "w", stdout) == nullptr)
            std::_Exit(EXIT_FAILURE);
        // What else is done at an exit belongs to the first process: its threads, and the search for leaks.
        on_exit(
            [](int status, void* /*argument*/) {
                lastWords();
                std::_Exit(status);
            },
            nullptr);
        work();
        std::_Exit(stayed);
    }
    int status = 0;
    waitpid(copy, &status, 0);
    status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return (status == 0 ? "" : QString("status %1: ").arg(status)) + remains.ending;
}

void leaveBehind(const QString& end)
{
    qstrncpy(remains.ending, qPrintable(end), sizeof remains.ending);
}

int argumentCount = 1; // NOLINT: Qt keeps a reference
char programName[] = "tool";
char* arguments[] = {programName, nullptr};
std::function<void()> whenStarted; // NOLINT: the start-up hook takes no arguments
void hook()
{
    if (whenStarted)
        whenStarted();
}
Q_COREAPP_STARTUP_FUNCTION(hook)

/// Fills the Resources folder; returns the program's folders.
QStringList prepare(const QByteArray& hub, const QByteArray& scaler)
{
    const QCoreApplication knows_its_folder(argumentCount, arguments);
    clearResources();
    writeResource("Config.ini", "[FWFilePath]\nScalarBinFile=scaler.bin\nHubBinFile=hub.bin\n");
    writeResource("hub.bin", hub);
    writeResource("scaler.bin", scaler);
    return {QCoreApplication::applicationDirPath(), resourcesDir()};
}

struct Run
{
    const Job& job;
    std::function<void(sim::Faults&)> fault = {};
    int close_at = 101;   ///< percent
    bool goes_on = false; ///< with the flashes that the last one left
};

/// One update, the user pressing "Update" all the while and "EXIT" in the end. Returns how it ended.
QString ending(const Run& run)
{
    return inACopy([&run] {
        const QApplication application(argumentCount, arguments);
        Bench bench;
        if (run.goes_on) {
            bench.monitor.hub().loadFlash({std::begin(remains.hub), std::end(remains.hub)});
            bench.monitor.scaler().flash().load({std::begin(remains.scaler), std::end(remains.scaler)});
            bench.monitor.powerCycle();
            bench.bus.clock().advance(sim::VirtualMonitor::start_up_time);
        }
        QString shown = "; ended"; // in the middle
        std::uint64_t before = 0;
        lastWords = [&] {
            const bool done = run.job.hub == new_hub
                                  ? hubHolds(bench.monitor, new_hub) && bench.monitor.hub().flashIsValid()
                                  : scalerHolds(bench.monitor, new_scaler);
            leaveBehind(named(bench.boxes.seen) + shown + (done ? "; new" : "; old"));
            remains.requests = static_cast<int>(bench.bus.requestCount() - before);
            const auto& scaler = bench.monitor.scaler().flash().bytes();
            std::copy(scaler.begin(), scaler.end(), remains.scaler);
            std::copy(bench.monitor.hub().flash().begin(), bench.monitor.hub().flash().end(), remains.hub);
        };
        bench.dialog.show();
        before = bench.bus.requestCount();
        auto* bar = bench.find<QProgressBar>("bar1");
        QObject::connect(bar, &QProgressBar::valueChanged, bar, [&](int percent) {
            QTimer::singleShot(0, bar, [&, percent] {
                bench.press("btnUpdate");
                if (percent >= run.close_at)
                    bench.dialog.close();
            });
        });
        if (run.fault)
            run.fault(bench.bus.faults());
        bench.update({"Yes"});
        shown = "; " + named({bench.label("lblInfo")}) + "; " + bench.offers().section(' ', 0, -2);
        bench.press("btnExit");
    });
}

/// The whole program, with `act` once its dialog is shown. It may change nothing in any folder that it could be
/// expected to write to, and give no file anywhere a single byte. Returns its boxes and what the scaler runs.
QString leaving(const QStringList& folders, const std::function<void()>& act)
{
    const QTemporaryDir world;
    const int changes = inotify_init1(IN_NONBLOCK);
    for (const QString& folder : folders + QStringList(world.path()))
        inotify_add_watch(changes, qPrintable(folder),
                          IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_DELETE | IN_MOVE);
    const QString end = inACopy([&] {
        for (const char* place : {"HOME", "TMPDIR", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME",
                                  "XDG_STATE_HOME", "XDG_RUNTIME_DIR"})
            qputenv(place, world.path().toLocal8Bit());
        QDir::setCurrent(world.path());
        sim::VirtualBus bus;
        sim::VirtualMonitor monitor(bus);
        std::optional<Hand> boxes; // its timer needs the application
        whenStarted = [&] {
            boxes.emplace();
            boxes->answers = QStringList{"Yes", "Reset OSD Setting", "OK"};
            QTimer::singleShot(0, qApp, act);
        };
        lastWords = [&] {
            const int version = monitor.display().runningVersion().major;
            leaveBehind(named(boxes->seen) + QString("; scaler %1").arg(version));
        };
        const rlimit nothing{0, 0}; // more is a signal that ends the process
        setrlimit(RLIMIT_FSIZE, &nothing);
        const int result = runUpdateTool(argumentCount, arguments);
        lastWords = [result] { leaveBehind(QString("returned %1").arg(result)); };
        std::exit(result);
    });
    char event[0x1000];
    return end + (read(changes, event, sizeof event) > 0 ? ", with traces" : "");
}

} // namespace

class ProcessTest : public QObject
{
    Q_OBJECT

private slots:
    void everyWayOut()
    {
        const auto press = [](const char* name) {
            return [name] { QTest::mouseClick(g_dialog->findChild<QWidget*>(name), Qt::LeftButton); };
        };
        const auto escape = [] { QTest::keyClick(g_dialog, Qt::Key_Escape); };
        QStringList folders = prepare(new_hub, new_scaler);
        QCOMPARE(leaving(folders, press("btnExit")), QString("; scaler 11"));
        QCOMPARE(leaving(folders, escape), QString("returned 0"));
        QCOMPARE(leaving(folders, [=] { press("btnUpdate")(), press("btnExit")(); }),
                 QString("asked, success, reset; scaler 12"));
        folders = prepare(hubImage(1, 2), scalerImage(12, 3, "<b>QX"));
        QCOMPARE(
            leaving(folders, escape),
            QString("information [Update FW Tool for QX Series] unformatted: This firmwave is not for your "
                    "monitor (QX1650) , only for <b>QX!!! (OK); scaler 11"));
    }

    void boxLabelAndButtonsBelongTogether()
    {
        for (const Job& job : jobs) {
            prepare(job.hub, job.scaler);
            QCOMPARE(ending({job}), job.endings[0]);
            const int last = remains.requests - last_pieces;
            QVector<int> points; // the end of a write is where most of its stages are
            for (int eighth = 0; eighth < 8; ++eighth)
                points += first_request + (last - first_request) * eighth / 8;
            for (int back = 0; back < 40; back += 8)
                points += last - back;
            QSet<QString> met;
            for (const sim::FaultKind& kind : sim::faultKinds()) {
                if (kind.replies_only) // which may say anything
                    continue;
                for (const int request : std::as_const(points)) {
                    const QString end = ending({job, [&](sim::Faults& on) { kind.arm(on, {request}); }});
                    QVERIFY2(job.endings.contains(end),
                             qPrintable(QString("%1 at %2: %3").arg(kind.name).arg(request).arg(end)));
                    met += end;
                }
            }
            QVERIFY(met.size() > 4);
        }
    }

    void hubThatRefusesAPieceFails()
    {
        prepare(new_hub, scalerImage(11, 0));
        const auto piece = [](sim::Faults& on) {
            on.refuse(sim::atMatch(sim::requestIs(0x40, 0xC8), 9)); // its result is neither 0 nor 1
        };
        QCOMPARE(ending({jobs[0], piece}), QString("asked, hub failed; try again; exit; old"));
    }

    void closedMidwayIsRepairedByTheNextRun()
    {
        for (const Job& job : jobs) {
            prepare(job.hub, job.scaler);
            for (const int when : {15, 45, 70}) {
                QCOMPARE(ending({job, {}, when}), QString("asked; ended; old"));
                QCOMPARE(ending({job, {}, 101, true}), job.endings[0]);
            }
        }
    }
};

QTEST_APPLESS_MAIN(ProcessTest)

#include "process_test.moc"
