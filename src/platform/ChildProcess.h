#pragma once

#include <QMap>
#include <QProcessEnvironment>

class QProcess;

namespace brindle {

/// Prepares children between fork and exec, and signals them.
namespace ChildProcess {

/// Returns our environment plus `variables`, without the tokens that let our own window come to the
/// front. Call on the main thread, because only that thread may change the environment.
QProcessEnvironment childEnvironment(const QMap<QString, QString> &variables = {});

struct Setup
{
    bool isIsolated = false; ///< no terminal, and an empty standard input
    int descriptor = -1;     ///< one more descriptor to keep open in the child, or -1
    /// SIGKILL ends the child when the launcher, or the starting thread, ends. On macOS the child
    /// survives.
    bool endsWithLauncher = false;
    QProcessEnvironment environment = childEnvironment();
};

/// Call before starting the child, on the starting thread. The child leads its own process group,
/// inherits only the standard descriptors and `descriptor`, and blocks no signal. It ignores
/// SIGPIPE, so that a game survives printing after the launcher's death.
void prepare(QProcess &child, Setup setup);

/// Sends a signal to the process group that `leader` leads or led. Does nothing for 0.
void sendToGroup(int signal, qint64 leader);

} // namespace ChildProcess

} // namespace brindle
