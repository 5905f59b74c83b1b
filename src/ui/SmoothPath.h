#pragma once

#include <QPainterPath>
#include <QRectF>

namespace brindle {

/// Rectangles whose corners have no sudden change of curvature. Stateless.
class SmoothPath
{
public:
    /// `radius` is limited to what the rectangle has room for.
    static QPainterPath rectangle(const QRectF &rectangle, qreal radius);
};

} // namespace brindle
