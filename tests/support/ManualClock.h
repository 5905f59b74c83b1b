#pragma once

#include "base/Clock.h"

#include <QCoreApplication>
#include <QCoroFuture>
#include <QPromise>

#include <list>
#include <memory>

namespace brindle {

/// Serves the queued events and, for ten rounds, the events that these queue.
inline void serveEvents()
{
    for (int i = 0; i < 10; ++i) {
        QCoreApplication::processEvents();
    }
}

/// A clock that the test moves by hand. Main thread.
class ManualClock final : public Clock
{
public:
    Duration now() const override { return now_; }

    QCoro::Task<bool> sleep(Duration duration, std::stop_token stop) override
    {
        const auto woken = std::make_shared<QPromise<bool>>();
        woken->start();
        sleepers_.push_back({now_ + duration, woken});
        const std::stop_callback onStop(stop, [woken] { wake(*woken, false); });
        ++asleep_;
        const bool passed = co_await woken->future();
        --asleep_;
        co_return passed;
    }
    /// Returns the number of unfinished sleeps.
    int asleep() const { return asleep_; }

    /// Lets time pass. Sleeps that end resume in the event loop.
    void advance(Duration duration)
    {
        now_ += duration;
        std::erase_if(sleepers_, [this](const Sleeper &sleeper) {
            if (sleeper.until > now_) {
                return false;
            }
            wake(*sleeper.woken, true);
            return true;
        });
    }

private:
    struct Sleeper
    {
        Duration until;
        std::shared_ptr<QPromise<bool>> woken;
    };

    static void wake(QPromise<bool> &sleeper, bool passed)
    {
        sleeper.addResult(passed);
        sleeper.finish();
    }

    Duration now_{1000};
    int asleep_ = 0;
    std::list<Sleeper> sleepers_;
};

} // namespace brindle
