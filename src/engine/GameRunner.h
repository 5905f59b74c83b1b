#pragma once

#include "base/Callbacks.h"
#include "base/Clock.h"
#include "process/ManagedProcess.h"

#include <QCoroTask>

#include <functional>
#include <memory>
#include <stop_token>

namespace brindle {

/// How a game's run ended.
struct PlayResult
{
    double seconds = 0;       ///< from just before the launch until the process ended
    qint32 exitCode = 0;      ///< exit code, or the signal's number
    bool userStopped = false; ///< the user asked for the end
};

/// Runs the engine on the project, for the one-time import and to play. Main thread only; `onLine`
/// is called on the child's reader thread. A request of a run's `stop` does what `stop()` does.
class GameRunner
{
public:
    /// A game that has run this long counts as open.
    static constexpr Clock::Duration stayedOpenAfter{10};
    /// A stopped engine that has not ended after this long is killed.
    static constexpr Clock::Duration killAfter{5};
    /// Tells what to add to a game's environment, at once when it is stopped. Does not throw.
    using AskVariables = std::function<QCoro::Task<QMap<QString, QString>>(std::stop_token)>;

    explicit GameRunner(std::shared_ptr<Clock> clock);

    /// Imports the project's assets, headless. Returns the engine's exit status; throws
    /// SystemError when it can't be started.
    QCoro::Task<qint32> runImport(QString engine, QString project, LineCallback onLine,
                                  std::stop_token stop = {});

    /// Runs the game until it ends. `onStayedOpen` is called at most once, on the main thread,
    /// when it still runs after `stayedOpenAfter`. `variables` are asked for right before the
    /// start; stopped until then, the game is not started. Throws SystemError when it can't be.
    QCoro::Task<PlayResult> play(QString engine, QStringList arguments, LineCallback onLine,
                                 std::function<void()> onStayedOpen, std::stop_token stop = {},
                                 AskVariables variables = {});

    /// Marks the run as stopped by the user and asks a running engine to end, and then what it
    /// leaves behind, such as a dialog; one that has not ended `killAfter` later is killed with
    /// everything it started. Does not wait.
    void stop();

    /// Whether `stop` has been called since the last run began.
    bool userStopped() const { return state_->userStopped; }
    /// The engine process that is running now; null otherwise.
    std::shared_ptr<ManagedProcess> current() const { return state_->current; }

private:
    /// Shared with the coroutines of a run, which may outlive the runner.
    struct State
    {
        void stop();

        std::shared_ptr<Clock> clock;
        std::shared_ptr<ManagedProcess> current;
        bool userStopped = false;
        std::stop_source stopping; ///< of the current run's process
    };

    static QCoro::Task<PlayResult> run(std::shared_ptr<State> state,
                                       std::shared_ptr<ManagedProcess> process,
                                       std::function<void()> onStayedOpen, std::stop_token stop,
                                       AskVariables variables = {});

    std::shared_ptr<State> state_;
};

} // namespace brindle
