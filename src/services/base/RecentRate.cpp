#include "base/RecentRate.h"

namespace brindle {

namespace {

constexpr Clock::Duration window{10};
constexpr Clock::Duration shortestSpan{1};
constexpr Clock::Duration step{0.25};

} // namespace

void RecentRate::add(Clock::Duration time, qint64 count)
{
    if (!samples_.isEmpty() && count < samples_.last().count) {
        samples_.clear();
    }
    // Replace the newest sample while it is closer than a step to the one before.
    const qsizetype size = samples_.size();
    if (size > 1 && samples_.at(size - 1).time - samples_.at(size - 2).time < step) {
        samples_.removeLast();
    }
    samples_.append({time, count});
    while (samples_.first().time < time - window) {
        samples_.removeFirst();
    }
}

std::optional<double> RecentRate::perSecond() const
{
    if (samples_.isEmpty() || samples_.last().time - samples_.first().time < shortestSpan) {
        return std::nullopt;
    }
    const auto growth = static_cast<double>(samples_.last().count - samples_.first().count);
    return growth / (samples_.last().time - samples_.first().time).count();
}

} // namespace brindle
