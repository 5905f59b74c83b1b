#pragma once

#include <QCoreApplication>
#include <QCoroTask>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <variant>

namespace brindle {

/// Serves events until `done()` is true. Asks after every event and every `tick`, because disks and
/// threads send no events. Throws std::runtime_error after `seconds`, so that a hanging test fails
/// under its name.
inline void spinUntil(const std::function<bool()> &done, int seconds = 60,
                      std::chrono::milliseconds tick = std::chrono::milliseconds(4))
{
    const QDeadlineTimer deadline(seconds * 1000);
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.start(tick);
    while (!done()) {
        if (deadline.hasExpired()) {
            throw std::runtime_error("the awaited condition did not come true in time");
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

namespace detail {

template <typename T>
struct Awaited
{
    std::optional<std::conditional_t<std::is_void_v<T>, std::monostate, T>> value;
    std::exception_ptr error;
};

template <typename T>
QCoro::Task<> collect(QCoro::Task<T> task, std::shared_ptr<Awaited<T>> awaited)
{
    try {
        if constexpr (std::is_void_v<T>) {
            co_await task;
            awaited->value.emplace();
        } else {
            awaited->value.emplace(co_await task);
        }
    } catch (...) {
        awaited->error = std::current_exception();
    }
}

} // namespace detail

/// Serves events until the task ends. Returns its result or throws its exception.
/// (`QCoro::waitFor` never returns for a task that throws.)
template <typename T>
T await(QCoro::Task<T> task, int seconds = 60)
{
    const auto awaited = std::make_shared<detail::Awaited<T>>();
    detail::collect<T>(std::move(task), awaited);
    // The end of a task is an event.
    spinUntil([&] { return awaited->value || awaited->error; }, seconds,
              std::chrono::milliseconds(100));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (awaited->error) {
        std::rethrow_exception(awaited->error);
    }
    if constexpr (!std::is_void_v<T>) {
        return std::move(*awaited->value);
    }
}

} // namespace brindle
