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

/// Starts all threads besides the main one. The destruction of the application object waits half a
/// second for them.
namespace Threads {

/// The most calls of `startOnWorker` that run at once; the others wait.
inline constexpr int maxWorkers = 4;

/// Runs `work`, which must not throw, on a worker thread. Any thread.
void startOnWorker(std::function<void()> work);

/// Runs `work` at once on a thread of its own and destroys `work` there. `work` must not throw. Any
/// thread.
void start(std::function<void()> work);

/// Declare one in `main` before the application object. If a thread still runs when this object is
/// destroyed, the process ends at once: static objects that the thread may use are never destroyed.
struct ProgramEnd
{
    ~ProgramEnd();
};

} // namespace Threads

/// Awaits a future's end and resumes after earlier events, even if the future has already finished.
/// QCoro's own awaiter would not suspend then.
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

/// Runs `work` on a worker thread, or on the thread that `start` chooses. Resumes the caller on the
/// caller's thread with the result, or with the exception that `work` threw.
///
/// A request of `stop` resumes the caller at once with CancellationError, even if a result waits.
/// `work` still runs to its end, so it must own all that it touches. Its result is dropped.
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
