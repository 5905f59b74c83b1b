// The look: light and dark, the type scale, and that every text can be read.

#include "ui/Theme.h"

#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>
#include <QSignalSpy>
#include <QtTest>

#include <cmath>

using namespace brindle;

namespace {

/// @param accent what the desktop marks things with, if it says so.
void setDark(bool dark, const QColor &accent = {})
{
    QPalette palette;
    if (accent.isValid()) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
        palette.setColor(QPalette::Accent, accent);
#else
        palette.setColor(QPalette::Highlight, accent);
#endif
    }
    palette.setColor(QPalette::Window, dark ? Qt::black : Qt::white);
    palette.setColor(QPalette::WindowText, dark ? Qt::white : Qt::black);
    QGuiApplication::setPalette(palette);
}

void setFontSize(int pixels)
{
    QFont font = QGuiApplication::font();
    font.setPixelSize(pixels);
    QGuiApplication::setFont(font);
}

/// What is seen where a translucent colour lies on an opaque one.
QColor over(const QColor &top, const QColor &below)
{
    const auto mix = [alpha = top.alphaF()](float a, float b) {
        return a * alpha + b * (1 - alpha);
    };
    return QColor::fromRgbF(mix(top.redF(), below.redF()), mix(top.greenF(), below.greenF()),
                            mix(top.blueF(), below.blueF()));
}

