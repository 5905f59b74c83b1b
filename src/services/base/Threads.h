#pragma once

#include "base/Error.h"

#include <QCoroTask>
#include <QFutureWatcher>
#include <QPromise>

#include <coroutine>
#include <functional>
#include <memory>
#include <stop_token>
#include <type_traits>
#include <variant>

namespace brindle {

/// The program's threads besides the main one. The destruction of the application object waits half
/// a second for them.
namespace Threads {

/// The most calls of `startOnWorker` that run at once; the others wait.
inline constexpr int maxWorkers = 4;

/// Runs `work`, which must not throw, on a worker thread. Any thread.
void startOnWorker(std::function<void()> work);

/// Runs `work`, which must not throw, at once on a thread of its own and destroys it there. Any
/// thread.
void start(std::function<void()> work);

/// Declare one in `main` before the application object. If a thread still runs when this object is
/// destroyed, the process ends at once, before static objects that the thread may use go.
struct ProgramEnd
{
    ~ProgramEnd();
};

} // namespace Threads

/// Awaits a future's end behind earlier events. QCoro's own awaiter does not suspend for a future
/// that has finished.
template <typename T>
struct LaterEnd
{
    bool await_ready() const { return false; }

    void await_suspend(std::coroutine_handle<> waiter)
    {
        QObject::connect(&watcher, &QFutureWatcherBase::finished, &watcher,
                         [waiter] { waiter.resume(); });
        watcher.setFuture(future);
    }

    void await_resume() const {}

    QFuture<T> future;
    QFutureWatcher<T> watcher{};
};

/// Runs `work` on a worker thread, or where `start` starts it, and resumes the caller on its own
/// thread with the result. Throws whatever `work` throws.
///
/// When `stop` is requested the caller resumes at once with CancellationError, while `work` runs to
/// its end and its result is dropped. So `work` must own all that it touches. A stop that comes
/// before the caller resumes always wins over the result.
template <typename F>
QCoro::Task<std::invoke_result_t<F>>
runOnWorker(F work, std::stop_token stop = {},
            void (*start)(std::function<void()>) = &Threads::startOnWorker)
{
    checkCancellation(stop);
    using Result = std::invoke_result_t<F>;
    using Value = std::conditional_t<std::is_void_v<Result>, std::monostate, Result>;
    const auto promise = std::make_shared<QPromise<Value>>();
    promise->start();
    start([work = std::move(work), promise]() mutable {
        try {
            if constexpr (std::is_void_v<Result>) {
                work();
                promise->addResult(Value());
            } else {
                promise->addResult(work());
            }
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    const std::stop_callback onStop(stop, [promise] { promise->finish(); });
    co_await LaterEnd<Value>{promise->future()};
    checkCancellation(stop);
    [[maybe_unused]] Value value = promise->future().takeResult();
    if constexpr (!std::is_void_v<Result>) {
        co_return value;
    }
}

} // namespace brindle
