#pragma once

#include <QColor>
#include <QImage>
#include <QPainterPath>
#include <QSize>

namespace brindle {

/// Blurred silhouettes. Stateless.
class SoftShadow
{
public:
    /// The silhouette of `path` in `color`, blurred by `radius`, in an image of `size`; all in
    /// device pixels.
    static QImage of(const QPainterPath &path, const QColor &color, qreal radius,
                     const QSize &size);
};

} // namespace brindle
