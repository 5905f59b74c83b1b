#pragma once

#include "base/Clock.h"

#include <QList>

#include <optional>

namespace brindle {

/// Measures how fast a count has grown within the last ten seconds. Call from one thread only.
class RecentRate
{
public:
    /// Adds the count at `time`, which never decreases. A smaller count than before starts a new
    /// measurement.
    void add(Clock::Duration time, qint64 count);

    /// Returns the growth per second up to the last `add`, or nothing within the first second.
    std::optional<double> perSecond() const;

private:
    struct Sample
    {
        Clock::Duration time;
        qint64 count;
    };

    QList<Sample> samples_; // of the last ten seconds
};

} // namespace brindle
