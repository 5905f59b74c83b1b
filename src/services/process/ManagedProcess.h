#pragma once

#include "base/Callbacks.h"

#include <QCoroTask>
#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>
#include <stop_token>

namespace brindle {

/// One run of a child process. Its standard output and error arrive, merged as the child writes
/// them, line by line; standard input, working folder and environment are inherited, but not the
/// desktop's permission to come to the front. No shell is involved and the child gets no other file
/// descriptor of ours.
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
        survive, ///< it goes on: a game that is being played
        kill     ///< it gets SIGKILL
    };

    /// @param executable absolute path of the program.
    /// @param onLine called on the reader thread, one call at a time, in order, never under a lock.
    ManagedProcess(QString executable, QStringList arguments, LineCallback onLine,
                   OnParentDeath onParentDeath = OnParentDeath::survive);

    /// Before `run`: variables that the child's environment holds besides what it inherits.
    void setVariables(const QMap<QString, QString> &variables);

    /// Before `run`: the child reads nothing (its standard input is /dev/null) and has no terminal.
    /// The one descriptor of ours that it gets, if not -1, has the same number there.
    void isolate(int descriptor = -1);

    /// Starts the child and returns when it has ended and all that it wrote has been delivered:
    /// its exit code, or the signal's number if it was killed. Others that still hold its output
    /// pipe are not waited for. Throws SystemError when it can't be started, or when there is no
    /// thread to read it. Call once. The object may go while it runs.
    ///
    /// A request of `stop` asks the child to end (SIGTERM), as soon as it runs; and once it has
    /// ended, what it has left in its process group, such as a dialog. What has put itself into
    /// another group or session is not touched.
    QCoro::Task<qint32> run(std::stop_token stop = {});

    /// True from the call of `run` until the child has ended. Any thread.
    bool isRunning() const;

    /// Ends a running child and everything that it started (SIGKILL to its process group). Any
    /// thread; takes effect as soon as the child runs. No effect before `run` or after the end.
    void kill();

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace brindle
