#pragma once

#include <QPointer>
#include <QQuickItem>

namespace brindle {

/// Scrolls a Flickable so that the control that gets the keyboard focus can be seen whole. Main
/// thread only.
class FocusFollower : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    /// A Flickable in the same window.
    Q_PROPERTY(QQuickItem *scroller MEMBER scroller_)
    /// Pixels kept free around the control.
    Q_PROPERTY(qreal margin MEMBER margin_)

public:
    explicit FocusFollower(QQuickItem *parent = nullptr);

protected:
    void itemChange(ItemChange change, const ItemChangeData &data) override;

private:
    void follow() const;

    QPointer<QQuickItem> scroller_;
    qreal margin_ = 0;
    QMetaObject::Connection connection_;
};

} // namespace brindle
