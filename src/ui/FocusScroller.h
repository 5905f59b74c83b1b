#pragma once

#include <QPointer>
#include <QQuickItem>

namespace brindle {

/// Looks after the keyboard focus of a window: scrolls a Flickable so that the control that gets it
/// can be seen whole, and gives it to `home` when the control that had it is gone. Main thread
/// only.
class FocusScroller : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    /// A Flickable in the same window.
    Q_PROPERTY(QQuickItem *scroller MEMBER scroller_)
    /// Pixels kept free around the control.
    Q_PROPERTY(qreal margin MEMBER margin_)
    /// Where the focus goes, once it can, while no control has it.
    Q_PROPERTY(QQuickItem *home READ home WRITE setHome)

public:
    explicit FocusScroller(QQuickItem *parent = nullptr);

    QQuickItem *home() const { return home_; }
    void setHome(QQuickItem *home);

    /// Scrolls so that `item`, which may have been shown just now, can be seen: with the next
    /// frame.
    Q_INVOKABLE void reveal(QQuickItem *item);

protected:
    void itemChange(ItemChange change, const ItemChangeData &data) override;

private:
    void follow() const;
    void scrollTo(const QQuickItem &item) const;
    void goHome() const;
    void goHomeSoon();

    QPointer<QQuickItem> scroller_;
    QPointer<QQuickItem> home_;
    qreal margin_ = 0;
    QMetaObject::Connection connection_;
};

} // namespace brindle
