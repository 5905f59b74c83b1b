#pragma once

#include "base/Callbacks.h"

#include <QCoroTask>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace brindle {

/// One run of a child process. Its standard output and error arrive, merged as the child writes
/// them, line by line; standard input, working folder and environment are inherited. No shell is
/// involved and the child gets no other file descriptor of ours.
///
/// Only a line feed ends a line (a carriage return before it stays). Invalid UTF-8 is repaired. Of
/// a line longer than `maxLineBytes` the beginning is passed on, with a note of how much was left
/// out.
class ManagedProcess
{
public:
    /// Some screen lines of what people read; what is longer was written for machines. With it a
    /// full log and a full queue of lines before it take less than 32 MB.
    static constexpr qsizetype maxLineBytes = 1400;

    /// What becomes of the child when this program dies. What cannot be bound (on macOS) goes on.
    enum class OnParentDeath {
        survive,   ///< it goes on: a game that is being played
        terminate, ///< it gets SIGTERM, and clears up
        kill       ///< it gets SIGKILL
    };

    /// @param executable absolute path of the program.
    /// @param onLine called on the reader thread, one call at a time, in order, never under a lock.
    ManagedProcess(QString executable, QStringList arguments, LineCallback onLine,
                   OnParentDeath onParentDeath = OnParentDeath::survive);
    ~ManagedProcess();

    /// Before `run`: the child reads nothing (its standard input is /dev/null) and has no terminal.
    /// The one descriptor of ours that it gets, if not -1, has the same number there.
    void isolate(int descriptor = -1);

    /// Starts the child and returns when it has ended and all that it wrote has been delivered:
    /// its exit code, or the signal's number if it was killed. Others that still hold its output
    /// pipe are not waited for. Throws SystemError when it can't be started, or
    /// when there is no thread to read it. Call once. Stopping
    /// the awaiting task does not stop the child.
    QCoro::Task<qint32> run();

    /// True from the call of `run` until the child has ended. Any thread.
    bool isRunning() const;

    /// Asks a running child to end (SIGTERM). Any thread; a request that arrives while the child
    /// is being launched takes effect as soon as it runs. No effect before `run` or after the end.
    void terminate();

    /// As `terminate`; and once the child has ended, asks what it has left in its process group,
    /// such as a dialog. What has put itself into another group or session is not touched.
    void terminateGroup();

    /// Ends a running child and everything that it started (SIGKILL to its process group). As
    /// `terminate` otherwise.
    void kill();

private:
    class Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace brindle
