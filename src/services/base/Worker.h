#pragma once

#include "base/Error.h"
#include "base/OneShot.h"
#include "base/Threads.h"

#include <QCoroTask>

#include <stop_token>
#include <type_traits>

namespace brindle {

/// Runs `work` on a worker thread and resumes the caller on its own thread with the result. Throws
/// whatever `work` throws.
///
/// When `stop` is requested the caller resumes at once with CancellationError, while `work` runs to
/// its end and its result is dropped. So `work` must own all that it touches. A stop that comes
/// before the caller resumes always wins over the result.
template <typename F>
QCoro::Task<std::invoke_result_t<F>> runOnWorker(F work, std::stop_token stop = {})
{
    checkCancellation(stop);
    using Result = std::invoke_result_t<F>;
    using Value = std::conditional_t<std::is_void_v<Result>, std::monostate, Result>;
    const OneShot<Value> result;
    Threads::startOnWorker([work = std::move(work), result]() mutable {
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
    [[maybe_unused]] Value value = co_await result;
    checkCancellation(stop);
    if constexpr (!std::is_void_v<Result>) {
        co_return value;
    }
}

} // namespace brindle
