/// What ends with its process: every way out of the whole program, what may come in the middle of a write, and that
/// nothing is written to disk. Each row of the table is a run of this same program, with the row's third and fourth
/// cell as arguments. All signals come from calls of the process itself, so their handler may do what any code may.
#include "gui_support.h"

#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <fcntl.h>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using Action = std::function<void()>;

constexpr int stayed = 99; ///< exit status of a run whose event loop came to its end

/// What a run plays with.
struct World
{
    sim::VirtualBus bus;
    sim::VirtualMonitor monitor{bus};
    std::optional<Hand> boxes;       ///< its timer needs the application
    int ending = dup(STDOUT_FILENO); ///< where the test reads how it ended
    int output = -1;                 ///< where the program's standard output can be read
    QString remark;
    Action user;
};

World* world = nullptr; // NOLINT: no signal handler, exit handler or start-up hook has a context

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
    dprintf(world->ending, "%s", qPrintable(boxes + "; " + flashes + world->remark));
}

[[noreturn]] void play(const Action& before, const Action& user, char** arguments)
{
    alarm(100); // seconds, for a run that hangs; it needs half of one
    World played;
    world = &played;
    world->user = user;
    int output[2];
    if (pipe2(output, O_NONBLOCK) != 0 || dup2(output[1], STDOUT_FILENO) < 0)
        std::_Exit(EXIT_FAILURE);
    close(output[1]);
    world->output = output[0];
    std::atexit(leaveBehind);
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
    int count = 1;
    std::exit(runUpdateTool(count, arguments) == 0 ? stayed : EXIT_FAILURE);
}

/// Plays a run to its end. It may leave no file where programs leave theirs.
QString endOf(const QStringList& beginningAndUser)
{
    const QTemporaryDir home;
    for (const char* place : {"HOME", "TMPDIR", "XDG_RUNTIME_DIR"})
        qputenv(place, home.path().toLocal8Bit());
    QProcess run;
    run.setWorkingDirectory(home.path());
    run.start(QCoreApplication::applicationFilePath(), beginningAndUser);
    run.waitForFinished(-1); // the alarm ends it
    const QString ended = run.exitStatus() == QProcess::CrashExit ? "; signal %1" : "; exit %1";
    return run.readAllStandardOutput() + ended.arg(run.exitCode()) +
           (QDir(home.path()).isEmpty() ? "" : ", with traces");
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
        Hand::press(*g_dialog, "btnUpdate");
        Hand::press(*g_dialog, "btnExit");
    };
}

void readLog()
{
    static char bytes[0x10000];
    const QByteArray log(bytes, static_cast<int>(read(world->output, bytes, sizeof bytes)));
    world->remark = log.contains("Update Hub Firmware function... \n") ? ", log printed" : ", log held back";
}

void look()
{
    const QStringList seen{QFile::exists(":/FW_Update_Tool/question_mark") ? "pictures" : "no pictures",
                           g_dialog->palette().color(QPalette::Link).name(),
                           QString::number(g_dialog->devicePixelRatioF()),
                           QGuiApplication::desktopFileName(),
                           QFile::symLinkTarget("/proc/self/fd/0"),
                           QFile::symLinkTarget("/proc/self/fd/1"),
                           QFile::symLinkTarget("/proc/self/fd/2")};
    world->remark = ", " + seen.join(", ");
}

const QMap<QString, Action> users{
    {"", [] {}},
    {"EXIT", [] { Hand::press(*g_dialog, "btnExit"); }},
    {"Escape", [] { Hand::pressEscape(*g_dialog); }},
    {"reads the log", inAWrite(readLog)},
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
    {"full disk", [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); }},
    {"closed, 144 dpi", [] {
         for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
             close(stream);
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
            1.2 | QX1650 | closed, 144 dpi  | looks           | asked, success, reset; hub old, scaler new, pictures, #87cefa, 1.5, com.qxseries.FWUpdateTool, /dev/null, /dev/null, /dev/null; exit 0
            2.5 | QX1650 |                  | reads the log   | asked, success, reset; hub new, scaler new, log printed; exit 0
            2.5 | QX1650 | full disk        | reads the log   | asked, success, reset; hub new, scaler new, log held back; exit 0
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
            prepareResources(hubImage(row[0]), scaler);
            writeResource("Config.ini", "[FWFilePath]\nScalarBinFile=scaler.bin\nHubBinFile=hub.bin\n");
            const QString rule = QString("hub image %1, scaler model \"%2\", at first \"%3\", user \"%4\"");
            expect(rule.arg(row[0], row[1], row[2], row[3]), endOf(row.mid(2, 2)).trimmed(), row[4]);
        }
    }
};

int main(int argc, char** argv)
{
    if (argc == 3)
        play(beginnings[argv[1]], users[argv[2]], argv);
    const QCoreApplication application(argc, argv);
    ProcessTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "process_test.moc"
