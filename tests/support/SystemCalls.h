#pragma once

#include <QString>
#include <QStringList>

#include <functional>

namespace brindle {

/// While this object lives, records this program's calls of fsync, syncfs, rename and flock: a line
/// each, in order. Recorded syncs do not wait for the disk. Without a recorder the system handles
/// the calls. Make one recorder at a time. Any thread may make the calls.
class SystemCalls
{
public:
    SystemCalls();
    ~SystemCalls();
    SystemCalls(const SystemCalls &) = delete;
    SystemCalls &operator=(const SystemCalls &) = delete;

    /// The lines "sync FILE", "sync all of FOLDER", "rename FROM to TO" and "lock FILE"; the random
    /// part of hidden names is "…".
    QStringList lines() const;
    void clear();

    /// Called with the line before each call, on the caller's thread. The call fails with the
    /// returned errno, unless that is 0. Set it before the calls begin.
    std::function<int(const QString &line)> before;
};

} // namespace brindle
