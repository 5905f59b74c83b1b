#pragma once

#include <QString>

namespace brindle {

/// A lock that one process at a time holds, by a file or by a folder. The system lets go of it when
/// its holder ends, however that happens; programs that the holder starts do not inherit it. Unlike
/// a noted process number it can't be taken for somebody else's. Any one thread.
class ProcessLock
{
public:
    enum class Kind {
        file,  ///< made when there is none, readable by its owner only
        folder ///< must be there; nothing is written to it
    };
    enum class Outcome {
        held,       ///< this process has it now
        taken,      ///< another process has it, or had it and took away what is locked
        unavailable ///< what is at the path can't be locked, or not by the file system it is on
    };

    explicit ProcessLock(QString path, Kind kind = Kind::file);
    /// Lets go. The file stays: removing it could free another process to lock a second one.
    ~ProcessLock();
    ProcessLock(const ProcessLock &) = delete;
    ProcessLock &operator=(const ProcessLock &) = delete;

    /// Does not wait. A link is not followed.
    Outcome tryLock();

    QString path() const { return path_; }

private:
    const QString path_;
    const Kind kind_;
    int descriptor_ = -1;
};

} // namespace brindle
