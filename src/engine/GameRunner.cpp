#include "engine/GameRunner.h"

#include <utility>

namespace brindle {

/// From the making of a process until it has ended, whichever way.
class GameRunner::Run
{
public:
    Run(std::shared_ptr<State> state, std::shared_ptr<ManagedProcess> process)
        : state_(std::move(state))
    {
        state_->userStopped = false;
        state_->killScheduled = false;
        state_->ended = std::stop_source();
        state_->current = std::move(process);
        ended_ = state_->ended;
    }
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    ~Run()
    {
        state_->current.reset();
        ended_.request_stop();
    }

    std::stop_token ended() const { return ended_.get_token(); }

private:
    std::shared_ptr<State> state_;
    std::stop_source ended_;
};

namespace {

QCoro::Task<> watch(std::shared_ptr<Clock> clock, std::shared_ptr<ManagedProcess> process,
                    std::function<void()> onStayedOpen, std::stop_token ended)
{
    const bool passed = co_await clock->sleep(GameRunner::stayedOpenAfter, ended);
    if (passed && !ended.stop_requested() && process->isRunning() && onStayedOpen) {
        onStayedOpen();
    }
}

QCoro::Task<> killLater(std::shared_ptr<Clock> clock, std::shared_ptr<ManagedProcess> process,
                        std::stop_token ended)
{
    const bool passed = co_await clock->sleep(GameRunner::killAfter, ended);
    if (passed) {
        process->kill(); // nothing happens if it has ended
    }
}

} // namespace

GameRunner::GameRunner(std::shared_ptr<Clock> clock) : state_(std::make_shared<State>())
{
    state_->clock = std::move(clock);
}

QCoro::Task<qint32> GameRunner::runImport(QString engine, QString project, LineCallback onLine)
{
    const QStringList arguments{QStringLiteral("--headless"), QStringLiteral("--import"),
                                QStringLiteral("--path"), project, QStringLiteral("--quit")};
    // Unlike a game that is being played, it is of no use to anybody without us, and it would get
    // in the way of the next launcher's import.
    return importRun(state_, std::make_shared<ManagedProcess>(engine, arguments, std::move(onLine),
                                                              ManagedProcess::OnParentDeath::kill));
}

QCoro::Task<PlayResult> GameRunner::play(QString engine, QStringList arguments, LineCallback onLine,
                                         std::function<void()> onStayedOpen)
{
    return playRun(state_, std::make_shared<ManagedProcess>(engine, arguments, std::move(onLine)),
                   std::move(onStayedOpen));
}

void GameRunner::stop()
{
    state_->userStopped = true;
    const auto process = state_->current;
    if (!process || !process->isRunning()) {
        return;
    }
    process->terminateGroup();
    if (!std::exchange(state_->killScheduled, true)) {
        killLater(state_->clock, process, state_->ended.get_token());
    }
}

QCoro::Task<qint32> GameRunner::importRun(std::shared_ptr<State> state,
                                          std::shared_ptr<ManagedProcess> process)
{
    const Run run(state, process);
    const qint32 status = co_await process->run();
    co_return status;
}

QCoro::Task<PlayResult> GameRunner::playRun(std::shared_ptr<State> state,
                                            std::shared_ptr<ManagedProcess> process,
                                            std::function<void()> onStayedOpen)
{
    const Run run(state, process);
    const Clock::Duration start = state->clock->now();
    watch(state->clock, process, std::move(onStayedOpen), run.ended());
    const qint32 status = co_await process->run();
    const Clock::Duration end = state->clock->now();
    co_return PlayResult{(end - start).count(), status, state->userStopped};
}

} // namespace brindle
