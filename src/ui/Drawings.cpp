#include "ui/Drawings.h"

#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QSvgRenderer>
#include <QtMath>

#include <algorithm>

namespace brindle {

namespace {

/// The distance from a corner to the start of its curve, for a radius of 1.
constexpr qreal reach = 1.52866;

/// Returns a rectangle whose corners pass smoothly into the edges, without a jump in curvature.
/// Limits `radius` to half the shorter side.
QPainterPath outline(const QRectF &rectangle, qreal radius)
{
    QPainterPath path;
    const qreal room = std::min(rectangle.width(), rectangle.height()) / 2;
    if (radius * reach > room) {
        // Smooth corners need more room, so draw plain arcs.
        path.addRoundedRect(rectangle, std::min(radius, room), std::min(radius, room));
        return path;
    }
    const QPointF corners[] = {rectangle.topRight(), rectangle.bottomRight(),
                               rectangle.bottomLeft(), rectangle.topLeft()};
    path.moveTo(rectangle.left() + radius * reach, rectangle.top());
    for (int quarter = 0; quarter < 4; ++quarter) {
        // In the corner's own coordinates the corner is the origin, and the path comes along the x
        // axis.
        const QTransform place = QTransform()
                                     .translate(corners[quarter].x(), corners[quarter].y())
                                     .rotate(90 * quarter)
                                     .scale(-radius, radius);
        const auto at = [&place](qreal x, qreal y) { return place.map(QPointF(x, y)); };
        path.lineTo(at(reach, 0));
        path.cubicTo(at(1.08849, 0), at(0.86841, 0), at(0.63149, 0.07491));
        path.cubicTo(at(0.37282, 0.16906), at(0.16906, 0.37282), at(0.07491, 0.63149));
        path.cubicTo(at(0, 0.86841), at(0, 1.08849), at(0, reach));
    }
    path.closeSubpath();
    return path;
}

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

Drawing::Drawing()
{
    setAntialiasing(true);
    connect(this, &Drawing::changed, this, [this] { update(); });
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
    const QRectF whole(0, 0, width(), height());
    painter->fillPath(outline(whole, radius_), fill);
    if (borderColor_.alpha() > 0) {
        const qreal inset = borderWidth_ / 2;
        painter->strokePath(outline(whole.adjusted(inset, inset, -inset, -inset), radius_ - inset),
                            QPen(borderColor_, borderWidth_));
    }
}

void Symbol::paint(QPainter *painter)
{
    QSvgRenderer drawing(
        QStringLiteral(":/qt-project.org/imports/Brindle/icons/%1.svg").arg(name_));
    drawing.setAspectRatioMode(Qt::KeepAspectRatio);
    // Draw in the screen's own pixels, which may be smaller than the item's.
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
