/// What ends with its process: every way out of the whole program, what may come in the middle of a write, and that
/// nothing is written to disk. Each story plays in a copy of this process.
#include "gui_support.h"

#include <QTemporaryDir>

#include <csignal>
#include <optional>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Action = std::function<void()>;

constexpr int stayed = 99;          ///< exit status of a copy that did not end when asked to
constexpr unsigned time_limit = 10; ///< seconds for a copy, which needs a twentieth of one

const QByteArray new_hub = hubImage("2.5");
const QByteArray new_scaler = scalerImage("12.3");

/// What a copy plays with.
struct World
{
    sim::VirtualBus bus;
    sim::VirtualMonitor monitor{bus};
    std::optional<Hand> boxes; // its timer needs the application
    int output = -1;           ///< where the program's standard output can be read
    QString remark;
};

// NOLINTBEGIN: no signal handler, exit handler or start-up hook has a context
World* world = nullptr;
Action whenStarted = [] {};
char& ending =
    *static_cast<char*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
int argumentCount = 1;
char programName[] = "tool";
char* arguments[] = {programName, nullptr};
// NOLINTEND
void startUp()
{
    whenStarted();
}
Q_COREAPP_STARTUP_FUNCTION(startUp)

/// Boxes; what the flashes hold; how the process ends.
void leaveBehind(const QString& end)
{
    const QString hub = hubHolds(world->monitor, new_hub) ? "hub new" : "hub old";
    const QString scaler = scalerHolds(world->monitor, new_scaler) ? ", scaler new" : ", scaler old";
    const QString flashes = (world->monitor.hub().flashIsValid() ? hub : "hub void") + scaler + world->remark;
    const QString told = named(world->boxes->seen).replace(QChar('\0'), '0') + "; " + flashes + "; " + end;
    qstrncpy(&ending, qPrintable(told), 4096);
}

[[noreturn]] void play(const Action& before, const Action& user)
{
    alarm(time_limit);
    World played;
    world = &played;
    int output[2];
    if (pipe2(output, O_NONBLOCK) != 0 || dup2(output[1], STDOUT_FILENO) < 0)
        std::_Exit(EXIT_FAILURE);
    close(output[1]);
    world->output = output[0];
    // What else is done at an exit belongs to the first process: its threads, and the search for leaks.
    const auto atExit = [](int status, void*) {
        leaveBehind(QString("exit %1").arg(status));
        std::_Exit(status);
    };
    on_exit(atExit, nullptr);
    const auto atSignal = [](int number) {
        leaveBehind("");
        std::signal(number, SIG_DFL);
        std::raise(number);
    };
    for (const int number : {SIGINT, SIGHUP, SIGTERM})
        std::signal(number, atSignal);
    whenStarted = [&] {
        world->boxes.emplace();
        world->boxes->answers = QStringList{"Yes", "Reset OSD Setting", "OK"};
        QTimer::singleShot(0, qApp, user);
    };
    before();
    const rlimit nothing{0, 0}; // a single byte for a file is a signal that ends the process
    setrlimit(RLIMIT_FSIZE, &nothing);
    const int result = runUpdateTool(argumentCount, arguments);
    leaveBehind(QString("returned %1").arg(result));
    std::_Exit(stayed);
}

/// Plays a story to its end. It may change nothing in any folder that it could be expected to write to.
QString endOf(const QByteArray& hubFile, const QByteArray& scalerFile, const Action& before,
              const Action& user)
{
    const QTemporaryDir home;
    const int changes = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    {
        const QCoreApplication knows_its_folder(argumentCount, arguments);
        prepareResources(hubFile, scalerFile);
        writeResource("Config.ini", "[FWFilePath]\nScalarBinFile=scaler.bin\nHubBinFile=hub.bin\n");
        for (const QString& path : {home.path(), QCoreApplication::applicationDirPath(), resourcesDir()})
            inotify_add_watch(changes, qPrintable(path),
                              IN_ALL_EVENTS & ~(IN_ACCESS | IN_OPEN | IN_CLOSE_NOWRITE));
    }
    for (const char* place : {"HOME", "TMPDIR", "XDG_RUNTIME_DIR"})
        qputenv(place, home.path().toLocal8Bit());
    QDir::setCurrent(home.path());
    ending = '\0';
    std::fflush(stdout);
    const pid_t copy = fork();
    if (copy == 0)
        play(before, user);
    int status = 0;
    waitpid(copy, &status, 0);
    char event[4096];
    const QString traces = read(changes, event, sizeof event) > 0 ? ", with traces" : "";
    close(changes);
    return &ending + (WIFSIGNALED(status) ? QString("signal %1").arg(WTERMSIG(status)) : QString()) + traces;
}

void press(const char* name)
{
    Hand::press(*g_dialog, name);
}

