#pragma once

#include <QCoroTask>

#include <chrono>
#include <stop_token>

namespace brindle {

/// Time as the launcher measures it: running times and waits. Handed in, so that tests can make
/// ten seconds pass at once.
class Clock
{
public:
    using Duration = std::chrono::duration<double>;

    virtual ~Clock() = default;

    /// Time since some fixed point; never affected by changes of the system's date. Any thread.
    virtual Duration now() const = 0;

    /// Waits on the calling thread's event loop. True when the whole time has passed, false as
    /// soon as `stop` is requested; never throws.
    virtual QCoro::Task<bool> sleep(Duration duration, std::stop_token stop) = 0;
};

/// The real clock: the system's steady (monotonic) time.
class SteadyClock final : public Clock
{
public:
    Duration now() const override;
    QCoro::Task<bool> sleep(Duration duration, std::stop_token stop) override;
};

} // namespace brindle
