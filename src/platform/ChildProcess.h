#pragma once

#include <QtGlobal>

class QProcess;

namespace brindle {

/// What happens between fork and exec, and to a child's whole process group. The only callers are
/// process wrappers.
class ChildProcess
{
public:
    /// Run in the forked child, before exec: marks every descriptor but the standard three to be
    /// closed, makes the child the leader of a process group of its own, and makes it ignore
    /// SIGPIPE, so that a game whose launcher has died is not brought down by its next print.
    /// Async-signal-safe.
    static void prepare();

    /// Before the start: newer versions of Qt set SIGPIPE anew behind what `prepare` did.
    static void keepIgnoringSigPipe(QProcess &process);

    /// Run in the forked child, before `prepare`: it has no terminal any more, whatever its
    /// standard files are. Async-signal-safe.
    static void leaveTerminal();

    /// Run in the forked child, after `prepare`: the descriptor stays open in the program.
    /// Async-signal-safe.
    static void keepOpen(int descriptor);

    /// Run in the forked child, after `prepare`: it gets `signal` when the thread that forked it
    /// ends, and with it the launcher, however that happens. `launcher` is the process number of
    /// the one that forks, which may be gone by now. Where the system has no such thing (macOS) the
    /// child lives on. Async-signal-safe.
    static void endWithLauncher(int signal, qint64 launcher);

    /// SIGTERM to one process; SIGTERM and SIGKILL to the whole group that it leads, or led. False
    /// when there is nobody.
    static bool terminate(qint64 pid);
    static bool terminateGroup(qint64 pid);
    static bool killGroup(qint64 pid);
};

} // namespace brindle
