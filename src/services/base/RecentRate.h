#pragma once

#include "base/Clock.h"

#include <QList>

#include <optional>

namespace brindle {

/// How fast a count has grown in the last ten seconds. Any one thread.
class RecentRate
{
public:
    /// The count at a time, no earlier than that of the call before. One that has shrunk is
    /// another's: it begins anew.
    void add(Clock::Duration time, qint64 count);

    /// Per second, up to the last `add`; absent until a second has been seen.
    std::optional<double> perSecond() const;

private:
    struct Sample
    {
        Clock::Duration time;
        qint64 count;
    };

    QList<Sample> samples_; // a few a second, and the last of all
};

} // namespace brindle
