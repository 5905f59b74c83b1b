#pragma once

#include <QCoroTask>

#include <chrono>
#include <stop_token>

namespace brindle {

/// Measures running times and waits. Tests pass a clock that they move by hand.
class Clock
{
public:
    using Duration = std::chrono::duration<double>;

    virtual ~Clock() = default;

    /// Returns the time since a fixed point. Changes of the system's date do not matter. Any
    /// thread.
    virtual Duration now() const = 0;

    /// Waits in the calling thread's event loop. Returns true after `duration`, or false as soon as
    /// `stop` is requested. Never throws.
    virtual QCoro::Task<bool> sleep(Duration duration, std::stop_token stop) = 0;
};

/// The system's steady (monotonic) clock.
class SteadyClock final : public Clock
{
public:
    Duration now() const override;
    QCoro::Task<bool> sleep(Duration duration, std::stop_token stop) override;
};

} // namespace brindle
