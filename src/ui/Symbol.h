#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace brindle {

/// One of the drawings in icons/, fitted into the item and filled with one colour, with an optional
/// soft shadow. The shadow may reach beyond the drawing by twice its radius, so the item leaves
/// that margin.
class Symbol : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    /// The drawing's file without its ending; empty for none.
    Q_PROPERTY(QString name MEMBER name_ NOTIFY changed)
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY changed)
    Q_PROPERTY(QColor shadowColor MEMBER shadowColor_ NOTIFY changed)
    /// In pixels; 0 for none.
    Q_PROPERTY(qreal shadowRadius MEMBER shadowRadius_ NOTIFY changed)

public:
    explicit Symbol(QQuickItem *parent = nullptr);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    QString name_;
    QColor color_ = Qt::black;
    QColor shadowColor_ = Qt::transparent;
    qreal shadowRadius_ = 0;
};

} // namespace brindle
