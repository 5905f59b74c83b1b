#include "ui/SoftShadow.h"

#include <QPainter>

#include <algorithm>
#include <vector>

namespace brindle {

namespace {

/// One pass of a moving average along a row or column of `count` pixels, `step` bytes apart.
void average(uchar *first, qsizetype count, qsizetype step, int reach, std::vector<uchar> &copy)
{
    copy.resize(static_cast<size_t>(count));
    for (qsizetype i = 0; i < count; ++i) {
        copy[static_cast<size_t>(i)] = first[i * step];
    }
    const auto at = [&](qsizetype i) {
        return i >= 0 && i < count ? static_cast<int>(copy[static_cast<size_t>(i)]) : 0;
    };
    int sum = 0;
    for (int i = -reach; i <= reach; ++i) {
        sum += at(i);
    }
    for (qsizetype i = 0; i < count; ++i) {
        first[i * step] = static_cast<uchar>(sum / (2 * reach + 1));
        sum += at(i + reach + 1) - at(i - reach);
    }
}

} // namespace

QImage SoftShadow::of(const QPainterPath &path, const QColor &color, qreal radius,
                      const QSize &size)
{
    QImage mask(size, QImage::Format_Alpha8);
    mask.fill(0);
    {
        QPainter painter(&mask);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(path, Qt::black);
    }
    // Three averages in a row come close to a bell curve.
    constexpr int passes = 3;
    const int reach = std::max(1, qRound(radius / passes));
    std::vector<uchar> copy;
    uchar *const bits = mask.bits();
    const qsizetype stride = mask.bytesPerLine();
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < mask.height(); ++y) {
            average(bits + y * stride, mask.width(), 1, reach, copy);
        }
        for (int x = 0; x < mask.width(); ++x) {
            average(bits + x, mask.height(), stride, reach, copy);
        }
    }
    QImage shadow(size, QImage::Format_ARGB32_Premultiplied);
    shadow.fill(color);
    QPainter painter(&shadow);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    painter.drawImage(0, 0, mask);
    return shadow;
}

} // namespace brindle
