#pragma once

#include <QString>

class QQuickItem;
class QQuickWindow;

namespace brindle {

/// Presses buttons like a player, with mouse events. Main thread only.
class Hand
{
public:
    /// Returns the topmost visible item with this object name, or null.
    static QQuickItem *find(const QString &name);

    /// Returns whether a click would press this item.
    static bool canPress(const QString &name);

    /// Clicks the middle of an item `clicks` times, from the event loop. Returns false if there is
    /// no such item or it is disabled.
    static bool press(const QString &name, int clicks = 1);
};

} // namespace brindle
