#pragma once

#include <QByteArray>

#include <functional>
#include <memory>

namespace brindle {

/// Asks a Wayland compositor for tokens that let another program's window come to the front
/// (https://wayland.app/protocols/xdg-activation-v1). The compositor grants a token for the last
/// press in one of our windows. So this class listens to all keyboards, pointers and touch screens.
/// It shares the windows' connection, and Qt reads the events. Main thread only; nothing blocks.
/// Without Wayland there are no tokens.
class ActivationTokens
{
public:
    /// Returns the token if it is printable ASCII of at most 255 bytes, else an empty one.
    /// libwayland ends programs that send much longer texts.
    static QByteArray usable(const QByteArray &token);
    /// Returns the desktop's permission for this program to come to the front, from the
    /// environment: a Wayland token or an X startup id; may be empty.
    static QByteArray given();

    /// @param display the windows' connection, a `wl_display`. Must outlive this object and all
    /// requests.
    explicit ActivationTokens(void *display);
    ~ActivationTokens();

    /// Asks for one token, good for one start. Calls `answer` later and at most once; an unusable
    /// token becomes an empty one. Returns the request, or null if the compositor grants no tokens.
    /// Destroying the request withdraws it.
    /// @param surface the window that asks, a `wl_surface`; may be null.
    std::shared_ptr<void> ask(void *surface, std::function<void(const QByteArray &token)> answer);

private:
    struct Connection;
    std::unique_ptr<Connection> connection_;
};

} // namespace brindle
