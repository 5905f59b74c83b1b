#include "ui/Symbol.h"

#include "ui/SoftShadow.h"

#include <QPainter>
#include <QPainterPathStroker>
#include <QTransform>

#include <algorithm>

namespace brindle {

namespace {

// All drawings lie in a square of this side: the corners of strokes are rounded coarsely in small
// ones.
constexpr qreal canvas = 1000;

/// The same outline with its corners rounded.
QPainterPath rounded(const QPainterPath &path, qreal radius)
{
    QPainterPathStroker stroker;
    stroker.setWidth(2 * radius);
    stroker.setJoinStyle(Qt::RoundJoin);
    return path.united(stroker.createStroke(path));
}

/// A flag on its upright pole, its cloth flying to the left in one wave.
QPainterPath flag()
{
    QPainterPath pole;
    pole.moveTo(0, -500);
    pole.lineTo(0, 560);
    QPainterPathStroker stroker;
    stroker.setWidth(64);
    stroker.setCapStyle(Qt::RoundCap);

    QPainterPath cloth;
    cloth.moveTo(0, -450);
    cloth.cubicTo(-200, -580, -360, -300, -600, -430);
    cloth.lineTo(-600, -20);
    cloth.cubicTo(-360, 110, -200, -170, 0, -40);
    cloth.closeSubpath();
    return stroker.createStroke(pole).united(rounded(cloth, 20));
}

QPainterPath crossedFlags()
{
    // The poles cross below their middles.
    const QPainterPath left = QTransform().translate(-115, 0).rotate(-28).map(flag());
    const QPainterPath right = QTransform::fromScale(-1, 1).map(left);
    const QPainterPath both = left.united(right);
    const QRectF bounds = both.boundingRect();
    const qreal side = std::max(bounds.width(), bounds.height());
    return QTransform()
        .translate(canvas / 2, canvas / 2)
        .scale(canvas / side, canvas / side)
        .translate(-bounds.center().x(), -bounds.center().y())
        .map(both);
}

QPainterPath bolt()
{
    QPainterPath path;
    path.moveTo(600, 30);
    path.lineTo(170, 570);
    path.lineTo(470, 570);
    path.lineTo(400, 970);
    path.lineTo(830, 420);
    path.lineTo(530, 420);
    path.closeSubpath();
    return rounded(path, 25);
}

QPainterPath play()
{
    QPainterPath path;
    path.moveTo(220, 140);
    path.lineTo(860, 500);
    path.lineTo(220, 860);
    path.closeSubpath();
    return rounded(path, 60);
}

} // namespace

Symbol::Symbol(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    connect(this, &Symbol::changed, this, [this] { update(); });
}

QPainterPath Symbol::path(Shape shape)
{
    const auto drawing = [shape] {
        switch (shape) {
        case Shape::CrossedFlags:
            return crossedFlags();
        case Shape::Bolt:
            return bolt();
        case Shape::Play:
            return play();
        }
        Q_UNREACHABLE();
    };
    return QTransform::fromScale(1 / canvas, 1 / canvas).map(drawing());
}

void Symbol::paint(QPainter *painter)
{
    const qreal margin = 2 * shadowRadius_;
    const qreal side = std::min(width(), height()) - 2 * margin;
    const QTransform fit =
        QTransform().translate((width() - side) / 2, (height() - side) / 2).scale(side, side);
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
