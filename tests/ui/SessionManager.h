#pragma once

#include <QLocalSocket>
#include <QStringList>

namespace brindle {

/// An X session manager for this process, which runs in a child process. Linux only. Behaves like
/// ksmserver (5.27 to 6.3) or gnome-session (43 to 48).
class SessionManager
{
public:
    /// Starts the child, and lets applications of this process find it. Call before creating the
    /// application or any thread.
    SessionManager();

    /// Sends an order. "Plasma" (the default) and "GNOME" choose the behaviour. "ask" announces the
    /// session's end and permits questions to the user; "silently" forbids questions. "cancelled"
    /// withdraws the announcement, as if another program had refused. "die" ends the session.
    void order(const char *order);
    /// Serves events until the application does `act`. Returns all its acts since the last call.
    QStringList waitFor(const QString &act);

private:
    int line_ = -1;
    QLocalSocket socket_;
};

} // namespace brindle
