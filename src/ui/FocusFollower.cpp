#include "ui/FocusFollower.h"

#include <QQuickWindow>

#include <algorithm>

namespace brindle {

FocusFollower::FocusFollower(QQuickItem *parent) : QQuickItem(parent) {}

void FocusFollower::itemChange(ItemChange change, const ItemChangeData &data)
{
    if (change == ItemSceneChange) {
        disconnect(connection_);
        if (data.window) {
            connection_ = connect(data.window, &QQuickWindow::activeFocusItemChanged, this,
                                  [this] { follow(); });
        }
    }
    QQuickItem::itemChange(change, data);
}

void FocusFollower::follow() const
{
    QQuickItem *const focused = window() ? window()->activeFocusItem() : nullptr;
    auto *const content =
        scroller_ ? scroller_->property("contentItem").value<QQuickItem *>() : nullptr;
    if (!focused || !content || !content->isAncestorOf(focused)) {
        return;
    }
    // What lies in a scrolled part of its own: that part's frame.
    QRectF seen = focused->mapRectToItem(content, focused->boundingRect());
    for (QQuickItem *item = focused->parentItem(); item != content; item = item->parentItem()) {
        if (item->clip()) {
            seen = item->mapRectToItem(content, item->boundingRect());
        }
    }
    const qreal y = scroller_->property("contentY").toReal();
    const qreal last = std::max(0.0, content->height() - scroller_->height());
    const qreal lowest = std::min(seen.top() - margin_, last);
    const qreal highest = seen.bottom() + margin_ - scroller_->height();
    scroller_->setProperty("contentY", std::max(0.0, std::min(std::max(y, highest), lowest)));
}

} // namespace brindle
