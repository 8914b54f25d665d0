/// What ends with its process: every way out of the whole program, what may come in the middle of a write, and that
/// nothing is written to disk. Each story plays in a copy of this process.
#include "gui_support.h"

#include <QTemporaryDir>

#include <csignal>
#include <fcntl.h>
#include <optional>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Action = std::function<void()>;

constexpr int stayed = 99; ///< exit status of a copy whose event loop came to its end

/// What a copy plays with.
struct World
{
    sim::VirtualBus bus;
    sim::VirtualMonitor monitor{bus};
    std::optional<Hand> boxes; // its timer needs the application
    int output = -1;           ///< where the program's standard output can be read
    QString remark;
    Action user;
};

// NOLINTBEGIN: no signal handler, exit handler or start-up hook has a context
World* world = nullptr;
char& ending =
    *static_cast<char*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
int argumentCount = 1;
char programName[] = "tool";
char* arguments[] = {programName, nullptr};
// NOLINTEND
void startUp()
{
    if (world == nullptr)
        return;
    world->boxes.emplace();
    world->boxes->answers = QStringList{"Yes", "Reset OSD Setting", "OK"};
    QTimer::singleShot(0, qApp, world->user);
}
Q_COREAPP_STARTUP_FUNCTION(startUp)

/// Boxes; what the flashes hold; remarks.
void leaveBehind()
{
    const QString flashes = flashesOf(world->monitor, hubImage("2.5"), scalerImage("12.3"));
    const QString boxes = named(world->boxes->seen).replace(QChar('\0'), '0');
    qstrncpy(&ending, qPrintable(boxes + "; " + flashes + world->remark), 4096);
}

[[noreturn]] void play(const Action& before, const Action& user)
{
    alarm(10); // seconds; a copy needs a twentieth of one
    World played;
    world = &played;
    world->user = user;
    int output[2];
    if (pipe2(output, O_NONBLOCK) != 0 || dup2(output[1], STDOUT_FILENO) < 0)
        std::_Exit(EXIT_FAILURE);
    close(output[1]);
    world->output = output[0];
    // What else is done at an exit belongs to the first process: its threads, and the search for leaks.
    const auto atExit = [](int status, void*) {
        leaveBehind();
        std::_Exit(status);
    };
    on_exit(atExit, nullptr);
    const auto atSignal = [](int number) {
        leaveBehind();
        std::signal(number, SIG_DFL);
        std::raise(number);
    };
    for (const int number : {SIGINT, SIGHUP, SIGTERM})
        std::signal(number, atSignal);
    before();
    const rlimit nothing{0, 0}; // a single byte for a file is a signal that ends the process
    setrlimit(RLIMIT_FSIZE, &nothing);
    const int result = runUpdateTool(argumentCount, arguments);
    leaveBehind();
    std::_Exit(result == 0 ? stayed : EXIT_FAILURE);
}

/// Plays a story to its end. It may leave no file where programs leave theirs.
QString endOf(const QByteArray& hubFile, const QByteArray& scalerFile, const Action& before,
              const Action& user)
{
    {
        const QCoreApplication knows_its_folder(argumentCount, arguments);
        prepareResources(hubFile, scalerFile);
        writeResource("Config.ini", "[FWFilePath]\nScalarBinFile=scaler.bin\nHubBinFile=hub.bin\n");
    }
    const QTemporaryDir home;
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
    const QString ended = WIFSIGNALED(status) ? QString("signal %1").arg(WTERMSIG(status))
                                              : QString("exit %1").arg(WEXITSTATUS(status));
    return &ending + ("; " + ended) + (QDir(home.path()).isEmpty() ? "" : ", with traces");
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

void look()
{
    static char log[0x10000];
    const QByteArray printed(log, static_cast<int>(read(world->output, log, sizeof log)));
    const QStringList seen{printed.contains("Update Scalar function... \n") ? "log printed" : "log held back",
                           QFile::exists(":/FW_Update_Tool/question_mark") ? "pictures" : "no pictures",
                           g_dialog->palette().color(QPalette::Link).name(),
                           QString::number(g_dialog->devicePixelRatioF()),
                           QGuiApplication::desktopFileName(),
                           QFile::symLinkTarget("/proc/self/fd/0"),
                           QFile::symLinkTarget("/proc/self/fd/2")};
    world->remark = ", " + seen.join(", ");
}

const QMap<QString, Action> users{
    {"", [] {}},
    {"EXIT", [] { press("btnExit"); }},
    {"Escape", [] { Hand::pressEscape(*g_dialog); }},
    {"update", inAWrite([] {})},
    {"close", inAWrite([] { QMetaObject::invokeMethod(g_dialog, "close", Qt::QueuedConnection); })},
    {"Ctrl-C", inAWrite([] { kill(getpid(), SIGINT); })},
    {"closed terminal", inAWrite([] { kill(getpid(), SIGHUP); })},
    {"logout", inAWrite([] { kill(getpid(), SIGTERM); })},
    {"looks", inAWrite(look)},
    {"closes the log", inAWrite([] { close(world->output); })}};

Action refuses(std::uint8_t type, std::uint8_t request, int nth)
{
    return [=] { world->bus.faults().refuse(sim::atMatch(sim::requestIs(type, request), nth).forGood()); };
}

const QMap<QString, Action> beginnings{
    {"", [] {}},
    {"zero in its name",
     [] { world->monitor.display().setCapabilities(std::string("(model(QX1650\0junk))", 20)); }},
    {"silent", refuses(0xC0, 0xD6, 1)},
    {"leaves", [] { world->bus.faults().unplug(sim::atMatch(sim::requestIs(0x40, 0x02), 7)); }},
    {"loses its bridge", refuses(0x40, 0xF6, 2)},
    {"nohup", [] { std::signal(SIGHUP, SIG_IGN); }},
    {"closed, 144 dpi", [] {
         close(STDIN_FILENO);
         close(STDERR_FILENO);
         qputenv("QT_FONT_DPI", "144");
     }}};

} // namespace

