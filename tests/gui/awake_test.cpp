/// The computer is kept awake while a flash is written and no longer: a login manager of the test's own, on a
/// private bus, grants the locks and watches them.
#include "gui_support.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusUnixFileDescriptor>
#include <QProcess>
#include <QThread>

#include <poll.h>
#include <unistd.h>

#include <array>

/// Lives in a thread of its own, because the dialog blocks while it asks.
class LoginManager : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    bool refuses = false;
    QStringList asked;

    /// Whether the lock that was granted last is still in somebody's hands; the pipe has no writer otherwise.
    /// This thread's and the bus's own copies may take a moment to go, for which there is `patience` (ms).
    bool isHeld(int patience = 0) const
    {
        pollfd watch{watched_, POLLIN, 0};
        return watched_ >= 0 && poll(&watch, 1, patience) == 0;
    }
    ~LoginManager() override { close(watched_); }

public slots:
    QDBusUnixFileDescriptor Inhibit(const QString& what, const QString& who, const QString& /*why*/,
                                    const QString& mode)
    {
        asked += what + " / " + who + " / " + mode;
        if (refuses) {
            sendErrorReply(QDBusError::AccessDenied, "Permission denied");
            return {};
        }
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0)
            qFatal("no pipe");
        close(std::exchange(watched_, ends[0]));
        QDBusUnixFileDescriptor lock;
        lock.giveFileDescriptor(ends[1]);
        return lock;
    }

private:
    int watched_ = -1;
};

class AwakeTest : public QObject
{
    Q_OBJECT

    static constexpr int patience = 5000;

    QProcess bus_;
    QThread thread_;
    LoginManager manager_;

private slots:
    void initTestCase()
    {
        bus_.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
        QVERIFY(bus_.waitForReadyRead());
        const QByteArray address = bus_.readLine().trimmed();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        QDBusConnection connection = QDBusConnection::connectToBus(address, "login manager");
        manager_.moveToThread(&thread_);
        thread_.start();
        QVERIFY(
            connection.registerObject("/org/freedesktop/login1", &manager_, QDBusConnection::ExportAllSlots));
        QVERIFY(connection.registerService("org.freedesktop.login1"));
    }
    void cleanupTestCase()
    {
        thread_.quit();
        thread_.wait();
        bus_.terminate();
        bus_.waitForFinished();
    }
    void init()
    {
        manager_.refuses = false;
        manager_.asked.clear();
    }

    void lockIsHeldDuringEachWriteAlone()
    {
        Bench bench(hubImage(2, 5), scalerImage(12, 0));
        QStringList held;
        const auto note = [&](const QString& when) {
            if (held.isEmpty() || held.back() != when)
                held += when;
        };
        connect(bench.find<QProgressBar>("bar1"), &QProgressBar::valueChanged, this, [&](int percent) {
            if (percent > 0 && percent < 100)
                note(manager_.isHeld() ? "held" : "let go");
        });
        bench.boxes.before_answer = [&](const QMessageBox& /*box*/) {
            note(manager_.isHeld(patience) ? "held at a box" : "box");
        };
        bench.update({"Yes", "Exit"});
        QCOMPARE(held, QStringList({"box", "held", "box"}));
        const QString lock = "shutdown:sleep:idle:handle-lid-switch / FW_Update_Tool / block";
        QCOMPARE(manager_.asked, QStringList({lock, lock}));
    }

    void lockGoesWithAFailedWrite()
    {
        Bench bench(hubImage(2, 5), scalerImage(12, 0));
        bench.bus.faults().unplug(sim::atMatch(sim::requestIs(0x40, 0xC8), 9));
        bool held = true;
        bench.boxes.before_answer = [&](const QMessageBox& /*box*/) { held = manager_.isHeld(patience); };
        bench.update({"Yes", "OK"});
        QCOMPARE(bench.boxes.seen.size(), 2);
        QVERIFY(!held);
        QCOMPARE(manager_.asked.size(), 1);
    }

    void updateNeedsNoLock()
    {
        manager_.refuses = true;
        Bench bench(hubImage(2, 5), scalerImage(12, 0));
        bench.update({"Yes", "Exit"});
        QVERIFY(hubHolds(bench.monitor, hubImage(2, 5)));
        QCOMPARE(manager_.asked.size(), 2);
    }
};

int main(int argc, char** argv)
{
    return runGuiTest<AwakeTest>(argc, argv);
}

#include "awake_test.moc"
