#include "ui/Drawing.h"

#include "ui/SoftShadow.h"

#include <QPainter>
#include <QPainterPathStroker>
#include <QTransform>

namespace brindle {

namespace {

/// A flag on its pole, leaning to the left, its cloth flying outward.
QPainterPath flag()
{
    QPainterPath pole;
    pole.moveTo(0, -0.46);
    pole.lineTo(0, 0.52);
    QPainterPathStroker stroker;
    stroker.setWidth(0.062);
    stroker.setCapStyle(Qt::RoundCap);

    QPainterPath cloth;
    cloth.moveTo(0, -0.44);
    cloth.cubicTo(-0.14, -0.53, -0.28, -0.37, -0.47, -0.46);
    cloth.cubicTo(-0.50, -0.475, -0.525, -0.455, -0.525, -0.42);
    cloth.lineTo(-0.525, -0.07);
    cloth.cubicTo(-0.525, -0.04, -0.51, -0.03, -0.48, -0.02);
    cloth.cubicTo(-0.30, 0.04, -0.16, -0.09, 0, 0.00);
    cloth.closeSubpath();
    return stroker.createStroke(pole).united(cloth);
}

QPainterPath crossedFlags()
{
    const QPainterPath left = QTransform().translate(0.385, 0.5).rotate(-30).map(flag());
    const QPainterPath right = QTransform().translate(1, 0).scale(-1, 1).map(left);
    return left.united(right);
}

QPainterPath bolt()
{
    QPainterPath path;
    path.moveTo(0.60, 0.03);
    path.lineTo(0.17, 0.57);
    path.lineTo(0.47, 0.57);
    path.lineTo(0.40, 0.97);
    path.lineTo(0.83, 0.42);
    path.lineTo(0.53, 0.42);
    path.closeSubpath();
    QPainterPathStroker stroker;
    stroker.setWidth(0.05);
    stroker.setJoinStyle(Qt::RoundJoin);
    return path.united(stroker.createStroke(path));
}

QPainterPath play()
{
    QPainterPath path;
    path.moveTo(0.22, 0.14);
    path.lineTo(0.86, 0.50);
    path.lineTo(0.22, 0.86);
    path.closeSubpath();
    QPainterPathStroker stroker;
    stroker.setWidth(0.12);
    stroker.setJoinStyle(Qt::RoundJoin);
    return path.united(stroker.createStroke(path));
}

} // namespace

Drawing::Drawing(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    connect(this, &Drawing::changed, this, [this] { update(); });
}

QPainterPath Drawing::path(Shape shape)
{
    switch (shape) {
    case Shape::CrossedFlags: return crossedFlags();
    case Shape::Bolt: return bolt();
    case Shape::Play: return play();
    }
    Q_UNREACHABLE();
}

void Drawing::paint(QPainter *painter)
{
    const qreal margin = 2 * shadowRadius_;
    const qreal side = std::min(width(), height()) - 2 * margin;
    const QTransform fit = QTransform()
                               .translate((width() - side) / 2, (height() - side) / 2)
                               .scale(side, side);
    const QPainterPath drawing = fit.map(path(shape_));
    if (shadowRadius_ > 0) {
        const qreal ratio = painter->transform().m11();
        QImage shadow =
            SoftShadow::of(QTransform::fromScale(ratio, ratio).map(drawing), shadowColor_,
                           shadowRadius_ * ratio, (size() * ratio).toSize());
        painter->drawImage(QRectF(0, 0, width(), height()), shadow);
    }
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(drawing, color_);
}

} // namespace brindle
