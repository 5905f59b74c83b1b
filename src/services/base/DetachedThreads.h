#pragma once

#include <functional>

namespace brindle {

/// Threads that nobody joins, for work whose owner may go at any time.
///
/// When the process exits, those that still run are told to end and are given a moment for it, so
/// that they don't run on while libraries clear up under them; one that is stuck in a call of the
/// system does not hold up the exit.
class DetachedThreads
{
public:
    /// Runs `work`, which must not throw, on a new thread. `stop` makes it end soon; called at
    /// most once, at exit. Any thread. Throws std::system_error when there is no thread to be had.
    static void start(std::function<void()> work, std::function<void()> stop);
};

} // namespace brindle
