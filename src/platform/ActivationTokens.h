#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace brindle {

/// Tokens with which a Wayland compositor lets a window of another program come to the front
/// (https://wayland.app/protocols/xdg-activation-v1). It gives them for what the player pressed in
/// a window of ours: so this listens to all keyboards, pointers and touch screens, on the
/// connection that the windows have. Whoever owns that reads it, on the main thread. Main thread
/// only; nothing blocks. Where there is no Wayland there are no tokens.
class ActivationTokens
{
public:
    /// @param display the connection, a `wl_display`, which outlives this and every request.
    explicit ActivationTokens(void *display);
    ~ActivationTokens();

    /// Asks for one token, good for one start. `answer` is called with it later, and at most once:
    /// nobody knows when a compositor answers. Returns the request, which is withdrawn when it is
    /// dropped; null where there is nobody to ask.
    /// @param surface the window that asks, a `wl_surface`; may be null.
    std::shared_ptr<void> ask(void *surface, std::function<void(const QString &token)> answer);

private:
    struct Connection;
    std::unique_ptr<Connection> connection_;
};

} // namespace brindle
