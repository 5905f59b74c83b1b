#include "ui/Symbol.h"

#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <QtMath>

#include <algorithm>

namespace brindle {

namespace {

/// Draws the icon's outline in one colour.
QImage silhouette(QSvgRenderer &drawing, const QRectF &place, const QSize &size,
                  const QColor &color)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawing.render(&painter, place);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    return image;
}

/// Blurs by scaling down and up again.
QImage blurred(const QImage &image, qreal radius)
{
    const QSize small = image.size() / std::max(1.0, radius);
    return image.scaled(small, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .scaled(image.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

} // namespace

Symbol::Symbol()
{
    setAntialiasing(true);
    connect(this, &Symbol::changed, this, [this] { update(); });
}

void Symbol::paint(QPainter *painter)
{
    QSvgRenderer drawing(
        QStringLiteral(":/qt-project.org/imports/Brindle/icons/%1.svg").arg(name_));
    drawing.setAspectRatioMode(Qt::KeepAspectRatio);
    // The sizes below are in the screen's pixels.
    const qreal ratio = painter->transform().m11();
    const QSizeF exact = size() * ratio;
    const QSize pixels(qCeil(exact.width()), qCeil(exact.height()));
    const QRectF whole({}, QSizeF(pixels) / ratio);
    const qreal margin = 2 * shadowRadius_ * ratio;
    const QRectF place = QRectF({}, exact).adjusted(margin, margin, -margin, -margin);
    if (shadowRadius_ > 0) {
        const QImage shadow = silhouette(drawing, place, pixels, shadowColor_);
        painter->drawImage(whole, blurred(shadow, shadowRadius_ * ratio));
    }
    painter->drawImage(whole, silhouette(drawing, place, pixels, color_));
}

} // namespace brindle
