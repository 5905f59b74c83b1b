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
/// is called on the child's reader thread. A request of a run's `stop` acts like `stop()`.
class GameRunner
{
public:
    /// A game that has run this long counts as open.
    static constexpr Clock::Duration stayedOpenAfter{10};
    /// A stopped engine is killed after this long.
    static constexpr Clock::Duration killAfter{5};
    /// Returns variables for a game's environment; early when its token is stopped. Does not throw.
    using AskVariables = std::function<QCoro::Task<QMap<QString, QString>>(std::stop_token)>;

    explicit GameRunner(std::shared_ptr<Clock> clock);

    /// Imports the project's assets, headless. Returns the engine's exit status. Throws SystemError
    /// when the engine can't be started.
    QCoro::Task<qint32> runImport(QString engine, QString project, LineCallback onLine,
                                  std::stop_token stop = {});

    /// Runs the game until it ends. Calls `onStayedOpen` once, on the main thread, if the game
    /// still runs after `stayedOpenAfter`. Asks for `variables` first; when stopped until then,
    /// does not start the game. Throws SystemError when the engine can't be started.
    QCoro::Task<PlayResult> play(QString engine, QStringList arguments, LineCallback onLine,
                                 std::function<void()> onStayedOpen, std::stop_token stop = {},
                                 AskVariables variables = {});

    /// Marks the run as stopped by the user and asks the engine and its children to end. Kills them
    /// `killAfter` later. Does not wait.
    void stop();

    /// Whether `stop` was called since the last run began.
    bool userStopped() const { return state_->userStopped; }
    /// The running engine; null otherwise.
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
