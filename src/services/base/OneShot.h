#pragma once

#include <QFutureWatcher>
#include <QPromise>

#include <atomic>
#include <coroutine>
#include <exception>
#include <memory>
#include <utility>
#include <variant>

namespace brindle {

/// A result that any thread delivers and one coroutine awaits, once.
///
/// The first `resume` or `fail` wins, later ones do nothing: a result may race with a cancellation.
/// The coroutine resumes in the event loop of the thread that it awaited on, behind everything that
/// was queued there before the delivery. Copies share one result.
template <typename T = std::monostate>
class OneShot
{
    struct State
    {
        QPromise<T> promise;
        std::atomic_flag isDelivered; // a finished QPromise takes no exception (Qt 6.4)
    };

    struct Awaiter
    {
        // Never resume at once, as QCoro's own awaiter would: earlier events go first.
        bool await_ready() const { return false; }

        void await_suspend(std::coroutine_handle<> waiter) const
        {
            auto *const watcher = new QFutureWatcher<T>;
            const auto resume = [watcher, waiter] {
                watcher->disconnect(); // a second report would resume a destroyed coroutine
                watcher->deleteLater();
                waiter.resume();
            };
            QObject::connect(watcher, &QFutureWatcherBase::finished, watcher, resume);
            watcher->setFuture(state->promise.future());
        }

        T await_resume() const { return state->promise.future().takeResult(); }

        std::shared_ptr<State> state;
    };

public:
    OneShot() { state_->promise.start(); }

    /// Delivers the result. Any thread.
    void resume(T value = T()) const
    {
        if (!state_->isDelivered.test_and_set()) {
            state_->promise.addResult(std::move(value));
            state_->promise.finish();
        }
    }

    /// Delivers a failure, which the `co_await` throws. Any thread.
    void fail(std::exception_ptr error) const
    {
        if (!state_->isDelivered.test_and_set()) {
            state_->promise.setException(std::move(error));
            state_->promise.finish();
        }
    }

    Awaiter operator co_await() const { return {state_}; }

private:
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace brindle
