#pragma once

#include <QColor>
#include <QList>
#include <QQuickPaintedItem>

namespace brindle {

/// An item that repaints after each change of its properties. Derived types must name this type
/// with its namespace, or the tools of Qt 6.4 do not know them.
class Drawing : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY changed)

public:
    Drawing();

Q_SIGNALS:
    void changed();

protected:
    QColor color_ = Qt::transparent;
};

/// A rectangle with smooth corners and an optional border inside its edge. Its fill is one colour,
/// or a gradient from top left to bottom right.
class SmoothRectangle : public brindle::Drawing
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor borderColor MEMBER borderColor_ NOTIFY changed)
    Q_PROPERTY(qreal borderWidth MEMBER borderWidth_ NOTIFY changed)
    Q_PROPERTY(qreal radius MEMBER radius_ NOTIFY changed)
    /// Evenly spaced colours; empty for a plain fill.
    Q_PROPERTY(QList<QColor> gradient MEMBER gradient_ NOTIFY changed)

public:
    void paint(QPainter *painter) override;

private:
    QColor borderColor_ = Qt::transparent;
    qreal borderWidth_ = 1;
    qreal radius_ = 0;
    QList<QColor> gradient_;
};

/// Draws a file of icons/ in one colour, with an optional soft shadow. Leaves a margin of twice the
/// shadow's radius around the drawing.
class Symbol : public brindle::Drawing
{
    Q_OBJECT
    QML_ELEMENT
    /// The file's name without its extension.
    Q_PROPERTY(QString name MEMBER name_ NOTIFY changed)
    Q_PROPERTY(QColor shadowColor MEMBER shadowColor_ NOTIFY changed)
    /// In pixels; 0 for none.
    Q_PROPERTY(qreal shadowRadius MEMBER shadowRadius_ NOTIFY changed)

public:
    void paint(QPainter *painter) override;

private:
    QString name_;
    QColor shadowColor_ = Qt::transparent;
    qreal shadowRadius_ = 0;
};

} // namespace brindle
