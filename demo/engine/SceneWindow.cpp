#include "SceneWindow.h"

#include <QPainter>

#include <cmath>

namespace {
constexpr int tile = 40;
constexpr int unitCount = 12;
constexpr int frameMilliseconds = 33;
} // namespace

SceneWindow::SceneWindow(const QString &title)
{
    setTitle(title + QStringLiteral(" (DEBUG)"));
    resize(960, 600);
    running_.start();
    connect(&frames_, &QTimer::timeout, this, [this] { update(); });
    frames_.start(frameMilliseconds);
}

void SceneWindow::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintMap(painter);
    const double seconds = static_cast<double>(running_.elapsed()) / 1000.0;
    paintUnits(painter, seconds);
    painter.setPen(QColor(240, 235, 220));
    painter.drawText(QRect(16, 12, width() - 32, 24), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Crystal  %1     Units  %2")
                         .arg(static_cast<int>(200 + seconds * 7))
                         .arg(unitCount));
}

void SceneWindow::paintMap(QPainter &painter) const
{
    for (int y = 0; y * tile < height(); ++y) {
        for (int x = 0; x * tile < width(); ++x) {
            const double hill = std::sin(x * 0.55) * std::cos(y * 0.7) + std::sin((x + y) * 0.3);
            const int shade = static_cast<int>(hill * 12);
            painter.fillRect(x * tile, y * tile, tile, tile,
                             hill < -1.1 ? QColor(42, 82, 120)
                                         : QColor(62 + shade, 98 + shade, 58 + shade / 2));
        }
    }
}

void SceneWindow::paintUnits(QPainter &painter, double seconds) const
{
    for (int i = 0; i < unitCount; ++i) {
        const bool own = i % 2 == 0;
        const double phase = seconds * (0.25 + i * 0.02) + i * 1.7;
        const QPointF at(width() * (0.5 + 0.4 * std::cos(phase)),
                         height() * (0.52 + 0.36 * std::sin(phase * 1.3)));
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, 60));
        painter.drawEllipse(at + QPointF(2, 9), 13, 6);
        painter.setBrush(own ? QColor(74, 144, 226) : QColor(214, 84, 60));
        painter.drawRoundedRect(QRectF(at.x() - 10, at.y() - 8, 20, 16), 4, 4);
        painter.setBrush(QColor(235, 235, 235));
        painter.drawRect(QRectF(at.x() - 2, at.y() - 2, 14, 3));
    }
}
