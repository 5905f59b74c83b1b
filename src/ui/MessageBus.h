#pragma once

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>

#include <memory>

namespace brindle {

/// A connection of its own to one of the desktop's message buses (D-Bus), where there is such a
/// bus. Copies share it; with the last one it ends, and with it all that services do for it.
/// Nothing blocks, throws or prints. Main thread only.
class MessageBus
{
public:
    enum class Bus {
        session, ///< the one of the user's session; none is started
        system   ///< the one of the whole system
    };

    /// Made first in `main`, and so gone last: ends the process when a bus that does not answer
    /// would keep Qt's own threads, and so the process, for ever.
    struct ProcessEnd
    {
        ProcessEnd() = default;
        ProcessEnd(const ProcessEnd &) = delete;
        ProcessEnd &operator=(const ProcessEnd &) = delete;
        ~ProcessEnd();
    };

    /// Connects to nothing yet.
    explicit MessageBus(Bus bus);

    /// Connects. True once that is done; false where it can't be.
    QCoro::Task<bool> open();
    bool isOpen() const;

    /// Asks a service and returns its reply, which may hold anything, or an error: it is not there,
    /// or has not answered within `patience` milliseconds. Needs an open connection.
    QCoro::Task<QDBusMessage> call(QDBusMessage message, int patience = 25'000);
    /// Sends what has no reply; nothing while the connection is not open.
    void send(const QDBusMessage &message);
    /// Calls `slot` for each such signal, whoever sends it.
    void listen(const QString &path, const QString &interface, const QString &signal,
                QObject *receiver, const char *slot);

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace brindle
