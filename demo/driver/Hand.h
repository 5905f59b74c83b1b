#pragma once

#include <QString>

class QQuickItem;
class QQuickWindow;

namespace brindle {

/// Presses what a player would press, with the mouse's own events. Main thread only.
class Hand
{
public:
    /// Returns the topmost visible item of that object name, or null.
    static QQuickItem *find(const QString &name);

    /// Whether a click would press that item.
    static bool canPress(const QString &name);

    /// Clicks the middle of that item so many times from the event loop, after returning. Returns
    /// false when there is no such item or it is disabled.
    static bool press(const QString &name, int clicks = 1);
};

} // namespace brindle
