#include "engine/GameRunner.h"

#include <QScopeGuard>

#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Calls `act` after `duration`, unless the run has ended by then.
QCoro::Task<> doLater(std::shared_ptr<Clock> clock, Clock::Duration duration,
                      std::function<void()> act, std::stop_token ended)
{
    if (co_await clock->sleep(duration, ended)) {
        act();
    }
}

} // namespace

QCoro::Task<qint32> GameRunner::runImport(QString engine, QString project, LineCallback onLine)
{
    const QStringList arguments{u"--headless"_s, u"--import"_s, u"--path"_s, project, u"--quit"_s};
    // An import that outlived the launcher would disturb the next import.
    const auto process = std::make_shared<ManagedProcess>(
        engine, arguments, std::move(onLine), ChildProcess::Setup{.endsWithLauncher = true});
    const PlayResult result = co_await run(process, [] {});
    co_return result.exitCode;
}

QCoro::Task<PlayResult> GameRunner::play(QString engine, QStringList arguments, LineCallback onLine,
                                         std::function<void()> onStayedOpen,
                                         QMap<QString, QString> variables)
{
    const auto process = std::make_shared<ManagedProcess>(
        engine, arguments, std::move(onLine),
        ChildProcess::Setup{.environment = ChildProcess::childEnvironment(variables)});
    return run(process, std::move(onStayedOpen));
}

QCoro::Task<PlayResult> GameRunner::run(std::shared_ptr<ManagedProcess> process,
                                        std::function<void()> onStayedOpen)
{
    stopping_ = std::stop_source();
    current_ = process;
    std::stop_source ended;
    const auto end = qScopeGuard([&] {
        current_.reset();
        ended.request_stop();
    });
    const std::stop_callback escalation(stopping_.get_token(), [&] {
        doLater(clock_, killAfter, [process] { process->kill(); }, ended.get_token());
    });
    const auto watch = [process, onStayedOpen] {
        if (process->isRunning()) {
            onStayedOpen();
        }
    };
    const Clock::Duration start = clock_->now();
    doLater(clock_, stayedOpenAfter, watch, ended.get_token());
    const qint32 status = co_await process->run(stopping_.get_token());
    co_return PlayResult{(clock_->now() - start).count(), status, userStopped()};
}

} // namespace brindle
