#include "base/Worker.h"

#include "base/Error.h"
#include "base/Threads.h"

#include <cerrno>
#include <deque>
#include <mutex>
#include <utility>

namespace brindle {

namespace {

// Not QThreadPool: what it gives to a thread that can't be started never runs, and the pool never
// counts as done again, not even at the program's end.
struct Pool
{
    std::mutex lock;
    std::deque<std::function<void()>> waiting;
    int threads = 0;
};

/// Never destroyed: the threads are there until the application object goes.
Pool &pool()
{
    static auto *const only = new Pool;
    return *only;
}

/// The next piece of work; none when the calling thread is to end.
std::function<void()> next()
{
    const std::lock_guard guard(pool().lock);
    if (pool().waiting.empty()) {
        --pool().threads;
        return nullptr;
    }
    auto work = std::move(pool().waiting.front());
    pool().waiting.pop_front();
    return work;
}

void serve()
{
    while (const auto work = next()) {
        work();
    }
}

} // namespace

void startOnWorker(std::function<void()> work)
{
    const std::lock_guard guard(pool().lock);
    pool().waiting.push_back(std::move(work));
    if (pool().threads < maxWorkers &&
        Threads::start([](const std::stop_token &) { serve(); }, Threads::AtExit::isAwaited)) {
        ++pool().threads;
    } else if (pool().threads == 0) {
        pool().waiting.pop_back();
        throw SystemError::fromErrno(EAGAIN, QStringLiteral("No thread could be started"));
    }
}

} // namespace brindle
