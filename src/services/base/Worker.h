#pragma once

#include "base/OneShot.h"

#include <QCoroTask>
#include <QThreadPool>

#include <type_traits>

namespace brindle {

/// Runs `work` on a pool thread and resumes the caller on its own thread with the result; what
/// `work` throws is thrown by the `co_await`, whatever its type. `work` must own all that it
/// touches. QtConcurrent would wrap the exceptions that it does not know.
template <typename F>
QCoro::Task<std::invoke_result_t<F>> runOnWorker(F work)
{
    using Result = std::invoke_result_t<F>;
    using Value = std::conditional_t<std::is_void_v<Result>, std::monostate, Result>;
    const OneShot<Value> continuation;
    QThreadPool::globalInstance()->start([work = std::move(work), continuation]() mutable {
        try {
            if constexpr (std::is_void_v<Result>) {
                work();
                continuation.resume();
            } else {
                continuation.resume(work());
            }
        } catch (...) {
            continuation.fail(std::current_exception());
        }
    });
    if constexpr (std::is_void_v<Result>) {
        co_await continuation;
    } else {
        auto result = co_await continuation;
        co_return std::move(result);
    }
}

} // namespace brindle
