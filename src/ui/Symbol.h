#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace brindle {

/// Draws a file of icons/ in one colour, with an optional soft shadow. Leaves a margin of twice the
/// shadow's radius around the drawing.
class Symbol : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    /// The file's name without its extension.
    Q_PROPERTY(QString name MEMBER name_ NOTIFY changed)
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY changed)
    Q_PROPERTY(QColor shadowColor MEMBER shadowColor_ NOTIFY changed)
    /// In pixels; 0 for none.
    Q_PROPERTY(qreal shadowRadius MEMBER shadowRadius_ NOTIFY changed)

public:
    Symbol();

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
