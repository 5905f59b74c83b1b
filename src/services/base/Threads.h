#pragma once

#include <functional>
#include <memory>
#include <stop_token>

namespace brindle {

/// The threads that nobody joins, as whoever started one may go at any time. When the application
/// object goes, all of them are asked to end and waited for, so that none runs on while the program
/// takes itself apart.
namespace Threads {

using Work = std::function<void(std::stop_token programEnds)>;

enum class AtExit {
    isAsked,  ///< waited for a moment: one that is stuck does not hold up the program's end
    isAwaited ///< waited for as long as it takes
};

/// Runs `work`, which must not throw, on a thread of its own, and destroys it there. False when
/// there is no thread to be had; then `work` is destroyed here. Any thread; needs the application
/// object.
[[nodiscard]] bool start(Work work, AtExit atExit = AtExit::isAsked);

/// Keeps what a thread has to leave unfinished at the program's end until the program is gone.
void keep(std::shared_ptr<void> unfinished);

} // namespace Threads

} // namespace brindle
