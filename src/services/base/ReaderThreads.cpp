#include "base/ReaderThreads.h"

#include <QCoreApplication>
#include <QThread>

#include <mutex>
#include <utility>
#include <vector>

namespace brindle {

namespace {

// A reader leaves its loop between two handfuls of lines; one that does not must not hold up the
// program's end.
constexpr int patienceMilliseconds = 500;

struct Registry
{
    std::mutex lock;
    std::vector<QThread *> threads; // running ones, and ended ones until the next call
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
    std::vector<QThread *> threads;
    {
        const std::lock_guard guard(registry().lock);
        threads.swap(registry().threads);
    }
    for (QThread *thread : threads) {
        thread->quit();
    }
    const QDeadlineTimer deadline(patienceMilliseconds);
    for (QThread *thread : threads) {
        if (thread->wait(deadline)) {
            delete thread;
        }
    }
}

} // namespace

bool ReaderThreads::start(std::function<void()> work)
{
    Q_ASSERT(QCoreApplication::instance());
    static const bool endsWithApplication = [] {
        qAddPostRoutine(endAll);
        return true;
    }();
    Q_UNUSED(endsWithApplication)

    std::unique_ptr<QThread> thread(QThread::create([work = std::move(work)]() mutable {
        // The thread object lives on for a while; what the work holds should not.
        const auto own = std::exchange(work, nullptr);
        own();
    }));
    thread->setObjectName(QStringLiteral("reader"));

    const std::lock_guard guard(registry().lock);
    std::erase_if(registry().threads, [](QThread *ended) {
        if (!ended->isFinished()) {
            return false;
        }
        ended->wait();
        delete ended;
        return true;
    });
    thread->start();
    // That is how Qt tells; it reports the reason to nobody but the log.
    if (!thread->isRunning() && !thread->isFinished()) {
        return false;
    }
    registry().threads.push_back(thread.release());
    return true;
}

void ReaderThreads::keep(std::shared_ptr<void> unfinished)
{
    const std::lock_guard guard(registry().lock);
    registry().kept.push_back(std::move(unfinished));
}

} // namespace brindle
