#pragma once

#include <QColor>
#include <QList>
#include <QQuickPaintedItem>

namespace brindle {

/// A rectangle with smooth corners and an optional border inside its edge. The fill is one colour,
/// or a gradient from the top left to the bottom right.
class SmoothRectangle : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY changed)
    Q_PROPERTY(QColor borderColor MEMBER borderColor_ NOTIFY changed)
    Q_PROPERTY(qreal borderWidth MEMBER borderWidth_ NOTIFY changed)
    Q_PROPERTY(qreal radius MEMBER radius_ NOTIFY changed)
    /// Evenly spaced colours; empty for a plain fill.
    Q_PROPERTY(QList<QColor> gradient MEMBER gradient_ NOTIFY changed)

public:
    SmoothRectangle();

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    QColor color_ = Qt::transparent;
    QColor borderColor_ = Qt::transparent;
    qreal borderWidth_ = 1;
    qreal radius_ = 0;
    QList<QColor> gradient_;
};

} // namespace brindle
