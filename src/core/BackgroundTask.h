#pragma once

#include "base/OneShot.h"

#include <QCoroTask>
#include <QEventLoop>

#include <exception>
#include <functional>
#include <memory>
#include <stop_token>

namespace brindle {

/// A task in the background: its handle, and the way to cancel it. Main thread only.
struct BackgroundTask
{
    using Body = std::function<QCoro::Task<>(std::stop_token)>;
    /// Is given what the body threw; null when it ended well.
    using End = std::function<void(const std::exception_ptr &)>;

    std::stop_source stop;
    /// The task still has to ask the player whether it shall do anything.
    bool undecided = false;

    /// The tasks of one owner that still run, whoever holds their handles.
    class Count
    {
    public:
        /// Starts `body` in an event of its own, and calls `end` when it has ended.
        std::shared_ptr<BackgroundTask> start(Body body, End end)
        {
            auto task = std::make_shared<BackgroundTask>();
            run(task, std::move(body), std::move(end));
            return task;
        }

        bool any() const { return running_ > 0; }

        /// Serves events until none runs any more.
        void wait() const
        {
            QEventLoop loop;
            while (any()) {
                loop.processEvents(QEventLoop::WaitForMoreEvents);
            }
        }

    private:
        QCoro::Task<> run(std::shared_ptr<BackgroundTask> task, Body body, End end)
        {
            ++running_;
            const OneShot<> turn;
            turn.resume();
            co_await turn;
            std::exception_ptr error;
            try {
                co_await body(task->stop.get_token());
            } catch (...) {
                error = std::current_exception();
            }
            --running_;
            end(error);
        }

        int running_ = 0;
    };
};

} // namespace brindle
