#include "ui/FocusScroller.h"

#include <QGuiApplication>
#include <QQuickWindow>

#include <algorithm>

namespace brindle {

FocusScroller::FocusScroller(QQuickItem *parent) : QQuickItem(parent) {}

void FocusScroller::itemChange(ItemChange change, const ItemChangeData &data)
{
    if (change == ItemSceneChange) {
        disconnect(connection_);
        if (data.window) {
            connection_ = connect(data.window, &QQuickWindow::activeFocusItemChanged, this, [this] {
                follow();
                goHomeSoon();
            });
        }
    }
    QQuickItem::itemChange(change, data);
}

void FocusScroller::setHome(QQuickItem *home)
{
    home_ = home;
    if (home) {
        connect(home, &QQuickItem::enabledChanged, this, &FocusScroller::goHomeSoon);
        connect(home, &QQuickItem::visibleChanged, this, &FocusScroller::goHomeSoon);
    }
}

void FocusScroller::goHomeSoon()
{
    // What hides one control may show another a moment later.
    QMetaObject::invokeMethod(this, &FocusScroller::goHome, Qt::QueuedConnection);
}

void FocusScroller::goHome() const
{
    // A window that does not have the keyboard itself knows where it was, and gives it back.
    if (!home_ || !window() || QGuiApplication::focusWindow() != window()) {
        return;
    }
    const QQuickItem *const focused = window()->activeFocusItem();
    // Items keep the focus when they are hidden; a menu over the window is a scope of its own.
    const bool isLost = !focused || !focused->isVisible() ||
                        (focused->isFocusScope() && focused->isAncestorOf(home_));
    if (isLost && home_->isVisible() && home_->isEnabled()) {
        home_->forceActiveFocus(Qt::OtherFocusReason);
    }
}

void FocusScroller::follow() const
{
    if (const QQuickItem *const focused = window() ? window()->activeFocusItem() : nullptr) {
        scrollTo(*focused);
    }
}

void FocusScroller::reveal(QQuickItem *item)
{
    if (!window()) {
        return;
    }
    // Once everything has its place.
    connect(
        window(), &QQuickWindow::afterAnimating, this,
        [this, revealed = QPointer<QQuickItem>(item)] {
            if (revealed) {
                scrollTo(*revealed);
            }
        },
        Qt::SingleShotConnection);
    window()->update();
}

void FocusScroller::scrollTo(const QQuickItem &item) const
{
    auto *const content =
        scroller_ ? scroller_->property("contentItem").value<QQuickItem *>() : nullptr;
    if (!content || !content->isAncestorOf(&item)) {
        return;
    }
    // What lies in a scrolled part of its own: that part's frame.
    QRectF seen = item.mapRectToItem(content, item.boundingRect());
    for (QQuickItem *parent = item.parentItem(); parent != content; parent = parent->parentItem()) {
        if (parent->clip()) {
            seen = parent->mapRectToItem(content, parent->boundingRect());
        }
    }
    const qreal y = scroller_->property("contentY").toReal();
    const qreal last = std::max(0.0, content->height() - scroller_->height());
    const qreal lowest = std::min(seen.top() - margin_, last);
    const qreal highest = seen.bottom() + margin_ - scroller_->height();
    scroller_->setProperty("contentY", std::max(0.0, std::min(std::max(y, highest), lowest)));
}

} // namespace brindle
