#pragma once

#include "base/Callbacks.h"
#include "base/Clock.h"
#include "process/ManagedProcess.h"

#include <QCoroTask>

#include <functional>
#include <memory>
#include <stop_token>

namespace brindle {

/// Says how a game's run ended.
struct PlayResult
{
    double seconds = 0;       ///< from just before the launch until the process ended
    qint32 exitCode = 0;      ///< or the number of the signal that ended the engine
    bool userStopped = false; ///< `stop` was called
};

/// Runs the engine, for the one-time import and to play. Main thread only; `onLine` is called on
/// the child's reader thread. The runner must outlive its runs.
class GameRunner
{
public:
    /// A game counts as open after this time.
    static constexpr Clock::Duration stayedOpenAfter{10};
    /// A stopped engine is killed after this time.
    static constexpr Clock::Duration killAfter{5};

    explicit GameRunner(std::shared_ptr<Clock> clock) : clock_(std::move(clock)) {}

    /// Imports the project's assets, headless. Returns the engine's exit status. Throws SystemError
    /// when the engine can't be started.
    QCoro::Task<qint32> runImport(QString engine, QString project, LineCallback onLine);

    /// Runs the game until it ends, with `variables` added to its environment. Calls `onStayedOpen`
    /// once, on the main thread, if the game still runs after `stayedOpenAfter`. Throws SystemError
    /// when the engine can't be started.
    QCoro::Task<PlayResult> play(QString engine, QStringList arguments, LineCallback onLine,
                                 std::function<void()> onStayedOpen,
                                 QMap<QString, QString> variables = {});

    /// Marks the run as stopped by the user, and asks the engine and its children to end. Kills
    /// them if they still run `killAfter` later. Does not wait.
    void stop() { stopping_.request_stop(); }

    /// Returns whether `stop` was called since the last run began.
    bool userStopped() const { return stopping_.stop_requested(); }
    /// Returns the running engine, or null.
    std::shared_ptr<ManagedProcess> current() const { return current_; }

private:
    QCoro::Task<PlayResult> run(std::shared_ptr<ManagedProcess> process,
                                std::function<void()> onStayedOpen);

    std::shared_ptr<Clock> clock_;
    std::shared_ptr<ManagedProcess> current_;
    std::stop_source stopping_; // of the current run
};

} // namespace brindle
