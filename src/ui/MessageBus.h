#pragma once

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>

#include <memory>

namespace brindle {

/// A private connection to one of the desktop's message buses (D-Bus). Copies share the
/// connection. The last copy closes it, which also ends every service's work for it. Nothing
/// blocks, throws or prints. Main thread only.
class MessageBus
{
public:
    enum class Bus {
        session, ///< the user's session's; never started by this class
        system
    };

    /// Does not connect yet.
    explicit MessageBus(Bus bus);

    /// Connects. Returns false where that is impossible.
    QCoro::Task<bool> open();
    bool isOpen() const;

    /// Calls a service. Returns its reply, or an error if the service is missing or silent for
    /// `patience` milliseconds. A reply may hold anything. Needs an open connection.
    QCoro::Task<QDBusMessage> call(QDBusMessage message, int patience = 25'000);
    /// Sends a message without a reply. Does nothing while the connection is closed.
    void send(const QDBusMessage &message);
    /// Calls `slot` for each such signal of the service, also after the service was restarted.
    void listen(const QString &service, const QString &path, const QString &interface,
                const QString &signal, QObject *receiver, const char *slot);

private:
    Bus bus_;
    std::shared_ptr<QDBusConnection> connection_;
};

} // namespace brindle
