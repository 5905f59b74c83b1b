#include "ui/SmoothRectangle.h"

#include "ui/SmoothPath.h"

#include <QLinearGradient>
#include <QPainter>

namespace brindle {

SmoothRectangle::SmoothRectangle(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    connect(this, &SmoothRectangle::changed, this, [this] { update(); });
}

void SmoothRectangle::paint(QPainter *painter)
{
    painter->setRenderHint(QPainter::Antialiasing);
    QBrush fill(color_);
    if (gradient_.size() > 1) {
        QLinearGradient gradient(0, 0, width(), height());
        for (qsizetype i = 0; i < gradient_.size(); ++i) {
            gradient.setColorAt(qreal(i) / qreal(gradient_.size() - 1), gradient_.at(i));
        }
        fill = gradient;
    }
    const bool framed = borderWidth_ > 0 && borderColor_.alpha() > 0;
    const QRectF whole(0, 0, width(), height());
    painter->fillPath(SmoothPath::rectangle(whole, radius_), fill);
    if (framed) {
        const qreal inset = borderWidth_ / 2;
        painter->strokePath(
            SmoothPath::rectangle(whole.adjusted(inset, inset, -inset, -inset), radius_ - inset),
            QPen(borderColor_, borderWidth_));
    }
}

} // namespace brindle
