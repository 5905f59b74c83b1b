#include "base/Threads.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

#include <mutex>
#include <utility>
#include <vector>

namespace brindle {

namespace {

constexpr int patienceMilliseconds = 500;

struct Started
{
    std::unique_ptr<QThread> thread;
    std::stop_source stop;
    Threads::AtExit atExit;
};

struct Registry
{
    std::mutex lock;
    std::vector<Started> threads; // running ones, and ended ones until the next start
    std::vector<std::shared_ptr<void>> kept;
};

/// Never destroyed: a thread that outlasts the patience may still come here.
Registry &registry()
{
    static auto *const only = new Registry;
    return *only;
}

void endAll()
{
    std::vector<Started> threads;
    {
        const std::lock_guard guard(registry().lock);
        threads.swap(registry().threads);
    }
    for (Started &each : threads) {
        each.stop.request_stop();
    }
    const QDeadlineTimer soon(patienceMilliseconds);
    for (Started &each : threads) {
        const bool isAwaited = each.atExit == Threads::AtExit::isAwaited;
        if (!each.thread->wait(isAwaited ? QDeadlineTimer(QDeadlineTimer::Forever) : soon)) {
            // It still runs.
            [[maybe_unused]] const QThread *const running = each.thread.release();
        }
    }
}

} // namespace

bool Threads::start(Work work, AtExit atExit)
{
    Q_ASSERT(QCoreApplication::instance());
    [[maybe_unused]] static const bool endsWithApplication = [] {
        qAddPostRoutine(endAll);
        return true;
    }();
    std::stop_source stop;
    // Qt lets go of the work at its end, on that thread.
    std::unique_ptr<QThread> thread(QThread::create(std::move(work), stop.get_token()));

    const std::lock_guard guard(registry().lock);
    std::erase_if(registry().threads, [](const Started &each) {
        return each.thread->isFinished() && each.thread->wait();
    });
    thread->start();
    // That is how Qt tells; it reports the reason to nobody but the log.
    if (!thread->isRunning() && !thread->isFinished()) {
        return false;
    }
    registry().threads.push_back({std::move(thread), std::move(stop), atExit});
    return true;
}

void Threads::keep(std::shared_ptr<void> unfinished)
{
    const std::lock_guard guard(registry().lock);
    registry().kept.push_back(std::move(unfinished));
}

} // namespace brindle
