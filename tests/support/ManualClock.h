#pragma once

#include "base/Clock.h"
#include "base/OneShot.h"

#include <QCoreApplication>

#include <list>

namespace brindle {

/// Serves the queued events, and those that they queue in a few rounds.
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
        const OneShot<bool> woken;
        sleepers_.push_back({now_ + duration, woken});
        const std::stop_callback wake(stop, [woken] { woken.resume(false); });
        ++asleep_;
        const bool passed = co_await woken;
        --asleep_;
        co_return passed;
    }
    /// Returns the number of unfinished sleeps.
    int asleep() const { return asleep_; }

    /// Lets time pass. The sleeps that end go on in the event loop.
    void advance(Duration duration)
    {
        now_ += duration;
        std::erase_if(sleepers_, [this](const Sleeper &sleeper) {
            if (sleeper.until > now_) {
                return false;
            }
            sleeper.woken.resume(true);
            return true;
        });
    }

private:
    struct Sleeper
    {
        Duration until;
        OneShot<bool> woken;
    };

    Duration now_{1000};
    int asleep_ = 0;
    std::list<Sleeper> sleepers_;
};

} // namespace brindle
