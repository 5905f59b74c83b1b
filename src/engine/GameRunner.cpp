#include "engine/GameRunner.h"

#include <QScopeGuard>

#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Calls `act` after a while, unless the run has ended by then.
QCoro::Task<> doLater(std::shared_ptr<Clock> clock, Clock::Duration duration,
                      std::function<void()> act, std::stop_token ended)
{
    if (co_await clock->sleep(duration, ended)) {
        act();
    }
}

} // namespace

GameRunner::GameRunner(std::shared_ptr<Clock> clock) : state_(std::make_shared<State>())
{
    state_->clock = std::move(clock);
}

QCoro::Task<qint32> GameRunner::runImport(QString engine, QString project, LineCallback onLine,
                                          std::stop_token stop)
{
    const QStringList arguments{u"--headless"_s, u"--import"_s, u"--path"_s, project, u"--quit"_s};
    // Dies with the launcher: nobody needs it then, and it would disturb the next import.
    const auto process = std::make_shared<ManagedProcess>(engine, arguments, std::move(onLine),
                                                          ManagedProcess::OnParentDeath::kill);
    const PlayResult result = co_await run(state_, process, nullptr, stop);
    co_return result.exitCode;
}

QCoro::Task<PlayResult> GameRunner::play(QString engine, QStringList arguments, LineCallback onLine,
                                         std::function<void()> onStayedOpen, std::stop_token stop,
                                         AskVariables variables)
{
    const auto process = std::make_shared<ManagedProcess>(engine, arguments, std::move(onLine));
    return run(state_, process, std::move(onStayedOpen), std::move(stop), std::move(variables));
}

void GameRunner::stop()
{
    state_->stop();
}

void GameRunner::State::stop()
{
    userStopped = true;
    stopping.request_stop();
}

QCoro::Task<PlayResult> GameRunner::run(std::shared_ptr<State> state,
                                        std::shared_ptr<ManagedProcess> process,
                                        std::function<void()> onStayedOpen, std::stop_token stop,
                                        AskVariables variables)
{
    std::stop_source ended;
    state->userStopped = false;
    state->stopping = std::stop_source();
    const std::stop_callback onStop(stop, [&state = *state] { state.stop(); });
    if (variables) {
        const auto answer = co_await variables(state->stopping.get_token());
        if (state->userStopped) {
            co_return PlayResult{0, 0, true};
        }
        process->setVariables(answer);
    }
    state->current = process;
    const auto end = qScopeGuard([&] {
        state->current.reset();
        ended.request_stop();
    });
    const std::stop_callback escalation(state->stopping.get_token(), [=] {
        doLater(state->clock, killAfter, [process] { process->kill(); }, ended.get_token());
    });
    const auto watch = [process, onStayedOpen] {
        if (process->isRunning() && onStayedOpen) {
            onStayedOpen();
        }
    };
    const Clock::Duration start = state->clock->now();
    doLater(state->clock, stayedOpenAfter, watch, ended.get_token());
    const qint32 status = co_await process->run(state->stopping.get_token());
    co_return PlayResult{(state->clock->now() - start).count(), status, state->userStopped};
}

} // namespace brindle
