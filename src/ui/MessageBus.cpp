#include "ui/MessageBus.h"

#include "base/OneShot.h"
#include "base/Threads.h"

#include <QCoroDBusPendingCall>
#include <QFile>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Returns whether the bus runs already. Follows D-Bus's rules for the addresses ("Well-known
/// Message Bus Instances"); connecting to some addresses would start a bus.
bool isThere(MessageBus::Bus bus)
{
    const bool isSession = bus == MessageBus::Bus::session;
    const QString named =
        qEnvironmentVariable(isSession ? "DBUS_SESSION_BUS_ADDRESS" : "DBUS_SYSTEM_BUS_ADDRESS");
    if (!named.isEmpty()) {
        return !named.contains(u"autolaunch:"_s);
    }
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !isSession || (!folder.isEmpty() && QFile::exists(folder + u"/bus"_s));
}

} // namespace

MessageBus::MessageBus(Bus bus)
    : bus_(bus), connection_(new QDBusConnection(QString()), [](QDBusConnection *connection) {
        QDBusConnection::disconnectFromBus(connection->name());
        delete connection;
    })
{}

QCoro::Task<bool> MessageBus::open()
{
    const auto connection = connection_; // outlives this object
    if (connection->isConnected() || !isThere(bus_)) {
        co_return connection->isConnected();
    }
    static int connections = 0;
    const QString name = u"brindle-%1"_s.arg(++connections);
    const auto type =
        bus_ == Bus::session ? QDBusConnection::SessionBus : QDBusConnection::SystemBus;
    // Connecting to a silent bus blocks. Never connect by address: Qt (6.4) then ends the program
    // if nobody answers.
    const OneShot<QDBusConnection> connected;
    Threads::start([=](const std::stop_token &) {
        connected.resume(QDBusConnection::connectToBus(type, name));
    });
    const QDBusConnection made = co_await connected;
    if (connection->isConnected()) {
        QDBusConnection::disconnectFromBus(name); // another call was faster
    } else {
        *connection = made;
    }
    co_return connection->isConnected();
}

bool MessageBus::isOpen() const
{
    return connection_->isConnected();
}

QCoro::Task<QDBusMessage> MessageBus::call(QDBusMessage message, int patience)
{
    const auto connection = connection_; // outlives this object
    const QDBusMessage reply = co_await connection->asyncCall(message, patience);
    co_return reply;
}

void MessageBus::send(const QDBusMessage &message)
{
    if (isOpen()) {
        connection_->send(message);
    }
}

void MessageBus::listen(const QString &service, const QString &path, const QString &interface,
                        const QString &signal, QObject *receiver, const char *slot)
{
    connection_->connect(service, path, interface, signal, receiver, slot);
}

} // namespace brindle
