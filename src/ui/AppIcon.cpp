#include "ui/AppIcon.h"

#include "ui/Drawing.h"
#include "ui/SmoothPath.h"

#include <QLinearGradient>
#include <QPainter>
#include <QTransform>

#include <array>

namespace brindle {

namespace {

// All measures for a side of 1: a margin that leaves room among other icons, the corners' radius,
// and the flags' place.
constexpr qreal margin = 0.055;
constexpr qreal radius = 0.2;
constexpr qreal flags = 0.62;

struct Stop
{
    qreal place;
    QColor colour;
};
const std::array stops{Stop{0, QColor::fromRgbF(0.08F, 0.12F, 0.30F)},
                       Stop{0.5, QColor::fromRgbF(0.55F, 0.20F, 0.35F)},
                       Stop{1, QColor::fromRgbF(0.95F, 0.55F, 0.20F)}};

QPainterPath tile()
{
    return SmoothPath::rectangle(QRectF(0, 0, 1, 1).adjusted(margin, margin, -margin, -margin),
                                 radius);
}

QPainterPath symbol()
{
    constexpr qreal corner = (1 - flags) / 2;
    return QTransform()
        .translate(corner, corner)
        .scale(flags, flags)
        .map(Drawing::path(Drawing::Shape::CrossedFlags));
}

/// An outline as SVG's path data (SVG 1.1, section 8.3).
QByteArray pathData(const QPainterPath &path)
{
    const auto point = [](const QPainterPath::Element &element) {
        return QByteArray::number(element.x, 'f', 2) + ' ' + QByteArray::number(element.y, 'f', 2);
    };
    QByteArray data;
    for (int i = 0; i < path.elementCount(); ++i) {
        const auto element = path.elementAt(i);
        if (element.isMoveTo()) {
            data += (i > 0 ? "Z M" : "M") + point(element);
        } else if (element.isLineTo()) {
            data += " L" + point(element);
        } else {
            data += " C" + point(element) + ' ' + point(path.elementAt(i + 1)) + ' ' +
                    point(path.elementAt(i + 2));
            i += 2;
        }
    }
    return data + 'Z';
}

} // namespace

QIcon AppIcon::icon()
{
    QIcon icon;
    for (const int side : {16, 24, 32, 48, 64, 128}) {
        icon.addPixmap(QPixmap::fromImage(image(side)));
    }
    return icon;
}

QImage AppIcon::image(int side)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(side, side);
    QLinearGradient gradient(margin, margin, 1 - margin, 1 - margin);
    for (const Stop &stop : stops) {
        gradient.setColorAt(stop.place, stop.colour);
    }
    painter.fillPath(tile(), gradient);
    painter.fillPath(symbol(), Qt::white);
    return image;
}

QByteArray AppIcon::svg()
{
    constexpr qreal side = 512;
    const QTransform scale = QTransform::fromScale(side, side);
    const QByteArray begin = QByteArray::number(margin * side);
    const QByteArray end = QByteArray::number((1 - margin) * side);
    QByteArray svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"512\" height=\"512\" "
                     "viewBox=\"0 0 512 512\">\n"
                     "  <defs>\n"
                     "    <linearGradient id=\"dusk\" gradientUnits=\"userSpaceOnUse\" x1=\"" +
                     begin + "\" y1=\"" + begin + "\" x2=\"" + end + "\" y2=\"" + end + "\">\n";
    for (const Stop &stop : stops) {
        svg += "      <stop offset=\"" + QByteArray::number(stop.place) + "\" stop-color=\"" +
               stop.colour.name().toLatin1() + "\"/>\n";
    }
    svg += "    </linearGradient>\n"
           "  </defs>\n"
           "  <path fill=\"url(#dusk)\" d=\"" +
           pathData(scale.map(tile())) +
           "\"/>\n"
           "  <path fill=\"#ffffff\" d=\"" +
           pathData(scale.map(symbol())) + "\"/>\n</svg>\n";
    return svg;
}

} // namespace brindle
