#include "SceneWindow.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <numbers>

namespace {

// The scene is laid out on a field of this size and scaled to the window's.
constexpr QSizeF field(1152, 648);
constexpr int frameMilliseconds = 33;
constexpr double millisecondsPerSecond = 1000;
constexpr int unitsPerSide = 7;
constexpr int crystalCount = 16;

const QColor ownColour(0x4a, 0x90, 0xe2);
const QColor enemyColour(0xd6, 0x54, 0x3c);
const QColor harvesterColour(0xe0, 0xb8, 0x4c);
const QColor crystalColour(0x7f, 0xe3, 0xd4);
const QColor textColour(0xf2, 0xea, 0xd8);
const QPointF ownBase(180, 500);
const QPointF enemyBase(960, 150);
const QPointF crystals(520, 300);

struct Unit
{
    QPointF at;
    double heading = 0; ///< in degrees
    bool own = false;
    bool harvester = false;
};

/// How far a point is from the line between two others.
double distanceToLine(const QPointF &point, const QPointF &from, const QPointF &to)
{
    const QPointF way = to - from;
    const QPointF own = point - from;
    const double part =
        std::clamp(QPointF::dotProduct(own, way) / QPointF::dotProduct(way, way), 0.0, 1.0);
    const QPointF off = own - way * part;
    return std::hypot(off.x(), off.y());
}

/// The height of the ground: a few waves across each other, and dry land where the units drive.
double heightAt(double x, double y)
{
    constexpr double dryWidth = 260;
    const double away = std::min(distanceToLine({x, y}, ownBase, crystals),
                                 distanceToLine({x, y}, crystals, enemyBase)) /
                        dryWidth;
    return std::sin(x * 0.011 + 1.3) * std::cos(y * 0.013) + 0.6 * std::sin((x + 2 * y) * 0.006) +
           0.25 * std::sin(x * 0.037) * std::sin(y * 0.041) + 1.1 * std::exp(-away * away);
}

QColor mixed(const QColor &a, const QColor &b, double part)
{
    const double p = std::clamp(part, 0.0, 1.0);
    return QColor::fromRgbF(static_cast<float>(a.redF() + (b.redF() - a.redF()) * p),
                            static_cast<float>(a.greenF() + (b.greenF() - a.greenF()) * p),
                            static_cast<float>(a.blueF() + (b.blueF() - a.blueF()) * p));
}

QColor groundAt(double x, double y)
{
    const double height = heightAt(x, y);
    const QColor water =
        mixed(QColor(0x1f, 0x45, 0x63), QColor(0x3f, 0x7d, 0x9a), (height + 1.6) / 0.85);
    const QColor land =
        mixed(QColor(0x3f, 0x62, 0x36), QColor(0x86, 0x8a, 0x52), (height + 0.65) / 2.4);
    // Soft shores.
    const QColor shore = mixed(water, QColor(0xb9, 0xa8, 0x78), (height + 0.78) / 0.05);
    return mixed(shore, land, (height + 0.68) / 0.05);
}

/// Where unit `index` of a side is: harvesters between base and crystals, tanks on patrol.
Unit unitAt(int index, bool own, double seconds)
{
    Unit unit;
    unit.own = own;
    unit.harvester = own && index < 2;
    const QPointF base = own ? ownBase : enemyBase;
    const auto place = [&](double time) {
        if (unit.harvester) {
            const double part = 0.5 - 0.5 * std::cos(time * 0.5 + index * 2.2);
            return base + (crystals - base) * part + QPointF(0, index * 26);
        }
        const double phase = time * (0.16 + 0.015 * index) + index * 1.1 + (own ? 0 : 2);
        const QPointF centre = base + (own ? QPointF(260, -130) : QPointF(-260, 150));
        return centre + QPointF((90 + 22 * index) * std::cos(phase),
                                (50 + 14 * index) * std::sin(phase * 1.2));
    };
    constexpr double soon = 0.05;
    unit.at = place(seconds);
    const QPointF way = place(seconds + soon) - unit.at;
    unit.heading = std::atan2(way.y(), way.x()) * 180 / std::numbers::pi;
    return unit;
}

QString elapsedText(double seconds)
{
    const int whole = static_cast<int>(seconds);
    return QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

SceneWindow::SceneWindow(const QString &name)
{
    setTitle(name + QStringLiteral(" (DEBUG)"));
    resize(field.toSize());
    running_.start();
    connect(&frames_, &QTimer::timeout, this, [this] { update(); });
    frames_.start(frameMilliseconds);
}

void SceneWindow::paintEvent(QPaintEvent * /*event*/)
{
    const double seconds = static_cast<double>(running_.elapsed()) / millisecondsPerSecond;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintGround(painter);
    painter.scale(width() / field.width(), height() / field.height());
    paintCrystals(painter, seconds);
    paintBase(painter, ownBase, ownColour);
    paintBase(painter, enemyBase, enemyColour);
    paintUnits(painter, seconds);
    // Dusk comes and goes.
    const int dusk = static_cast<int>(45 - 45 * std::cos(seconds * 0.08));
    painter.fillRect(QRectF({}, field), QColor(24, 28, 70, dusk));
    paintBar(painter, seconds);
    paintMinimap(painter, seconds);
}

void SceneWindow::paintGround(QPainter &painter)
{
    if (ground_.size() != size()) {
        // A quarter of the detail, smoothly enlarged: looks the same and takes a sixteenth.
        QImage small((width() + 3) / 4, (height() + 3) / 4, QImage::Format_RGB32);
        for (int y = 0; y < small.height(); ++y) {
            for (int x = 0; x < small.width(); ++x) {
                small.setPixelColor(x, y,
                                    groundAt(x * field.width() / small.width(),
                                             y * field.height() / small.height()));
            }
        }
        ground_ = small.scaled(size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    painter.drawImage(0, 0, ground_);
}

void SceneWindow::paintCrystals(QPainter &painter, double seconds) const
{
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < crystalCount; ++i) {
        const double angle = i * 2.4;
        const QPointF at = crystals + QPointF(std::cos(angle), std::sin(angle)) * (10 + 5.5 * i);
        const double glint = 0.5 + 0.5 * std::sin(seconds * 2 + i);
        painter.setBrush(mixed(crystalColour.darker(130), crystalColour.lighter(125), glint));
        painter.drawPolygon(QPolygonF(
            {at + QPointF(0, -11), at + QPointF(6, 0), at + QPointF(0, 8), at + QPointF(-6, 0)}));
    }
}

void SceneWindow::paintBase(QPainter &painter, const QPointF &at, const QColor &colour) const
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 80));
    painter.drawRoundedRect(QRectF(at + QPointF(-44, -28), QSizeF(100, 74)), 8, 8);
    painter.setBrush(QColor(0x3a, 0x3f, 0x4a));
    painter.drawRoundedRect(QRectF(at + QPointF(-50, -36), QSizeF(100, 74)), 8, 8);
    painter.setBrush(colour);
    painter.drawRoundedRect(QRectF(at + QPointF(-50, -36), QSizeF(100, 16)), 6, 6);
    painter.setBrush(colour.darker(150));
    painter.drawEllipse(at + QPointF(0, 10), 17, 17);
    painter.setBrush(colour.lighter(130));
    painter.drawEllipse(at + QPointF(0, 10), 9, 9);
}

