#pragma once

#include <functional>
#include <memory>

namespace brindle {

/// The threads that read child processes. They are not pooled, as each one waits for as long as
/// its child lives. When the application object goes, all event loops on them are left, and it
/// waits a moment for them, so that none runs on while the program takes itself apart.
class ReaderThreads
{
public:
    /// Runs `work` on a thread of its own and destroys it there. False when there is no thread to
    /// be had; then it is destroyed here. Any thread; needs the application object.
    [[nodiscard]] static bool start(std::function<void()> work);

    /// Keeps what a thread had to leave unfinished at the program's end until the program is gone.
    static void keep(std::shared_ptr<void> unfinished);
};

} // namespace brindle
