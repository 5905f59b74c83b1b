// Tests that symbols and corners are drawn evenly, in their colours.

#include "ui/Drawings.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

QImage transparent(int side)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

/// Paints a symbol of size `side`, in a picture `ratio` times as large.
QImage painted(const QString &name, int side, int ratio, const QVariantMap &properties)
{
    Symbol symbol;
    symbol.setSize(QSizeF(side, side));
    symbol.setProperty("name", name);
    for (auto it = properties.begin(); it != properties.end(); ++it) {
        symbol.setProperty(it.key().toLatin1().constData(), it.value());
    }
    QImage image = transparent(side * ratio);
    QPainter painter(&image);
    painter.scale(ratio, ratio);
    symbol.paint(&painter);
    return image;
}

/// Returns the mean weight of the picture's pixels. Each weight is from 0 to 1.
double share(const QImage &image, const std::function<double(QColor)> &weight)
{
    double sum = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            sum += weight(image.pixelColor(x, y));
        }
    }
    return sum / (image.width() * image.height());
}

double covered(const QImage &image)
{
    return share(image, [](QColor colour) { return colour.alphaF(); });
}

} // namespace

class TestIcons : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(u"."_s)); }

    void cornersAreEven()
    {
        SmoothRectangle tile;
        tile.setSize({100, 100});
        tile.setProperty("radius", 30);
        tile.setProperty("borderColor", QColor(Qt::black));
        tile.setProperty("color", QColor(Qt::black));
        QImage image = transparent(100);
        QPainter painter(&image);
        tile.paint(&painter);
        painter.end();
        const auto differs = [&image](const QImage &other, int x, int y) {
            return std::abs(qAlpha(image.pixel(x, y)) - qAlpha(other.pixel(x, y))) > 8;
        };
        const QImage turned = image.transformed(QTransform().rotate(90));
        const QImage mirrored = image.mirrored();
        for (int x = 0; x < 100; ++x) {
            for (int y = 0; y < 100; ++y) {
                QVERIFY(!differs(turned, x, y) && !differs(mirrored, x, y));
            }
        }
        // A circle of the same radius meets the diagonal at nearly the same point.
        QCOMPARE(qAlpha(image.pixel(7, 7)), 0);
        QCOMPARE(qAlpha(image.pixel(10, 10)), 255);
    }

    void symbolsAreOfOneColour()
    {
        const QColor colour(0, 128, 255);
        for (const auto &name : {u"bolt"_s, u"check"_s, u"flags"_s, u"play"_s}) {
            for (const int ratio : {1, 2}) {
                const QImage image = painted(name, 100, ratio, {{u"color"_s, colour}});
                const double whole = covered(image);
                QVERIFY2(whole > 0.1 && whole < 0.6, qPrintable(name));
                QCOMPARE(share(image, [&](QColor c) { return c.alpha() == 255 && c != colour; }),
                         0.0);
                // A translucent symbol must cover the same pixels.
                const QImage faint =
                    painted(name, 100, ratio, {{u"color"_s, QColor(255, 255, 255, 128)}});
                QVERIFY(std::abs(covered(faint) - whole * 128 / 255) < 0.005);
            }
        }
    }

    void aShadowLiesAroundTheSymbol()
    {
        constexpr int side = 124; // 100 for the drawing, the rest for the shadow
        const QColor black(0, 0, 0, 84);
        for (const int ratio : {1, 2}) {
            const auto play = [ratio](const QColor &colour, const QColor &shadow) {
                return painted(
                    u"play"_s, side, ratio,
                    {{u"color"_s, colour}, {u"shadowRadius"_s, 6.0}, {u"shadowColor"_s, shadow}});
            };
            // The shadow must cover as much as the symbol, but spread out. No edge may cut it off.
            const QImage shadow = play(Qt::transparent, black);
            const double whole = covered(play(Qt::black, Qt::transparent)) * black.alphaF();
            QVERIFY(std::abs(covered(shadow) - whole) < 0.02 * whole);
            for (int i = 0; i < shadow.width(); ++i) {
                QCOMPARE(qAlpha(shadow.pixel(0, i)), 0);
                QCOMPARE(qAlpha(shadow.pixel(i, 0)), 0);
            }
            // The shadow must be full inside, half at the straight left edge, and fainter outside.
            const auto alpha = [&](int x) {
                return qAlpha(shadow.pixel(x * ratio, shadow.height() / 2));
            };
            const int edge = 12 + 16;
            QVERIFY(std::abs(alpha(side / 2) - black.alpha()) <= 1);
            QVERIFY(std::abs(alpha(edge) - black.alpha() / 2) < 16);
            QVERIFY(alpha(edge - 3) < alpha(edge) && alpha(edge - 3) > 0);
        }
    }
};

QTEST_MAIN(TestIcons)
#include "tst_icons.moc"