class ProcessTest : public QObject
{
    Q_OBJECT

private slots:
    void everyWayOut()
    {
        // hub image | model of the scaler image | what is odd at first | user, in the middle of a write from "close" on
        // boxes; what the flashes hold; how the process ends
        const char* const table = R"(
            1.2 | QX1650 |                  | EXIT            | ; hub old, scaler old; exit 0
            1.2 | QX1650 |                  | Escape          | ; hub old, scaler old; exit 99
            1.2 | QX1650 | closed, 144 dpi  | looks           | asked, success, reset; hub old, scaler new, log printed, pictures, #87cefa, 1.5, com.qxseries.FWUpdateTool, /dev/null, /dev/null; exit 0
            2.5 | QX1650 |                  | update          | asked, success, reset; hub new, scaler new; exit 0
            1.2 | <b>QX  |                  |                 | information [Update FW Tool for QX Series] unformatted: This firmwave is not for your monitor (QX1650) , only for <b>QX!!! (OK); hub old, scaler old; exit 0
            1.2 | QX1650 | zero in its name |                 | information [Update FW Tool for QX Series] unformatted: This firmwave is not for your monitor (QX16500JUNK) , only for QX1650!!! (OK); hub old, scaler old; exit 0
            1.2 |        | silent           |                 | information [Update FW Tool for QX Series] unformatted: This firmwave is not for your monitor (00000000000000000000000000) , only for !!! (OK); hub old, scaler old; exit 0
            1.2 | QX1650 | leaves           |                 | information [Update FW Tool for QX Series] unformatted: This firmwave is not for your monitor () , only for QX1650!!! (OK); hub old, scaler old; exit 0
            1.2 | QX1650 | loses its bridge |                 | no bridge, information [Update FW Tool for QX Series] unformatted: This firmwave is not for your monitor () , only for QX1650!!! (OK); hub old, scaler old; exit 0
            2.5 | QX1650 |                  | close           | asked; hub void, scaler old; exit 0
            1.2 | QX1650 |                  | close           | asked; hub old, scaler old; exit 0
            1.2 | QX1650 |                  | Ctrl-C          | asked; hub old, scaler new; signal 2
            1.2 | QX1650 |                  | closed terminal | asked; hub old, scaler new; signal 1
            1.2 | QX1650 | nohup            | closed terminal | asked, success, reset; hub old, scaler new; exit 0
            1.2 | QX1650 |                  | logout          | asked; hub old, scaler new; signal 15
            1.2 | QX1650 |                  | closes the log  | asked, success, reset; hub old, scaler new; exit 0)";
        for (const QStringList& row : rowsOf(table)) {
            QByteArray scaler = scalerImage("12.3", row[1].toLatin1());
            scaler.truncate(row[1].isEmpty() ? 100 : scaler.size());
            const QString end = endOf(hubImage(row[0]), scaler, beginnings[row[2]], users[row[3]]);
            expect(row.mid(0, 4).join(", "), end.trimmed(), row[4]);
        }
    }
};

QTEST_APPLESS_MAIN(ProcessTest)

#include "process_test.moc"
