#pragma once

#include <QMetaObject>
#include <QObject>

#include <coroutine>
#include <exception>
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
        std::mutex lock;
        std::optional<T> value;
        std::exception_ptr error;
        QObject *context = nullptr; // lives on the awaiting thread, owned by the awaiter
        std::coroutine_handle<> waiter;

        bool done() const { return value.has_value() || error; }

        void wake()
        {
            if (context) {
                QMetaObject::invokeMethod(
                    context, [handle = waiter] { handle.resume(); }, Qt::QueuedConnection);
            }
        }
    };

    class Awaiter
    {
    public:
        explicit Awaiter(std::shared_ptr<State> state) : state_(std::move(state)) {}
        Awaiter(const Awaiter &) = delete;
        Awaiter &operator=(const Awaiter &) = delete;

        ~Awaiter()
        {
            QObject *context = nullptr;
            {
                const std::lock_guard guard(state_->lock);
                context = std::exchange(state_->context, nullptr);
            }
            if (context) {
                // We may be inside an event of this very object.
                context->deleteLater();
            }
        }

        bool await_ready() const { return false; }

        void await_suspend(std::coroutine_handle<> waiter)
        {
            const std::lock_guard guard(state_->lock);
            state_->waiter = waiter;
            state_->context = new QObject;
            if (state_->done()) {
                state_->wake();
            }
        }

        T await_resume()
        {
            const std::lock_guard guard(state_->lock);
            if (state_->error) {
                std::rethrow_exception(state_->error);
            }
            return std::move(*state_->value);
        }

    private:
        std::shared_ptr<State> state_;
    };

public:
    OneShot() : state_(std::make_shared<State>()) {}

    /// Delivers the result. Any thread. False when something was delivered before.
    bool resume(T value = T()) const
    {
        const std::lock_guard guard(state_->lock);
        if (state_->done()) {
            return false;
        }
        state_->value.emplace(std::move(value));
        state_->wake();
        return true;
    }

    /// Delivers a failure, thrown by the `co_await`. Any thread. False when something was
    /// delivered before.
    bool fail(std::exception_ptr error) const
    {
        const std::lock_guard guard(state_->lock);
        if (state_->done()) {
            return false;
        }
        state_->error = std::move(error);
        state_->wake();
        return true;
    }

    Awaiter operator co_await() const { return Awaiter(state_); }

private:
    std::shared_ptr<State> state_;
};

} // namespace brindle
