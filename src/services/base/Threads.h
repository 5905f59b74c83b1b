#pragma once

#include <functional>
#include <stop_token>

namespace brindle {

/// The program's threads besides the main one. When the application object is destroyed, all of
/// them are asked to end; it waits half a second for them.
namespace Threads {

/// How many calls of `startOnWorker` run at once; the others wait.
inline constexpr int maxWorkers = 4;

/// Runs `work`, which must not throw, on a worker thread. Any thread.
void startOnWorker(std::function<void()> work);

/// Runs `work`, which must not throw, at once on a thread of its own and destroys it there. Any
/// thread.
void start(std::function<void(std::stop_token programEnds)> work);

/// Declare one in `main` before the application object. If a thread still runs when this object is
/// destroyed, the process ends at once, before static objects that the thread may use go.
class ProgramEnd
{
public:
    ProgramEnd() = default;
    ProgramEnd(const ProgramEnd &) = delete;
    ProgramEnd &operator=(const ProgramEnd &) = delete;
    ~ProgramEnd();
};

} // namespace Threads

} // namespace brindle
