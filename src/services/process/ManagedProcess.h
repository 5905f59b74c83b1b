#pragma once

#include "base/Callbacks.h"
#include "platform/ChildProcess.h"

#include <QCoroTask>
#include <QString>
#include <QStringList>

#include <memory>
#include <stop_token>

namespace brindle {

/// One run of a child process. Passes on its standard output and error, merged, line by line.
///
/// Unless its setup says otherwise, the child inherits standard input, working folder and
/// environment, but no other file descriptor, nor the desktop's permission to come to the front. No
/// shell is involved. `LineSplitter` makes the lines.
class ManagedProcess
{
public:
    /// A few screen lines. With this limit a full log and a full queue take less than 32 MB.
    static constexpr qsizetype maxLineBytes = 1400;

    /// @param executable absolute path of the program.
    /// @param onLine called on the reader thread, one call at a time, in order, never under a lock.
    ManagedProcess(QString executable, QStringList arguments, LineCallback onLine,
                   ChildProcess::Setup setup = {});

    /// Starts the child and waits for its end. Returns the exit code, or the signal's number if a
    /// signal ended the child. Delivers all of the child's lines first, but does not wait for other
    /// processes that hold the output open. Throws SystemError if the child can't be started. Call
    /// once; this object may be destroyed while the child runs.
    ///
    /// A request of `stop` sends SIGTERM to the child. After the child's end, the rest of its
    /// process group gets SIGTERM too, for example an open dialog.
    QCoro::Task<qint32> run(std::stop_token stop = {});

    /// Returns true from the call of `run` until the child's end. Any thread.
    bool isRunning() const;

    /// Sends SIGKILL to the child's process group, once the child runs. Does nothing after the
    /// child's end. Any thread.
    void kill();

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace brindle
