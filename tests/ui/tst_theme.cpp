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

void setDark(bool dark)
{
    QPalette palette;
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

    void textCanBeRead_data()
    {
        QTest::addColumn<bool>("dark");
        QTest::newRow("light") << false;
        QTest::newRow("dark") << true;
    }

    void textCanBeRead()
    {
        QFETCH(bool, dark);
        setDark(dark);
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
        QCOMPARE(theme.caption().pixelSize(), 10);
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
        QCOMPARE(theme.monospaced().pixelSize(), 22);
        setFontSize(9);
        QCOMPARE(theme.scale(), 1.0);
        QCOMPARE(theme.body().pixelSize(), 13);
    }
};

QTEST_MAIN(TestTheme)
#include "tst_theme.moc"
