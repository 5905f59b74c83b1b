#pragma once

#include <QByteArray>
#include <QString>

namespace brindle {

/// Mount and network namespaces of the calling process's own: what is mounted and listened on in
/// them is seen by it and its children only, and there is no network but loopback. Linux.
class Namespaces
{
public:
    /// To be called once, before the process has a second thread. False, with the system's reason,
    /// where that is not permitted.
    static bool enter(QString *reason);

    /// Lies over an existing file from now on. `substitute` can be rewritten in place later.
    /// Throws std::runtime_error.
    static void mountOver(const QString &file, const QString &substitute);
};

} // namespace brindle
