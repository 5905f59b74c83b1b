#pragma once

#include <QString>

namespace brindle {

/// Namespaces of the calling process's own: what it mounts is seen, what it listens on is reached
/// and what it starts lives in them only. There is no network but loopback. Linux.
class Namespaces
{
public:
    /// Goes on in a new process, which lives in them. The calling one stays outside, and ends as
    /// the new one ends; whichever goes first, and however, takes every process in the namespaces
    /// with it. The temporary folder is a new one there, which goes as well.
    ///
    /// To be called once, before the process has a second thread. False, with the system's reason,
    /// where that is not permitted; nothing else may be done with this class then.
    static bool enter(QString *reason);

    /// Lies over an existing file or folder from now on. Throws std::runtime_error.
    static void mountOver(const QString &existing, const QString &substitute);
};

} // namespace brindle
