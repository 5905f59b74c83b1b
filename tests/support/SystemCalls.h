#pragma once

#include <QString>
#include <QStringList>

#include <functional>

namespace brindle {

/// Records this program's calls of fsync, syncfs, rename and flock while it lives: a line each, in
/// order. Syncs do not wait for the disk meanwhile. Without a recorder the calls go to the system.
/// Make one at a time. Any thread may make the calls.
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

    /// Called with the line before each call, on its thread. Makes the call fail with the returned
    /// errno unless that is 0. Set it before the calls begin.
    std::function<int(const QString &line)> before;
};

} // namespace brindle
