#pragma once

#include "base/Error.h"
#include "base/OneShot.h"

#include <QCoroTask>

#include <functional>
#include <stop_token>
#include <type_traits>

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
class ProgramEnd
{
public:
    ProgramEnd() = default;
    ProgramEnd(const ProgramEnd &) = delete;
    ProgramEnd &operator=(const ProgramEnd &) = delete;
    ~ProgramEnd();
};

} // namespace Threads

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
    const OneShot<Value> end;
    start([work = std::move(work), end]() mutable {
        try {
            if constexpr (std::is_void_v<Result>) {
                work();
                end.resume();
            } else {
                end.resume(work());
            }
        } catch (...) {
            end.fail(std::current_exception());
        }
    });
    const std::stop_callback onStop(
        stop, [end] { end.fail(std::make_exception_ptr(CancellationError())); });
    [[maybe_unused]] Value value = co_await end;
    checkCancellation(stop);
    if constexpr (!std::is_void_v<Result>) {
        co_return value;
    }
}

} // namespace brindle
