#pragma once

#include <stop_token>

namespace brindle {

/// The handle of a running background task: present while the task runs, and the way to cancel it.
struct Work
{
    std::stop_source stop;
    /// The task still has to ask the player whether it shall do anything.
    bool undecided = false;
};

} // namespace brindle