/// https://www.w3.org/TR/WCAG21/#dfn-relative-luminance
double luminance(const QColor &colour)
{
    const auto linear = [](double c) {
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double contrast(const QColor &a, const QColor &b)
{
    const auto [low, high] = std::minmax(luminance(a), luminance(b));
    return (high + 0.05) / (low + 0.05);
}

} // namespace

class TestTheme : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        setDark(false);
        setFontSize(13);
    }

    void followsThePalette()
    {
        Theme theme;
        QVERIFY(!theme.dark());
        const QColor light = theme.window();
        QSignalSpy changed(&theme, &Theme::changed);
        setDark(true);
        QVERIFY(theme.dark());
        QVERIFY(theme.window() != light);
        QVERIFY(!changed.isEmpty());
        setDark(false);
        QCOMPARE(theme.window(), light);
    }

    void looks()
    {
        QTest::addColumn<bool>("dark");
        QTest::addColumn<QColor>("accent");
        for (const bool dark : {false, true}) {
            const char *const base = dark ? "dark" : "light";
            QTest::newRow(base) << dark << QColor();
            // Desktops' own, and what somebody might choose.
            for (const char *accent : {"#3daee9", "#3584e4", "#e95420", "#9141ac", "#f6d32d",
                                       "#33d17a", "#000000", "#ffffff", "#808080"}) {
                QTest::addRow("%s %s", base, accent) << dark << QColor(QLatin1String(accent));
            }
        }
    }

    void textCanBeRead_data() { looks(); }

    void textCanBeRead()
    {
        QFETCH(bool, dark);
        QFETCH(QColor, accent);
        setDark(dark, accent);
        const Theme theme;
        const QColor window = theme.window();
        const QColor box = over(theme.box(), window);
        const QColor pane = over(theme.pane(), window);
        const QColor track = over(theme.track(), window);
        const struct
        {
            const char *what;
            QColor text;
            QColor below;
        } pairs[] = {
            {"text", theme.text(), window},
            {"text in a box", theme.text(), box},
            {"text in a pane", theme.text(), pane},
            {"selected text", theme.text(), theme.selection()},
            {"secondary text", theme.secondary(), window},
            {"secondary text in a box", theme.secondary(), box},
            {"message", theme.errorText(), window},
            {"destructive button", theme.errorText(), theme.face()},
            {"destructive button under the pointer", theme.errorText(), theme.faceHover()},
            {"pressed destructive button", theme.errorText(), theme.faceDown()},
            {"secondary text in a pane", theme.secondary(), pane},
            {"link", theme.link(), window},
            {"prominent button", theme.onAccent(), theme.accent()},
            {"pressed prominent button", theme.onAccent(), theme.accentDown()},
            {"prominent button that is off", theme.onAccentOff(), theme.accentOff()},
            {"button", theme.text(), theme.face()},
            {"button under the pointer", theme.text(), theme.faceHover()},
            {"pressed button", theme.text(), theme.faceDown()},
            {"button that is off", theme.textOff(), window},
            {"chosen segment", theme.text(), theme.chosen()},
            {"segment", theme.secondary(), track},
        };
        for (const auto &pair : pairs) {
            const double ratio = contrast(pair.text, pair.below);
            QVERIFY2(ratio >= 4.5, qPrintable(QStringLiteral("%1: %2").arg(
                                       QLatin1String(pair.what), QString::number(ratio))));
        }
    }

    /// What is no text but must be seen: https://www.w3.org/TR/WCAG21/#non-text-contrast
    void marksCanBeSeen_data() { looks(); }

    void marksCanBeSeen()
    {
        QFETCH(bool, dark);
        QFETCH(QColor, accent);
        setDark(dark, accent);
        const Theme theme;
        const QColor window = theme.window();
        const QColor box = over(theme.box(), window);
        const QColor pane = over(theme.pane(), window);
        const QColor track = over(theme.track(), window);
        QColor thumb = theme.thumb();
        thumb.setAlphaF(thumb.alphaF() * 0.7F); // as it is shown while nobody holds it
        const struct
        {
            const char *what;
            QColor mark;
            QColor beside;
        } pairs[] = {
            {"focus ring", theme.accentLine(), window},
            {"focus ring in a box", theme.accentLine(), box},
            {"focus ring on a track", theme.accentLine(), track},
            {"focus ring around the chosen segment", theme.accentLine(), theme.chosen()},
            {"chosen segment, inside its edge", theme.accentLine(), theme.chosen()},
            {"chosen segment, outside its edge", theme.accentLine(), track},
            {"button's edge, outside", theme.faceEdge(), window},
            {"button's edge in a box", theme.faceEdge(), box},
            {"button's edge, inside", theme.faceEdge(), theme.face()},
            {"button's edge under the pointer", theme.faceEdge(), theme.faceHover()},
            {"picker's edge", theme.faceEdge(), window},
            {"destructive button's edge", theme.errorText(), window},
            {"prominent button", theme.accent(), window},
            {"progress", theme.accentLine(), track},
            {"scroll bar", over(thumb, window), window},
            {"scroll bar in a pane", over(thumb, pane), pane},
        };
        for (const auto &pair : pairs) {
            QCOMPARE(pair.mark.alphaF(), 1.0F);
            const double ratio = contrast(pair.mark, pair.beside);
            QVERIFY2(ratio >= 3, qPrintable(QStringLiteral("%1: %2").arg(QLatin1String(pair.what),
                                                                         QString::number(ratio))));
        }
    }

    void theDesktopsAccentIsUsed()
    {
        const Theme own;
        QCOMPARE(own.accent(), QColor(QStringLiteral("#1663d9")));
        QCOMPARE(own.onAccent(), QColor(Qt::white));
        // One that stands out by itself is used as it is.
        setDark(false, QColor(QStringLiteral("#9141ac")));
        const Theme purple;
        QCOMPARE(purple.accent(), QColor(QStringLiteral("#9141ac")));
        QCOMPARE(purple.accentLine(), purple.accent());
        // On a light one black is read better.
        setDark(true, QColor(QStringLiteral("#3daee9")));
        const Theme light;
        QCOMPARE(light.accent(), QColor(QStringLiteral("#3daee9")));
        QCOMPARE(light.onAccent(), QColor(Qt::black));
    }

    void fixedColours()
    {
        const Theme theme;
        QCOMPARE(theme.pane(), QColor::fromRgbF(0, 0, 0, 0.06F));
        QVERIFY(std::abs(theme.box().alphaF() - 0.1) < 0.01);
        QCOMPARE(theme.box().rgb(), theme.secondary().rgb());
        QVERIFY(std::abs(theme.errorFrame().alphaF() - 0.5) < 0.01);
        QCOMPARE(theme.errorFrame().rgb(), theme.red().rgb());
    }

    void typeScale()
    {
        const Theme theme;
        QCOMPARE(theme.scale(), 1.0);
        QCOMPARE(theme.largeTitle().pixelSize(), 26);
        QCOMPARE(theme.largeTitle().weight(), QFont::Bold);
        QCOMPARE(theme.title().pixelSize(), 22);
        QCOMPARE(theme.title().weight(), QFont::Bold);
        QCOMPARE(theme.title2().pixelSize(), 17);
        QCOMPARE(theme.title2().weight(), QFont::Bold);
        QCOMPARE(theme.headline().pixelSize(), 13);
        QCOMPARE(theme.headline().weight(), QFont::DemiBold);
        QCOMPARE(theme.body().pixelSize(), 13);
        QCOMPARE(theme.callout().pixelSize(), 12);
        QCOMPARE(theme.caption().pixelSize(), 11);
        QCOMPARE(theme.segment().pixelSize(), 11);
        QCOMPARE(theme.monospaced().pixelSize(), 11);
        QVERIFY(QFontInfo(theme.monospaced()).fixedPitch());
    }

    void theScaleGrowsWithALargerDefaultFont()
    {
        Theme theme;
        QSignalSpy changed(&theme, &Theme::changed);
        setFontSize(26);
        QVERIFY(!changed.isEmpty());
        QCOMPARE(theme.scale(), 2.0);
        QCOMPARE(theme.largeTitle().pixelSize(), 52);
        setFontSize(9);
        QCOMPARE(theme.scale(), 1.0);
        QCOMPARE(theme.body().pixelSize(), 13);
        QCOMPARE(theme.caption().pixelSize(), 11);
        QCOMPARE(theme.monospaced().pixelSize(), 11);
    }

    void monospacedIsElevenBesideOrdinaryFonts_data()
    {
        QTest::addColumn<qreal>("points"); // at 96 dots an inch
        QTest::addColumn<int>("expected");
        QTest::newRow("9 points") << 9.0 << 11;
        QTest::newRow("10 points") << 10.0 << 11;
        QTest::newRow("11 points") << 11.0 << 11;
        QTest::newRow("15 points") << 15.0 << 15;
        QTest::newRow("22.5 points") << 22.5 << 22;
    }

    void monospacedIsElevenBesideOrdinaryFonts()
    {
        QFETCH(qreal, points);
        QFETCH(int, expected);
        QFont font = QGuiApplication::font();
        font.setPointSizeF(points);
        QGuiApplication::setFont(font);
        QCOMPARE(Theme().monospaced().pixelSize(), expected);
    }
};

QTEST_MAIN(TestTheme)
#include "tst_theme.moc"
