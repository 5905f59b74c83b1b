#include "ui/MessageBus.h"

#include "base/Threads.h"

#include <QFile>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Returns whether the bus runs already, because connecting to some addresses would start a bus.
/// Follows D-Bus's rules, "Well-known Message Bus Instances".
bool isThere(bool isSession)
{
    const QString named =
        qEnvironmentVariable(isSession ? "DBUS_SESSION_BUS_ADDRESS" : "DBUS_SYSTEM_BUS_ADDRESS");
    if (!named.isEmpty()) {
        return !named.contains(u"autolaunch:"_s);
    }
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !isSession || (!folder.isEmpty() && QFile::exists(folder + u"/bus"_s));
}

} // namespace

QCoro::Task<QDBusConnection> openBus(QDBusConnection::BusType bus)
{
    const bool isSession = bus == QDBusConnection::SessionBus;
    if (!isThere(isSession)) {
        co_return QDBusConnection(QString());
    }
    // Connecting to a silent bus blocks. Never connect by address: Qt (6.4) then ends the program
    // if nobody answers.
    const auto connect = [isSession] {
        return isSession ? QDBusConnection::sessionBus() : QDBusConnection::systemBus();
    };
    co_return co_await runOnWorker(connect, {}, &Threads::start);
}

} // namespace brindle
