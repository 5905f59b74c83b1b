// The drawings: the application's icon, and the symbols in the colours that a view gives them.

#include "ui/Symbol.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
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

/// A symbol as an item of that size, painted `ratio` times as large.
QImage painted(const char *name, int side, const QVariantMap &properties, int ratio = 1)
{
    Symbol symbol;
    symbol.setSize(QSizeF(side, side));
    symbol.setProperty("name", QLatin1String(name));
    for (auto it = properties.begin(); it != properties.end(); ++it) {
        symbol.setProperty(it.key().toLatin1().constData(), it.value());
    }
    QImage image = transparent(side * ratio);
    QPainter painter(&image);
    painter.scale(ratio, ratio);
    symbol.paint(&painter);
    return image;
}

/// How much of the picture is covered, 0 to 1.
double covered(const QImage &image)
{
    double sum = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            sum += qAlpha(image.pixel(x, y)) / 255.0;
        }
    }
    return sum / (image.width() * image.height());
}

} // namespace

class TestIcons : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(u"."_s)); }

    void theApplicationsIcon_data()
    {
        QTest::addColumn<int>("side");
        for (const int side : {16, 24, 32, 48, 64, 128, 256, 512, 1024}) {
            QTest::addRow("%d", side) << side;
        }
    }

    void theApplicationsIcon()
    {
        QFETCH(const int, side);
        QSvgRenderer drawing(u":/qt-project.org/imports/Brindle/icons/brindle.svg"_s);
        QVERIFY(drawing.isValid());
        QImage image = transparent(side);
        QPainter painter(&image);
        drawing.render(&painter);
        painter.end();
        // Round corners, and a tile that goes from dark blue to orange below flags nearly white.
        QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
        QCOMPARE(image.pixelColor(side - 1, side - 1).alpha(), 0);
        const QColor first = image.pixelColor(side / 4, side / 8);
        const QColor last = image.pixelColor(side * 13 / 16, side * 13 / 16);
        QVERIFY(first.alpha() > 250);
        QVERIFY(last.alpha() > 250);
        QVERIFY(first.blue() > first.red());
        QVERIFY(last.red() > last.blue());
        int white = 0;
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                white += image.pixelColor(x, y).lightness() > 160 ? 1 : 0;
            }
        }
        QVERIFY2(white > side * side / 20 && white < side * side / 2,
                 qPrintable(QString::number(white)));
    }

    void symbolsAreOfOneColour_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<int>("side");
        QTest::addColumn<int>("ratio");
        for (const char *name : {"bolt", "flags", "play"}) {
            for (const int ratio : {1, 2}) {
                QTest::addRow("%s %d", name, ratio) << QByteArray(name) << 100 << ratio;
            }
        }
    }

    void symbolsAreOfOneColour()
    {
        QFETCH(const QByteArray, name);
        QFETCH(const int, side);
        QFETCH(const int, ratio);
        const QColor colour(0, 128, 255);
        const QImage image = painted(name.constData(), side, {{u"color"_s, colour}}, ratio);
        const double share = covered(image);
        QVERIFY2(share > 0.15 && share < 0.6, qPrintable(QString::number(share)));
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (qAlpha(image.pixel(x, y)) == 255) {
                    QCOMPARE(image.pixelColor(x, y), colour);
                }
            }
        }
        // Whatever its colour, and however translucent, it covers the same.
        const QImage faint =
            painted(name.constData(), side, {{u"color"_s, QColor(255, 255, 255, 128)}}, ratio);
        QVERIFY(std::abs(covered(faint) - share * 128 / 255) < 0.005);
    }

    void aShadowLiesAroundTheSymbol_data()
    {
        QTest::addColumn<int>("ratio");
        QTest::newRow("1") << 1;
        QTest::newRow("2") << 2;
    }

    void aShadowLiesAroundTheSymbol()
    {
        QFETCH(const int, ratio);
        constexpr int side = 124; // 100 for the drawing
        const QColor black(0, 0, 0, 84);
        const QVariantMap plain{{u"color"_s, QColor(Qt::transparent)}, {u"shadowRadius"_s, 6.0}};
        QCOMPARE(covered(painted("play", side, plain, ratio)), 0.0);
        QVariantMap shadowed = plain;
        shadowed.insert(u"shadowColor"_s, black);
        const QImage shadow = painted("play", side, shadowed, ratio);
        // As much as the symbol covers, spread out; nothing of it is cut off at the edge.
        QVariantMap opaque = plain;
        opaque.insert(u"color"_s, QColor(Qt::black));
        const double whole = covered(painted("play", side, opaque, ratio)) * black.alphaF();
        QVERIFY(std::abs(covered(shadow) - whole) < 0.02 * whole);
        for (int i = 0; i < shadow.width(); ++i) {
            QCOMPARE(qAlpha(shadow.pixel(0, i)), 0);
            QCOMPARE(qAlpha(shadow.pixel(i, 0)), 0);
        }
        // Full inside, and ever fainter from the straight edge at the left outwards.
        const int middle = shadow.height() / 2;
        const auto alpha = [&](int x) { return qAlpha(shadow.pixel(x * ratio, middle)); };
        QVERIFY(std::abs(alpha(side / 2) - black.alpha()) <= 1);
        const int edge = 12 + 16;
        QVERIFY(std::abs(alpha(edge) - black.alpha() / 2) < 16);
        QVERIFY(alpha(edge - 3) < alpha(edge) && alpha(edge - 3) > 0);
        QCOMPARE(alpha(edge - 12), 0);
    }
};

QTEST_MAIN(TestIcons)
#include "tst_icons.moc"
