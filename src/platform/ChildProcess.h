#pragma once

#include <QMap>
#include <QProcessEnvironment>

class QProcess;

namespace brindle {

/// What happens to a child between fork and exec, and signals to it. The only callers are process
/// wrappers.
namespace ChildProcess {

/// Our own environment without the desktop's permission to come to the front, which was given to us
/// and is good for one window; with these variables in place of those of the same name. On the
/// thread that may change the environment.
QProcessEnvironment childEnvironment(const QMap<QString, QString> &variables = {});

struct Setup
{
    bool isIsolated = false;       ///< it reads nothing and has no terminal
    int descriptor = -1;           ///< one of ours that stays open in it
    bool endsWithLauncher = false; ///< see `prepare`
    QProcessEnvironment environment = childEnvironment();
};

/// Before the start, on the thread that starts the child. It becomes the leader of a process group
/// of its own, gets no descriptor of ours but the standard three and the one named, blocks no
/// signal, and ignores SIGPIPE, so that a game whose launcher has died is not brought down by its
/// next print.
///
/// With `endsWithLauncher` it gets SIGKILL when the thread that started it ends, and with it the
/// launcher, however that happens. Where the system has no such thing (macOS) it lives on.
void prepare(QProcess &child, Setup setup);

/// Signals one process, and the whole group that it leads, or led. False when there is nobody.
bool send(int signal, qint64 pid);
bool sendToGroup(int signal, qint64 leader);

} // namespace ChildProcess

} // namespace brindle
