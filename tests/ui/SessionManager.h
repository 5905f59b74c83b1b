#pragma once

#include <QLocalSocket>
#include <QStringList>

namespace brindle {

/// An X session manager for this process. Runs in a child process. Linux only. Behaves like
/// ksmserver (5.27 to 6.3) or gnome-session (43 to 48).
class SessionManager
{
public:
    /// Starts the child, and lets applications of this process find it. Call before creating the
    /// application or any thread.
    SessionManager();

    /// Sends an order. "Plasma" (the default) or "GNOME" chooses the behaviour. "ask" announces
    /// the session's end and allows questions to the user; "silently" allows none. "cancelled"
    /// withdraws the announcement for another program. "die" ends the session.
    void order(const char *order);
    /// Serves events until the application does the act. Returns all its acts so far, since the
    /// last call.
    QStringList waitFor(const QString &act);

private:
    int line_ = -1;
    QLocalSocket socket_;
};

} // namespace brindle