void SceneWindow::paintUnits(QPainter &painter, double seconds) const
{
    for (int i = 0; i < 2 * unitsPerSide; ++i) {
        const Unit unit = unitAt(i / 2, i % 2 == 0, seconds);
        const QColor colour =
            unit.harvester ? harvesterColour : (unit.own ? ownColour : enemyColour);
        painter.save();
        painter.translate(unit.at);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, 70));
        painter.drawEllipse(QPointF(2, 5), 16, 10);
        painter.rotate(unit.heading);
        painter.setBrush(QColor(0x22, 0x26, 0x2c));
        painter.drawRoundedRect(QRectF(-15, -11, 30, 22), 3, 3);
        painter.setBrush(colour);
        painter.drawRoundedRect(QRectF(-14, -8, 28, 16), 4, 4);
        if (unit.harvester) {
            painter.setBrush(crystalColour);
            painter.drawRect(QRectF(-10, -4, 9, 8));
        } else {
            painter.setBrush(QColor(0xe8, 0xe8, 0xe8));
            painter.drawRect(QRectF(2, -1.5, 18, 3));
            painter.setBrush(colour.darker(140));
            painter.drawEllipse(QPointF(0, 0), 6, 6);
        }
        painter.restore();
    }
}

void SceneWindow::paintBar(QPainter &painter, double seconds) const
{
    constexpr double barHeight = 40;
    painter.fillRect(QRectF(0, 0, field.width(), barHeight), QColor(15, 20, 30, 190));
    QFont font = painter.font();
    font.setPixelSize(18);
    painter.setFont(font);
    painter.setPen(textColour);
    const QRectF inner(20, 0, field.width() - 40, barHeight);
    painter.drawText(inner, Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Crystal %1      Score %2      Tanks %3")
                         .arg(200 + static_cast<int>(seconds * 6) / 20 * 20)
                         .arg(static_cast<int>(seconds * 6) / 20 * 200)
                         .arg(unitsPerSide - 2));
    painter.drawText(inner, Qt::AlignRight | Qt::AlignVCenter, elapsedText(seconds));
}

void SceneWindow::paintMinimap(QPainter &painter, double seconds) const
{
    const QRectF map(field.width() - 226, field.height() - 136, 206, 116);
    painter.setOpacity(0.92);
    painter.drawImage(map, ground_);
    painter.setOpacity(1);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(255, 255, 255, 130), 1.5));
    painter.drawRect(map);
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 2 * unitsPerSide; ++i) {
        const Unit unit = unitAt(i / 2, i % 2 == 0, seconds);
        painter.setBrush((unit.own ? ownColour : enemyColour).lighter(125));
        painter.drawEllipse(map.topLeft() + QPointF(unit.at.x() / field.width() * map.width(),
                                                    unit.at.y() / field.height() * map.height()),
                            3, 3);
    }
}
