#pragma once

#include <QtGlobal>

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

    /// SIGTERM to one process; SIGKILL to the whole group that it leads. False when it is gone.
    static bool terminate(qint64 pid);
    static bool killGroup(qint64 pid);
};

} // namespace brindle
