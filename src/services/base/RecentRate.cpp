#include "base/RecentRate.h"

namespace brindle {

namespace {

constexpr Clock::Duration window{10};
constexpr Clock::Duration shortestSpan{1};

} // namespace

void RecentRate::add(Clock::Duration time, qint64 count)
{
    if (!samples_.isEmpty() && count < samples_.last().count) {
        samples_.clear();
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
