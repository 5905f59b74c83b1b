// Tests that the theme follows the desktop, and that every text is readable.

#include "ui/BrindleApp.h"

#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QSignalSpy>
#include <QtTest>

#include <cmath>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// @param accent the desktop's accent colour; invalid for none.
void setDark(bool dark, const QColor &accent = {})
{
    QPalette palette;
    if (accent.isValid()) {
        palette.setColor(QPalette::Highlight, accent);
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
        palette.setColor(QPalette::Accent, accent);
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

/// Returns the colour of a translucent colour over an opaque colour.
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
    const auto [low, high] = std::minmax({luminance(a), luminance(b)});
    return (high + 0.05) / (low + 0.05);
}

struct Pair
{
    const char *what;
    QColor mark;
    QColor beside;
};

void standOut(double least, const QList<Pair> &pairs)
{
    for (const Pair &pair : pairs) {
        QCOMPARE(pair.mark.alphaF(), 1.0F);
        const double ratio = contrast(pair.mark, pair.beside);
        QVERIFY2(ratio >= least, qPrintable(QStringLiteral("%1: %2").arg(QLatin1String(pair.what),
                                                                         QString::number(ratio))));
    }
}

/// Reads Theme.qml like a view.
class Theme
{
public:
    QObject *object() const { return theme_; }
    QColor colour(const char *name) const { return value(name).value<QColor>(); }
    /// Returns the colour as it appears on the window.
    QColor seen(const char *name) const { return over(colour(name), colour("window")); }
    QFont font(const char *name) const { return value(name).value<QFont>(); }
    qreal scale() const { return value("scale").toReal(); }

private:
    QVariant value(const char *name) const
    {
        const QVariant value = theme_ ? theme_->property(name) : QVariant();
        if (!value.isValid()) {
            qFatal("no %s", name);
        }
        return value;
    }

    static std::unique_ptr<QObject> make(QQmlEngine *engine)
    {
        QQmlComponent component(engine);
        component.setData("import QtQml\nimport Brindle\n"
                          "QtObject { readonly property var theme: Theme }",
                          QUrl());
        return std::unique_ptr<QObject>(component.create());
    }

    QQmlEngine engine_;
    std::unique_ptr<QObject> view_ = make(&engine_);
    QObject *theme_ = view_->property("theme").value<QObject *>();
};

} // namespace

