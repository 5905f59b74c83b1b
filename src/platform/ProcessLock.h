#pragma once

#include <QString>

namespace brindle {

/// A lock that one process at a time holds, by a file. The system lets go of it when its holder
/// ends, however that happens; programs that the holder starts do not inherit it. Any one thread.
class ProcessLock
{
public:
    enum class Outcome {
        held,       ///< this process has it now
        taken,      ///< another process has it
        unavailable ///< the file can't be made or locked
    };

    explicit ProcessLock(QString file);
    /// Lets go. The file stays: removing it could free another process to lock a second one.
    ~ProcessLock();
    ProcessLock(const ProcessLock &) = delete;
    ProcessLock &operator=(const ProcessLock &) = delete;

    /// Does not wait. Creates the file, readable by its owner only, when there is none.
    Outcome tryLock();

private:
    QString file_;
    int descriptor_ = -1;
};

} // namespace brindle
