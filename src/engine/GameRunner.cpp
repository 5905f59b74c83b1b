#include "engine/GameRunner.h"

namespace brindle {

namespace {

/// Reports a game that has stayed open; forgotten without effect once `stop` is requested.
QCoro::Task<> watch(std::shared_ptr<Clock> clock, std::shared_ptr<ManagedProcess> process,
                    std::function<void()> onStayedOpen, std::stop_token stop)
{
    auto sleeping = clock->sleep(GameRunner::stayedOpenAfter, stop);
    const bool passed = co_await sleeping;
    if (passed && !stop.stop_requested() && process->isRunning()) {
        onStayedOpen();
    }
}

QCoro::Task<> killIfStillRunning(std::shared_ptr<Clock> clock,
                                 std::shared_ptr<ManagedProcess> process)
{
    auto sleeping = clock->sleep(GameRunner::killAfter, std::stop_token());
    co_await sleeping;
    process->kill(); // no effect on one that has ended
}

} // namespace

GameRunner::GameRunner(std::shared_ptr<Clock> clock) : clock_(std::move(clock)) {}

QCoro::Task<qint32> GameRunner::runImport(QString engine, QString project, LineCallback onLine)
{
    userStopped_ = false;
    const QStringList arguments{QStringLiteral("--headless"), QStringLiteral("--import"),
                                QStringLiteral("--path"), project, QStringLiteral("--quit")};
    const auto process = std::make_shared<ManagedProcess>(engine, arguments, std::move(onLine));
    current_ = process;
    std::exception_ptr error;
    qint32 status = 0;
    try {
        auto running = process->run();
        status = co_await running;
    } catch (...) {
        error = std::current_exception();
    }
    current_.reset();
    if (error) {
        std::rethrow_exception(error);
    }
    co_return status;
}

QCoro::Task<PlayResult> GameRunner::play(QString engine, QStringList arguments,
                                         LineCallback onLine, std::function<void()> onStayedOpen)
{
    userStopped_ = false;
    const auto process = std::make_shared<ManagedProcess>(engine, arguments, std::move(onLine));
    current_ = process;
    const auto started = clock_->now();
    std::stop_source watcherStop;
    std::exception_ptr error;
    PlayResult result;
    try {
        // Started before the watcher, which asks whether the process runs.
        auto running = process->run();
        watch(clock_, process, std::move(onStayedOpen), watcherStop.get_token());
        result.exitCode = co_await running;
    } catch (...) {
        error = std::current_exception();
    }
    result.seconds = (clock_->now() - started).count();
    result.userStopped = userStopped_;
    current_.reset();
    watcherStop.request_stop();
    if (error) {
        std::rethrow_exception(error);
    }
    co_return result;
}

void GameRunner::stop()
{
    userStopped_ = true;
    if (current_ && current_->isRunning()) {
        current_->terminate();
        killIfStillRunning(clock_, current_);
    }
}

} // namespace brindle