class TestTheme : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { BrindleApp::prepare(); }

    void init()
    {
        setDark(false);
        setFontSize(13);
    }

    void everythingCanBeSeen_data()
    {
        QTest::addColumn<bool>("dark");
        QTest::addColumn<QColor>("accent");
        for (const bool dark : {false, true}) {
            const char *const base = dark ? "dark" : "light";
            QTest::newRow(base) << dark << QColor();
            // Some of these are defaults of desktops; players may choose the others.
            for (const char *accent : {"#3daee9", "#3584e4", "#e95420", "#9141ac", "#f6d32d",
                                       "#33d17a", "#000000", "#ffffff", "#808080"}) {
                QTest::addRow("%s %s", base, accent) << dark << QColor(QLatin1String(accent));
            }
        }
    }

    void everythingCanBeSeen()
    {
        QFETCH(bool, dark);
        QFETCH(QColor, accent);
        setDark(dark, accent);
        const Theme theme;
        const auto colour = [&theme](const char *name) { return theme.colour(name); };
        const QColor text = colour("text");
        standOut(4.5, {
                          {"selected text", text, colour("selection")},
                          {"chosen segment", text, colour("chosen")},
                          {"pressed chosen segment", text, colour("chosenDown")},
                          {"menu", text, colour("menu")},
                      });
        // The texts on these fills are large or bold.
        standOut(3, {
                        {"prominent button", colour("accentText"), colour("accent")},
                        {"hovered prominent button", colour("accentText"), colour("accentHover")},
                        {"pressed prominent button", colour("accentText"), colour("accentDown")},
                    });
        QColor thumb = colour("thumb");
        thumb.setAlphaF(thumb.alphaF() * 0.7F); // as visible as without the pointer
        for (const char *ground : {"window", "sheet"}) {
            const QColor below = colour(ground);
            const auto on = [&](const char *name) { return over(colour(name), below); };
            standOut(4.5, {
                              {"text", text, below},
                              {"text in a box", text, on("box")},
                              {"text in a pane", text, on("pane")},
                              {"secondary text", colour("secondary"), below},
                              {"secondary text in a box", colour("secondary"), on("box")},
                              {"secondary text in a pane", colour("secondary"), on("pane")},
                              {"segment", colour("secondary"), on("track")},
                              {"message", colour("errorText"), below},
                              {"link", colour("link"), below},
                              {"button", text, on("face")},
                              {"hovered button", text, on("faceHover")},
                              {"pressed button", text, on("faceDown")},
                              {"button that is off", colour("textOff"), on("faceOff")},
                              {"destructive row", colour("errorText"), on("box")},
                              {"hovered destructive row", colour("errorText"),
                               over(colour("dangerHover"), on("box"))},
                              {"pressed destructive row", colour("errorText"),
                               over(colour("dangerDown"), on("box"))},
                          });
            // Controls need less contrast than texts:
            // https://www.w3.org/TR/WCAG21/#non-text-contrast
            standOut(3, {
                            {"focus ring", colour("accentLine"), below},
                            {"focus ring in a box", colour("accentLine"), on("box")},
                            {"focus ring on a track", colour("accentLine"), on("track")},
                            {"prominent button", colour("accent"), below},
                            {"progress", colour("accentLine"), on("track")},
                            {"scroll bar", over(thumb, below), below},
                            {"scroll bar in a pane", over(thumb, on("pane")), on("pane")},
                        });
            if (dark) {
                standOut(1.8, {{"pane's edge", on("paneEdge"), on("pane")},
                               {"pane's edge, outside", on("paneEdge"), below}});
            }
        }
    }

    void theDesktopsAccentIsUsed()
    {
        const Theme own;
        QCOMPARE(own.colour("accent"), QColor(QStringLiteral("#1663d9")));
        QCOMPARE(own.colour("accentText"), QColor(Qt::white));
        // Qt's own blue must not count as the desktop's.
        setDark(false, QColor(48, 140, 198));
        QCOMPARE(Theme().colour("accent"), own.colour("accent"));
        // An accent colour with enough contrast must stay unchanged.
        setDark(false, QColor(QStringLiteral("#9141ac")));
        const Theme purple;
        QCOMPARE(purple.colour("accent"), QColor(QStringLiteral("#9141ac")));
        QCOMPARE(purple.colour("accentLine"), purple.colour("accent"));
        // On GNOME's blue the text must be white, as in GNOME's own programs.
        setDark(false, QColor(QStringLiteral("#3584e4")));
        QCOMPARE(Theme().colour("accentText"), QColor(Qt::white));
        // White is unreadable on a light accent colour.
        setDark(true, QColor(QStringLiteral("#3daee9")));
        const Theme light;
        QCOMPARE(light.colour("accent"), QColor(QStringLiteral("#3daee9")));
        QCOMPARE(light.colour("accentText"), QColor(Qt::black));
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
        // The colour of selected text may differ from the accent colour.
        QPalette palette = QGuiApplication::palette();
        palette.setColor(QPalette::Highlight, Qt::lightGray);
        QGuiApplication::setPalette(palette);
        QCOMPARE(Theme().colour("accent"), QColor(QStringLiteral("#3daee9")));
#endif
    }

    void fixedColours()
    {
        const Theme theme;
        QCOMPARE(theme.colour("pane"), QColor::fromRgbF(0, 0, 0, 0.06F));
        QList<int> thousandths;
        for (const char *name : {"box", "errorFrame", "face", "faceHover", "faceDown", "faceOff",
                                 "dangerHover", "dangerDown", "track"}) {
            thousandths << qRound(theme.colour(name).alphaF() * 1000);
        }
        QCOMPARE(thousandths, (QList<int>{100, 500, 85, 130, 200, 40, 80, 130, 90}));
        QCOMPARE(theme.colour("box").rgb(), theme.colour("secondary").rgb());
        for (const bool dark : {false, true}) {
            setDark(dark);
            const auto status = [&theme](const char *name) { return theme.colour(name).name(); };
            QCOMPARE(
                (QStringList{status("gray"), status("orange"), status("red"), status("green")}),
                dark ? (QStringList{u"#98989d"_s, u"#ff9f0a"_s, u"#ff453a"_s, u"#30d158"_s})
                     : (QStringList{u"#8e8e93"_s, u"#ff9500"_s, u"#ff3b30"_s, u"#28b14c"_s}));
        }
    }

    void theContrastIsTheStandards()
    {
        const Theme theme;
        for (const char *name : {"#0a0a0a", "#ff0000", "#00ff00", "#0000ff", "#5aa0c8"}) {
            const QColor colour = QColor::fromString(QLatin1String(name));
            double ratio = 0;
            QMetaObject::invokeMethod(theme.object(), "contrast", Q_RETURN_ARG(double, ratio),
                                      Q_ARG(QColor, colour), Q_ARG(QColor, QColor(Qt::black)));
            QVERIFY(std::abs(ratio - contrast(colour, Qt::black)) < 1e-5);
        }
    }

    void typeScale()
    {
        const Theme theme;
        QCOMPARE(theme.scale(), 1.0);
        for (const auto &[name, pixels, weight] : {std::tuple{"largeTitle", 26, QFont::Bold},
                                                   {"title", 22, QFont::Bold},
                                                   {"title2", 17, QFont::Bold},
                                                   {"headline", 13, QFont::DemiBold},
                                                   {"body", 13, QFont::Normal},
                                                   {"callout", 12, QFont::Normal},
                                                   {"caption", 11, QFont::Normal},
                                                   {"segment", 11, QFont::Medium},
                                                   {"monospaced", 11, QFont::Normal}}) {
            QCOMPARE(theme.font(name).pixelSize(), pixels);
            QCOMPARE(theme.font(name).weight(), weight);
        }
        QVERIFY(QFontInfo(theme.font("monospaced")).fixedPitch());
    }

    void theScaleGrowsWithALargerDefaultFont()
    {
        Theme theme;
        QSignalSpy changed(theme.object(), SIGNAL(largeTitleChanged()));
        setFontSize(26);
        QVERIFY(!changed.isEmpty());
        QCOMPARE(theme.scale(), 2.0);
        QCOMPARE(theme.font("largeTitle").pixelSize(), 52);
        // The desktop's font is small, or has 11, 15 or 22.5 points.
        for (const auto &[pixels, body, monospaced] :
             {std::tuple{9, 13, 11}, {15, 15, 11}, {20, 20, 15}, {30, 30, 22}}) {
            setFontSize(pixels);
            QCOMPARE(theme.font("body").pixelSize(), body);
            QCOMPARE(theme.font("monospaced").pixelSize(), monospaced);
        }
    }
};

QTEST_MAIN(TestTheme)
#include "tst_theme.moc"
