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

    /// Returns whether a click would press that item.
    static bool canPress(const QString &name);

    /// Lets the event loop click the middle of that item `clicks` times. Returns false when there
    /// is no such item or it is disabled.
    static bool press(const QString &name, int clicks = 1);
};

} // namespace brindle
