#include "ui/SmoothPath.h"

#include <QTransform>

#include <algorithm>

namespace brindle {

namespace {

/// How far along an edge a corner of radius 1 begins to bend.
constexpr qreal reach = 1.52866;

/// The top right corner of radius 1, with its point at the origin, from the top edge to the right
/// one: a circle's arc whose ends ease into the straight lines.
void addCorner(QPainterPath &path, const QTransform &place)
{
    const auto at = [&place](qreal x, qreal y) { return place.map(QPointF(-x, y)); };
    path.lineTo(at(reach, 0));
    path.cubicTo(at(1.08849, 0), at(0.86841, 0), at(0.63149, 0.07491));
    path.cubicTo(at(0.37282, 0.16906), at(0.16906, 0.37282), at(0.07491, 0.63149));
    path.cubicTo(at(0, 0.86841), at(0, 1.08849), at(0, reach));
}

} // namespace

QPainterPath SmoothPath::rectangle(const QRectF &rectangle, qreal radius)
{
    QPainterPath path;
    const qreal room = std::min(rectangle.width(), rectangle.height()) / 2;
    if (radius <= 0 || room <= 0) {
        path.addRect(rectangle);
        return path;
    }
    if (radius * reach > room) {
        // No room to ease in: a plain arc, which goes over into the eased one as room grows.
        path.addRoundedRect(rectangle, std::min(radius, room), std::min(radius, room));
        return path;
    }
    const auto corner = [&](const QPointF &point, int quarter) {
        return QTransform()
            .translate(point.x(), point.y())
            .rotate(90 * quarter)
            .scale(radius, radius);
    };
    path.moveTo(rectangle.left() + radius * reach, rectangle.top());
    addCorner(path, corner(rectangle.topRight(), 0));
    addCorner(path, corner(rectangle.bottomRight(), 1));
    addCorner(path, corner(rectangle.bottomLeft(), 2));
    addCorner(path, corner(rectangle.topLeft(), 3));
    path.closeSubpath();
    return path;
}

} // namespace brindle
