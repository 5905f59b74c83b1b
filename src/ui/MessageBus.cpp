#include "ui/MessageBus.h"

#include "base/OneShot.h"
#include "base/Threads.h"

#include <QDBusPendingCallWatcher>
#include <QFile>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace brindle {

namespace {

/// Whether there is anything to connect to without a bus being started for it.
/// After D-Bus's own rules for the addresses of the two ("Well-known Message Bus Instances").
bool isThere(MessageBus::Bus bus)
{
    const bool isSession = bus == MessageBus::Bus::session;
    const QString named =
        qEnvironmentVariable(isSession ? "DBUS_SESSION_BUS_ADDRESS" : "DBUS_SYSTEM_BUS_ADDRESS");
    if (!named.isEmpty()) {
        return !named.contains(QStringLiteral("autolaunch:"));
    }
    if (!isSession) {
        return true;
    }
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !folder.isEmpty() && QFile::exists(folder + QStringLiteral("/bus"));
}

/// Calls of Qt that wait for a bus.
std::atomic<int> connecting = 0;

} // namespace

MessageBus::ProcessEnd::~ProcessEnd()
{
    if (connecting > 0) {
        std::fflush(nullptr);
        std::_Exit(EXIT_SUCCESS);
    }
}

struct MessageBus::State
{
    explicit State(Bus which) : bus(which) {}
    State(const State &) = delete;
    State &operator=(const State &) = delete;
    ~State()
    {
        if (connection.isConnected()) {
            QDBusConnection::disconnectFromBus(connection.name());
        }
    }

    const Bus bus;
    QDBusConnection connection{QString()};
};

MessageBus::MessageBus(Bus bus) : state_(std::make_shared<State>(bus)) {}

QCoro::Task<bool> MessageBus::open()
{
    const auto state = state_; // this object may go
    if (state->connection.isConnected() || !isThere(state->bus)) {
        co_return state->connection.isConnected();
    }
    static int connections = 0;
    const QString name = QStringLiteral("brindle-%1").arg(++connections);
    const auto type =
        state->bus == Bus::session ? QDBusConnection::SessionBus : QDBusConnection::SystemBus;
    // A bus that does not answer keeps whoever connects. Not by an address: should that one not
    // answer, Qt (6.4) ends the program.
    const OneShot<QDBusConnection> connected;
    const bool started = Threads::start([=](const std::stop_token &) {
        ++connecting;
        const QDBusConnection made = QDBusConnection::connectToBus(type, name);
        --connecting;
        connected.resume(made);
    });
    if (started) {
        const QDBusConnection made = co_await connected;
        if (state->connection.isConnected()) {
            QDBusConnection::disconnectFromBus(name); // another call was faster
        } else {
            state->connection = made;
        }
    }
    co_return state->connection.isConnected();
}

bool MessageBus::isOpen() const
{
    return state_->connection.isConnected();
}

QCoro::Task<QDBusMessage> MessageBus::call(QDBusMessage message, int patience)
{
    const auto state = state_; // this object may go
    QDBusPendingCallWatcher watcher(state->connection.asyncCall(message, patience));
    const OneShot<> answered;
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &watcher,
                     [answered] { answered.resume(); });
    co_await answered;
    co_return watcher.reply();
}

void MessageBus::send(const QDBusMessage &message)
{
    if (isOpen()) {
        state_->connection.send(message);
    }
}

void MessageBus::listen(const QString &path, const QString &interface, const QString &signal,
                        QObject *receiver, const char *slot)
{
    // Without the sender's name, which would have to be asked for. What is heard is trusted no more
    // than what is replied.
    state_->connection.connect(QString(), path, interface, signal, receiver, slot);
}

} // namespace brindle
