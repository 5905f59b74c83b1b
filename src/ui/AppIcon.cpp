#include "ui/AppIcon.h"

#include "ui/SmoothPath.h"
#include "ui/Symbol.h"
#include "ui/Theme.h"

#include <QLinearGradient>
#include <QPainter>
#include <QTransform>

namespace brindle {

namespace {

// All measures for a side of 1: a margin that leaves room among other icons, the corners' radius,
// and the flags' place.
constexpr qreal margin = 0.055;
constexpr qreal radius = 0.2;
constexpr qreal flags = 0.62;

/// Where a colour of the banner stands in the icon's gradient, which is the banner's.
struct Stop
{
    qreal place;
    QColor colour;
};

QList<Stop> stops()
{
    const QList<QColor> colours = Theme::banner();
    QList<Stop> result;
    for (const QColor &colour : colours) {
        result.append({qreal(result.size()) / qreal(colours.size() - 1), colour});
    }
    return result;
}

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
        .map(Symbol::path(Symbol::Shape::CrossedFlags));
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
    const QList<Stop> all = stops();
    for (const Stop &stop : all) {
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
    const QList<Stop> all = stops();
    for (const Stop &stop : all) {
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
