#pragma once

#include <QMetaObject>
#include <QObject>

#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>

namespace brindle {

/// A one-shot result that any thread may deliver and one coroutine awaits.
///
/// The first `resume` or `fail` wins, later ones are ignored, so that a result, an error and a
/// cancellation may race freely. The awaiting coroutine goes on in the event loop of the thread
/// that it awaited on, never inside the call that delivered the result, and also when the result
/// was there before: so it finds done what had been queued there before the result was delivered.
/// Copies share one result. Awaiting a second time is not allowed.
template <typename T = std::monostate>
class OneShot
{
    struct State
    {
        std::mutex lock; // guards the fields below
        std::optional<T> value;
        std::exception_ptr error;
        std::function<void()> wake; // set while a coroutine waits

        bool isDone() const { return value.has_value() || error; }
    };

    struct Awaiter
    {
        bool await_ready() const { return false; }

        void await_suspend(std::coroutine_handle<> waiter)
        {
            auto *const context = new QObject; // lives on the awaiting thread
            const auto goOn = [context, waiter] {
                context->deleteLater(); // we are inside an event of this very object
                waiter.resume();
            };
            const auto wake = [context, goOn] {
                QMetaObject::invokeMethod(context, goOn, Qt::QueuedConnection);
            };
            const std::lock_guard guard(state->lock);
            if (state->isDone()) {
                wake();
            } else {
                state->wake = wake;
            }
        }

        T await_resume()
        {
            const std::lock_guard guard(state->lock);
            if (state->error) {
                std::rethrow_exception(state->error);
            }
            return std::move(*state->value);
        }

        std::shared_ptr<State> state;
    };

public:
    /// Delivers the result. Any thread. False when something was delivered before.
    bool resume(T value = T()) const
    {
        return deliver([&] { state_->value.emplace(std::move(value)); });
    }

    /// Delivers a failure, thrown by the `co_await`. Any thread. False when something was
    /// delivered before.
    bool fail(std::exception_ptr error) const
    {
        return deliver([&] { state_->error = std::move(error); });
    }

    Awaiter operator co_await() const { return {state_}; }

private:
    template <typename F>
    bool deliver(F set) const
    {
        const std::lock_guard guard(state_->lock);
        if (state_->isDone()) {
            return false;
        }
        set();
        if (state_->wake) {
            state_->wake();
        }
        return true;
    }

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace brindle
