#pragma once

#include <QLocalSocket>
#include <QStringList>

namespace brindle {

/// An X session manager for this process, in a process of its own. Linux.
class SessionManager
{
public:
    /// Starts it, and makes it the one that the application finds. Call before the application and
    /// any thread exists.
    SessionManager();

    /// Sends an order: "ask" and "silently" announce the session's end, with and without questions
    /// to the user; "cancelled" takes that back; "die" ends the session.
    void order(const char *order);
    /// Serves events until the client does the act. Returns all its acts until then.
    QStringList waitFor(const QString &act);

private:
    int line_ = -1;
    QLocalSocket socket_;
};

} // namespace brindle
