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

/// Lives in a thread of its own, because the dialog blocks while it asks.
class LoginManager : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    bool refuses = false;
    QString asked;
    int watched_ = -1; ///< of the lock that was granted last

    /// Whether the lock that was granted last is still in somebody's hands; the pipe has no writer otherwise.
    /// Waits up to `patience` milliseconds, because this thread's and the bus's own copies take a moment to go.
    bool isHeld(int patience) const
    {
        pollfd watch{watched_, POLLIN, 0};
        return watched_ >= 0 && poll(&watch, 1, patience) == 0;
    }

public slots:
    QDBusUnixFileDescriptor Inhibit(const QString& what, const QString& who, const QString& why,
                                    const QString& mode)
    {
        asked = QStringList{what, who, why, mode}.join(" / ");
        int ends[2] = {-1, -1};
        if (refuses || pipe(ends) != 0)
            sendErrorReply(QDBusError::AccessDenied, "Permission denied");
        close(std::exchange(watched_, ends[0]));
        QDBusUnixFileDescriptor lock;
        lock.giveFileDescriptor(ends[1]);
        return lock;
    }
};

class AwakeTest : public QObject
{
    Q_OBJECT

private slots:
    void lockIsHeldDuringEachWriteAlone()
    {
        QProcess bus;
        bus.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
        QVERIFY(bus.waitForReadyRead());
        const QByteArray address = bus.readLine().trimmed();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        QDBusConnection system = QDBusConnection::connectToBus(address, "login manager");
        LoginManager manager;
        QThread thread;
        manager.moveToThread(&thread);
        thread.start();
        QVERIFY(system.registerObject("/org/freedesktop/login1", &manager, QDBusConnection::ExportAllSlots));
        QVERIFY(system.registerService("org.freedesktop.login1"));
        for (const QString rule : {"granted", "granted, then the write fails", "refused"}) {
            manager.refuses = rule == "refused";
            manager.asked.clear();
            Rig rig(hubImage("2.5"), scalerImage("12.0"));
            rig.show();
            QStringList held;
            const auto note = [&](int patience) { held += manager.isHeld(patience) ? "held" : "let go"; };
            for (const auto icon : {QMessageBox::Question, QMessageBox::Warning, QMessageBox::NoIcon})
                rig.at_box[icon] = [&] { note(5000); };
            connect(rig.bar, &QProgressBar::valueChanged, [&](int percent) {
                if (percent % 100 > 0)
                    note(0);
            });
            if (rule.endsWith("fails"))
                rig.bus.faults().unplug(sim::atMatch(sim::requestIs(0x40, 0xC8), 9));
            rig.update({"Yes", "Exit"});
            held.erase(std::unique(held.begin(), held.end()), held.end());
            expect("lock " + rule, held.join(", "), manager.refuses ? "let go" : "let go, held, let go");
            expect("request, lock " + rule, manager.asked,
                   "shutdown:sleep:idle:handle-lid-switch / FW_Update_Tool / The monitor's firmware is being "
                   "written / block");
            const QString hub = flashesOf(rig.monitor, hubImage("2.5"), "").section(',', 0, 0);
            expect("flash, lock " + rule, hub, rule.endsWith("fails") ? "hub void" : "hub new");
        }
        thread.quit();
        thread.wait();
    }
};

QTEST_MAIN(AwakeTest)

#include "awake_test.moc"
