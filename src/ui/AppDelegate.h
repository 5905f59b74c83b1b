#pragma once

namespace brindle {

/// Answers whether the application may end. Acts on the process-wide model. Main thread only.
class AppDelegate
{
public:
    /// What a request to quit is answered with.
    enum class TerminateReply { cancel = 0, now = 1 };

    /// Asks the model, which may ask the player and stop what runs; each call asks anew.
    TerminateReply applicationShouldTerminate();

    /// Closing the window is a request to quit: always true.
    bool applicationShouldTerminateAfterLastWindowClosed();
};

} // namespace brindle
