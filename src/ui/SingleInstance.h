#pragma once

#include "platform/ProcessLock.h"

#include <QFileSystemWatcher>
#include <QLocalServer>
#include <QObject>

#include <memory>

namespace brindle {

/// Sees to it that a user runs one launcher at a time: the first holds a lock and listens on a
/// local socket; each later one asks it to show its window. Main thread only.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    enum class Role {
        first,     ///< this process is the launcher
        second,    ///< another is, and has shown its window
        unanswered ///< another is, and does not answer
    };

    /// Where the lock and the socket belong: the session's own folder, or where there is none the
    /// storage root, which is then made, and closed to everybody else.
    static QString folder(const QString &runtimeFolder, const QString &storageRoot);

    /// @param folder the user's own: the lock and the socket lie in it, under fixed names.
    explicit SingleInstance(const QString &folder, QObject *parent = nullptr);
    ~SingleInstance() override;

    /// Finds out which one this is. A launcher that is just starting or ending is waited for; one
    /// that does not answer for `patience` milliseconds is given up. Blocks; needs no application.
    /// Where the folder can't be used, everyone is the first.
    /// Hands both parameters to the first launcher; each may be empty.
    /// @param activationToken the permission of a Wayland desktop to come to the front.
    /// @param startupId names the startup sequence of an X desktop.
    Role claim(const QByteArray &activationToken, const QByteArray &startupId = {},
               int patience = 10'000);

    /// Begins to answer later ones. Needs an application and the role `first`. From now on a lock
    /// whose file goes, with the whole storage root for example, is taken anew at once.
    void listen();
    /// Stops answering, but keeps the lock: later ones wait until this process has ended.
    void stopListening();

Q_SIGNALS:
    /// A later launcher asks for the window. Both texts are printable ASCII of at most 255 bytes
    /// each, or empty.
    void windowRequested(const QByteArray &activationToken, const QByteArray &startupId);

private:
    enum class Answer { shown, none };

    Answer askFirst(const QByteArray &request, int patience);
    void serve();
    void restore();
    QString socketName();

    const QString folder_;
    const QString lockFile_;
    std::unique_ptr<ProcessLock> lock_;
    QLocalServer server_;
    std::unique_ptr<QFileSystemWatcher>
        watcher_;         // of the lock's file, once there is an application
    int longFolder_ = -1; // the folder's descriptor, when its path is too long for a socket's
};

} // namespace brindle