/// Does something once in the middle of the first write; presses EXIT in the end.
Action inAWrite(const Action& something)
{
    return [=] {
        const auto halfWay = [=, done = false](int percent) mutable {
            if (percent == 42 && !std::exchange(done, true))
                something();
        };
        QObject::connect(g_dialog->findChild<QProgressBar*>("bar1"), &QProgressBar::valueChanged, halfWay);
        press("btnUpdate");
        press("btnExit");
    };
}

Action raises(int number)
{
    return inAWrite([=] { kill(getpid(), number); });
}

void lookAtLog()
{
    static char log[0x10000];
    const QByteArray printed(log, static_cast<int>(read(world->output, log, sizeof log)));
    world->remark = printed.contains("Update Scalar function... \n") ? ", log printed" : ", log held back";
}

const QMap<QString, Action> users{
    {"", [] {}},
    {"EXIT", [] { press("btnExit"); }},
    {"Escape", [] { Hand::pressEscape(*g_dialog); }},
    {"update", inAWrite([] {})},
    {"close", inAWrite([] { QMetaObject::invokeMethod(g_dialog, "close", Qt::QueuedConnection); })},
    {"Ctrl-C", raises(SIGINT)},
    {"closed terminal", raises(SIGHUP)},
    {"logout", raises(SIGTERM)},
    {"watches the log", inAWrite(lookAtLog)},
    {"closes the log", inAWrite([] { close(world->output); })}};

void refuse(std::uint8_t type, std::uint8_t request, int nth)
{
    world->bus.faults().refuse(sim::atMatch(sim::requestIs(type, request), nth).forGood());
}

void name(const std::string& capabilities)
{
    world->monitor.display().setCapabilities(capabilities);
    // What follows in its reply is zeros, the check byte included.
    const std::vector<std::uint8_t> zeros(27 - capabilities.size());
    world->bus.faults().replaceReply(sim::atMatch(sim::requestIs(0xC0, 0xD6), 2), 5 + capabilities.size(),
                                     zeros);
}

const QMap<QString, Action> monitors{
    {"", [] {}},
    {"zero in its name", [] { name(std::string("(model(QX1650\0junk))", 20)); }},
    {"name and zeros", [] { name("qx1650 series"); }},
    {"silent", [] { refuse(0xC0, 0xD6, 1); }},
    {"leaves", [] { world->bus.faults().unplug(sim::atMatch(sim::requestIs(0x40, 0x02), 7)); }},
    {"loses its bridge", [] { refuse(0x40, 0xF6, 2); }}};

} // namespace

class ProcessTest : public QObject
{
    Q_OBJECT

private slots:
    void everyWayOut()
    {
        // hub image | model of the scaler image | monitor | user, in the middle of a write but for EXIT and Escape |
        // boxes; what the flashes hold; how the process ends
        const char* const table = R"(
            1.2 | QX1650 |                  | EXIT            | ; hub old, scaler old; exit 0
            1.2 | QX1650 |                  | Escape          | ; hub old, scaler old; returned 0
            2.5 | QX1650 |                  | update          | asked, success, reset; hub new, scaler new; exit 0
            1.2 | <b>QX  |                  |                 | QX1650 is no <b>QX; hub old, scaler old; exit 0
            1.2 | QX1650 | zero in its name |                 | QX16500JUNK is no QX1650; hub old, scaler old; exit 0
            1.2 | QX1650 | name and zeros   |                 | QX16500000000000000 is no QX1650; hub old, scaler old; exit 0
            1.2 |        | silent           |                 | 00000000000000000000000000 is no ; hub old, scaler old; exit 0
            1.2 | QX1650 | leaves           |                 |  is no QX1650; hub old, scaler old; exit 0
            1.2 | QX1650 | loses its bridge |                 | no bridge,  is no QX1650; hub old, scaler old; exit 0
            2.5 | QX1650 |                  | close           | asked; hub void, scaler old; exit 0
            1.2 | QX1650 |                  | close           | asked; hub old, scaler old; exit 0
            1.2 | QX1650 |                  | Ctrl-C          | asked; hub old, scaler new; signal 2
            1.2 | QX1650 |                  | closed terminal | asked; hub old, scaler new; signal 1
            1.2 | QX1650 |                  | logout          | asked; hub old, scaler new; signal 15
            1.2 | QX1650 |                  | watches the log | asked, success, reset; hub old, scaler new, log printed; exit 0
            1.2 | QX1650 |                  | closes the log  | asked, success, reset; hub old, scaler new; exit 0)";
        for (const QStringList& row : rowsOf(table)) {
            QByteArray scaler = scalerImage("12.3", row[1].toLatin1());
            scaler.truncate(row[1].isEmpty() ? 100 : scaler.size());
            const QString end = endOf(hubImage(row[0]), scaler, monitors[row[2]], users[row[3]]);
            expect(row.mid(0, 4).join(", "), end.trimmed(), row[4]);
        }
    }
};

QTEST_APPLESS_MAIN(ProcessTest)

#include "process_test.moc"
