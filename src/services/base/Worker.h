#pragma once

#include "base/Error.h"
#include "base/OneShot.h"

#include <QCoroTask>

#include <exception>
#include <functional>
#include <stop_token>
#include <type_traits>

namespace brindle {

/// How much of what is given to workers runs at once; the rest waits for its turn.
inline constexpr int maxWorkers = 4;

/// Runs `work`, which must not throw, on a worker thread; at the program's end it is waited for.
/// Throws SystemError when there is no such thread and none to be had. Any thread.
void startOnWorker(std::function<void()> work);

/// Runs `work` on a worker thread and resumes the caller on its own thread with the result; what
/// `work` throws is thrown by the `co_await`, whatever its type, as is the error of
/// `startOnWorker`. `work` must own all that it touches. Throws CancellationError as soon as `stop`
/// is requested: `work`, which may hang, runs on, and its result is dropped.
template <typename F>
QCoro::Task<std::invoke_result_t<F>> runOnWorker(F work, std::stop_token stop = {})
{
    using Result = std::invoke_result_t<F>;
    using Value = std::conditional_t<std::is_void_v<Result>, std::monostate, Result>;
    const OneShot<Value> result;
    startOnWorker([work = std::move(work), result]() mutable {
        try {
            if constexpr (std::is_void_v<Result>) {
                work();
                result.resume();
            } else {
                result.resume(work());
            }
        } catch (...) {
            result.fail(std::current_exception());
        }
    });
    const std::stop_callback onStop(
        stop, [result] { result.fail(std::make_exception_ptr(CancellationError())); });
    if constexpr (std::is_void_v<Result>) {
        co_await result;
    } else {
        co_return co_await result;
    }
}

} // namespace brindle
