#include "Hand.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

#include <chrono>
#include <ranges>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr auto betweenClicks = 100ms; // a usual double click

QQuickItem *descendant(QQuickItem *item, const QString &name)
{
    if (item->objectName() == name && item->isVisible()) {
        return item;
    }
    const auto children = item->childItems();
    // Search upper layers first.
    for (QQuickItem *const child : children | std::views::reverse) {
        if (QQuickItem *const found = descendant(child, name)) {
            return found;
        }
    }
    return nullptr;
}

} // namespace

QQuickItem *Hand::find(const QString &name)
{
    const auto windows = QGuiApplication::topLevelWindows();
    for (QWindow *const window : windows) {
        auto *const quick = qobject_cast<QQuickWindow *>(window);
        if (quick && quick->isVisible()) {
            if (QQuickItem *const found = descendant(quick->contentItem(), name)) {
                return found;
            }
        }
    }
    return nullptr;
}

bool Hand::canPress(const QString &name)
{
    const QQuickItem *const item = find(name);
    if (!item || !item->isEnabled()) {
        return false;
    }
    // A visible guard takes the clicks on the item that it covers.
    const QQuickItem *const guard = find(u"guard"_s);
    return !guard || !guard->contains(guard->mapFromItem(item, item->boundingRect().center()));
}

bool Hand::press(const QString &name, int clicks)
{
    QQuickItem *const item = find(name);
    if (!item || !item->isEnabled()) {
        return false;
    }
    QQuickWindow *const window = item->window();
    if (!QRectF({}, window->size()).contains(item->mapRectToScene(item->boundingRect()))) {
        // The window scrolls to a newly focused item, as after the Tab key.
        item->forceActiveFocus(Qt::TabFocusReason);
    }
    const QPointF place = item->mapToScene(item->boundingRect().center());
    const QPointF global = window->mapToGlobal(place);
    const auto send = [window, place, global](QEvent::Type type, Qt::MouseButtons buttons) {
        QMouseEvent event(type, place, place, global, Qt::LeftButton, buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(window, &event);
    };
    for (int click = 0; click < clicks; ++click) {
        QTimer::singleShot(click * betweenClicks, window, [send] {
            send(QEvent::MouseButtonPress, Qt::LeftButton);
            send(QEvent::MouseButtonRelease, Qt::NoButton);
        });
    }
    return true;
}

} // namespace brindle
