/// Linux: an inhibitor lock of the login manager, org.freedesktop.login1 on the system bus. The lock is a file
/// descriptor; the manager sees it closed and lets go.
#include "app/awake/stay_awake.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>

namespace {

constexpr int reply_timeout_ms = 2000; ///< for the manager, once the bus itself has answered

/// Invalid where no manager answers or it does not grant the lock, as to a user who is not at the seat.
QDBusUnixFileDescriptor takeLock()
{
    auto request = QDBusMessage::createMethodCall("org.freedesktop.login1", "/org/freedesktop/login1",
                                                  "org.freedesktop.login1.Manager", "Inhibit");
    request << "shutdown:sleep:idle:handle-lid-switch"
            << "FW_Update_Tool"
            << "The monitor's firmware is being written"
            << "block";
    return QDBusReply<QDBusUnixFileDescriptor>(
        QDBusConnection::systemBus().call(request, QDBus::Block, reply_timeout_ms));
}

} // namespace

struct StayAwake::Hold
{
    QDBusUnixFileDescriptor lock = takeLock();
};

StayAwake::StayAwake()
    : hold_(std::make_unique<Hold>())
{
}
StayAwake::~StayAwake() = default;
