#pragma once

#include <QString>

namespace brindle {

/// Locks a file or folder of this user for one process at a time. The system frees the lock when
/// its process ends, even by a crash. Child programs do not inherit it. Use it on one thread only.
class ProcessLock
{
public:
    enum class Kind {
        file,  ///< created when missing, readable by its owner only; removed with the lock
        folder ///< must exist; nothing is written to it
    };
    enum class Outcome {
        held,       ///< this process has the lock now
        taken,      ///< another process has the lock, or had it and removed the file or folder
        unavailable ///< the path or its file system can't be locked, or belongs to another user
    };

    explicit ProcessLock(QString path, Kind kind = Kind::file);
    ~ProcessLock();
    ProcessLock(const ProcessLock &) = delete;
    ProcessLock &operator=(const ProcessLock &) = delete;

    /// Tries to take the lock, without waiting or following a link. Do not call again once held.
    Outcome tryLock();

    QString path() const { return path_; }

private:
    const QString path_;
    const Kind kind_;
    int descriptor_ = -1;
};

} // namespace brindle
