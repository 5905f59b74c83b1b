#pragma once

#include <QColor>
#include <QPainterPath>
#include <QQuickPaintedItem>

namespace brindle {

/// One of the launcher's own symbols, fitted into the item, in one colour, with an optional soft
/// shadow. The shadow may reach beyond the drawing by its radius, so the item leaves that margin.
class Symbol : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Shape shape MEMBER shape_ NOTIFY changed)
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY changed)
    Q_PROPERTY(QColor shadowColor MEMBER shadowColor_ NOTIFY changed)
    /// In pixels; 0 for none.
    Q_PROPERTY(qreal shadowRadius MEMBER shadowRadius_ NOTIFY changed)

public:
    enum class Shape { CrossedFlags, Bolt, Play };
    Q_ENUM(Shape)

    explicit Symbol(QQuickItem *parent = nullptr);

    void paint(QPainter *painter) override;

    /// The outline of a drawing, in a square of side 1.
    static QPainterPath path(Shape shape);

Q_SIGNALS:
    void changed();

private:
    Shape shape_ = Shape::Play;
    QColor color_ = Qt::black;
    QColor shadowColor_ = Qt::transparent;
    qreal shadowRadius_ = 0;
};

} // namespace brindle
