#pragma once

#include "platform/ProcessLock.h"

#include <QLocalServer>
#include <QObject>

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

    /// @param folder the user's own: the lock and the socket lie in it, under fixed names.
    explicit SingleInstance(const QString &folder, QObject *parent = nullptr);
    ~SingleInstance() override;

    /// Finds out which one this is. A launcher that is just starting or ending is waited for; one
    /// that does not answer for `patience` milliseconds is given up. Blocks; needs no application.
    /// Where the folder can't be used, everyone is the first.
    /// @param token the desktop's permission to come to the front, handed on; may be empty.
    Role claim(const QByteArray &token, int patience = 10'000);

    /// Begins to answer later ones. Needs an application and the role `first`.
    void listen();
    /// Stops answering, but keeps the lock: later ones wait until this process has ended.
    void stopListening();

Q_SIGNALS:
    /// A later one asks for the window, with the permission that it brought along.
    void windowRequested(const QByteArray &token);

private:
    enum class Answer { shown, none };

    Answer askFirst(const QByteArray &token, int patience) const;
    void serve();

    QString socket_;
    ProcessLock lock_;
    QLocalServer server_;
};

} // namespace brindle
