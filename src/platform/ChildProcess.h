#pragma once

#include <QMap>
#include <QProcessEnvironment>

class QProcess;

namespace brindle {

/// Prepares children between fork and exec, and signals them.
namespace ChildProcess {

/// Returns our environment with `variables`, but without the desktop's tokens that bring one window
/// of ours to the front. Call on the thread that may change the environment.
QProcessEnvironment childEnvironment(const QMap<QString, QString> &variables = {});

struct Setup
{
    bool isIsolated = false; ///< no terminal, and an empty standard input
    int descriptor = -1;     ///< a descriptor of ours that stays open in the child
    /// The child gets SIGKILL when the starting thread ends, so with the launcher. On macOS every
    /// child survives.
    bool endsWithLauncher = false;
    QProcessEnvironment environment = childEnvironment();
};

/// Call before starting the child, on the starting thread. The child leads its own process group
/// and inherits only the standard descriptors and `descriptor`. It blocks no signal. It ignores
/// SIGPIPE, so that a game survives its next print after the launcher's death.
void prepare(QProcess &child, Setup setup);

/// Signals the group that `leader` leads or led. Does nothing for 0.
void sendToGroup(int signal, qint64 leader);

} // namespace ChildProcess

} // namespace brindle
