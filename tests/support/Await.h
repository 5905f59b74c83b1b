#pragma once

#include <QCoreApplication>
#include <QCoroTask>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

namespace brindle {

namespace detail {

template <typename T>
struct Awaited
{
    std::optional<T> value;
    std::exception_ptr error;
    bool done = false;
};

template <>
struct Awaited<void>
{
    std::exception_ptr error;
    bool done = false;
};

template <typename T>
QCoro::Task<> collect(QCoro::Task<T> task, std::shared_ptr<Awaited<T>> awaited)
{
    try {
        if constexpr (std::is_void_v<T>) {
            co_await task;
        } else {
            awaited->value.emplace(co_await task);
        }
    } catch (...) {
        awaited->error = std::current_exception();
    }
    awaited->done = true;
}

} // namespace detail

/// Serves events until `done()` is true. Asks after every event and every millisecond, because
/// disks and threads bring no events. Throws std::runtime_error after `seconds`, so that a hanging
/// test fails with a name.
inline void spinUntil(const std::function<bool()> &done, int seconds = 60)
{
    const QDeadlineTimer deadline(seconds * 1000);
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    tick.start(1);
    while (!done()) {
        if (deadline.hasExpired()) {
            throw std::runtime_error("the awaited condition did not come true in time");
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

/// Serves events until the task ends. Returns its result or throws its exception.
/// (`QCoro::waitFor` never returns for a task that throws.)
template <typename T>
T await(QCoro::Task<T> task, int seconds = 60)
{
    const auto awaited = std::make_shared<detail::Awaited<T>>();
    detail::collect<T>(std::move(task), awaited);
    spinUntil([&] { return awaited->done; }, seconds);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (awaited->error) {
        std::rethrow_exception(awaited->error);
    }
    if constexpr (!std::is_void_v<T>) {
        return std::move(*awaited->value);
    }
}

} // namespace brindle
