#pragma once

#include "base/Clock.h"

#include <QList>

namespace brindle {

/// Measures how fast a count has grown within the last ten seconds. Call from one thread only.
class RecentRate
{
public:
    /// Adds the count at `time`. Times must not decrease. A smaller count than before starts a new
    /// measurement. Returns the growth per second, or 0 within the first second.
    double add(Clock::Duration time, qint64 count)
    {
        if (!samples_.isEmpty() && count < samples_.last().count) {
            samples_.clear();
        }
        samples_.append({time, count});
        while (samples_.first().time < time - window) {
            samples_.removeFirst();
        }
        const Clock::Duration span = time - samples_.first().time;
        const auto growth = static_cast<double>(count - samples_.first().count);
        return span < shortestSpan ? 0 : growth / span.count();
    }

private:
    static constexpr Clock::Duration window{10};
    static constexpr Clock::Duration shortestSpan{1};

    struct Sample
    {
        Clock::Duration time;
        qint64 count;
    };

    QList<Sample> samples_; // at most ten seconds old
};

} // namespace brindle
