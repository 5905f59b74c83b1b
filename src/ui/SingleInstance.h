#pragma once

#include "platform/ProcessLock.h"

#include <QLocalServer>
#include <QObject>

namespace brindle {

/// Lets a user run one launcher per storage root at a time. The first launcher holds a lock and
/// listens on a local socket; each later one asks it to show its window. Main thread only.
///
/// Lock and socket are hidden files beside the storage root. Every session of the user finds them
/// there, and they survive the removal of the root. If the socket's path is too long for the system
/// (108 bytes on Linux), the launcher answers nobody.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    enum class Role {
        first,     ///< this process is the launcher
        second,    ///< another launcher runs, and has shown its window
        unanswered ///< another launcher runs, but does not answer
    };

    explicit SingleInstance(const QString &storageRoot);

    /// Finds out the role of this process. Makes a missing folder for the storage root. If that
    /// folder can't be used, every process is the first. Waits up to `patience` milliseconds for a
    /// launcher that starts or ends. Blocks; needs no application.
    /// @param permission the desktop's permission to come to the front, passed to the first
    /// launcher; may be empty.
    Role claim(const QByteArray &permission, int patience = 10'000);

    /// Starts to answer later launchers. Needs an application and the role `first`.
    void listen();
    /// Stops answering but keeps the lock: later launchers wait until this process has ended.
    void stopListening() { server_.close(); }

Q_SIGNALS:
    /// A later launcher asks for the window. `permission` is at most 255 bytes of printable ASCII.
    void windowRequested(const QByteArray &permission);

private:
    bool askFirst(const QByteArray &request, int patience);
    void serve();

    const QString folder_; // holds the storage root
    const QString socket_;
    ProcessLock lock_;
    QLocalServer server_;
};

} // namespace brindle
