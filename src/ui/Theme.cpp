#include "ui/Theme.h"

#include <QEvent>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>

#include <algorithm>
#include <cmath>

namespace brindle {

namespace {

/// The smallest default font that the type scale is made for, in pixels.
constexpr qreal smallestDefault = 13;
/// The largest that desktops have by themselves.
constexpr qreal largestOrdinary = 15;
constexpr int smallestText = 11;

/// What seen text and marks need; see luminance() for where from.
constexpr double markContrast = 3;
constexpr double lineContrast = 4;

/// As defined by the W3C: https://www.w3.org/TR/WCAG21/#dfn-relative-luminance
double luminance(const QColor &colour)
{
    const auto linear = [](double c) {
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

/// 1 to 21.
double contrast(const QColor &a, const QColor &b)
{
    const auto [low, high] = std::minmax(luminance(a), luminance(b));
    return (high + 0.05) / (low + 0.05);
}

/// `share` of `other` in `colour`; opaque.
QColor mixed(const QColor &colour, const QColor &other, double share)
{
    const auto mix = [share](double a, double b) { return float(a + (b - a) * share); };
    return QColor::fromRgbF(mix(colour.redF(), other.redF()), mix(colour.greenF(), other.greenF()),
                            mix(colour.blueF(), other.blueF()));
}

/// What the desktop marks things with; invalid where it names nothing.
QColor desktopsAccent(const QPalette &palette)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    const QColor named = palette.color(QPalette::Active, QPalette::Accent);
#else
    const QColor named = palette.color(QPalette::Active, QPalette::Highlight);
#endif
    // Qt's own, for want of any.
    return named == QColor(Qt::darkBlue) || named == QColor(48, 140, 198) ? QColor() : named;
}

/// The family for all text. A desktop that names none of its own ("Sans Serif" is whatever comes
/// first) gets the best of the families that desktops use for their windows.
QString interfaceFamily(const QFont &desktops)
{
    QString named = desktops.family();
    static const QStringList nameless{QStringLiteral("Sans Serif"), QStringLiteral("Sans"),
                                      QStringLiteral("sans-serif"), QString()};
    if (!nameless.contains(named, Qt::CaseInsensitive)) {
        return named;
    }
    static const QStringList preferred{QStringLiteral("Inter"), QStringLiteral("Cantarell"),
                                       QStringLiteral("Noto Sans"), QStringLiteral("Ubuntu"),
                                       QStringLiteral("Open Sans")};
    for (const QString &family : preferred) {
        if (QFontDatabase::hasFamily(family)) {
            return family;
        }
    }
    return named;
}

} // namespace

Theme::Theme(QObject *parent) : QObject(parent)
{
    read();
    qGuiApp->installEventFilter(this);
}

bool Theme::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qGuiApp && (event->type() == QEvent::ApplicationPaletteChange ||
                               event->type() == QEvent::ApplicationFontChange)) {
        read();
        Q_EMIT changed();
    }
    return QObject::eventFilter(watched, event);
}

void Theme::read()
{
    const QPalette palette = QGuiApplication::palette();
    dark_ = palette.color(QPalette::Window).lightnessF() <
            palette.color(QPalette::WindowText).lightnessF();
    const QFont desktops = QGuiApplication::font();
    family_ = interfaceFamily(desktops);
    monospacedFamily_ = QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
    const qreal size = QFontInfo(desktops).pixelSize();
    scale_ = std::max(1.0, size / smallestDefault);
    monospacedSize_ = qRound(smallestText * std::max(1.0, size / largestOrdinary));
    const QColor named = desktopsAccent(palette);
    accent_ =
        standingOut(named.isValid() ? named : pick("#1663d9", "#2669d6"), window(), markContrast);
    const QColor onWindow = mixed(window(), QColor(track().rgb()), track().alphaF());
    accentLine_ = standingOut(accent_, onWindow, lineContrast);
}

QColor Theme::standingOut(const QColor &colour, const QColor &below, double least) const
{
    QColor seen(colour.rgb());
    for (int step = 1; contrast(seen, below) < least && step <= 20; ++step) {
        seen = mixed(colour, text(), step / 20.0);
    }
    return seen;
}

QColor Theme::pick(const char *light, const char *darkColour) const
{
    return QColor(QLatin1String(dark_ ? darkColour : light));
}

QColor Theme::window() const
{
    return pick("#f6f6f8", "#1f1f23");
}

QColor Theme::text() const
{
    return pick("#1c1c20", "#f3f3f6");
}

QColor Theme::secondary() const
{
    return pick("#5e5e66", "#a9a9b2");
}

QColor Theme::box() const
{
    QColor faint = secondary();
    faint.setAlphaF(0.1F);
    return faint;
}

QColor Theme::pane() const
{
    return QColor::fromRgbF(0, 0, 0, 0.06F);
}

QColor Theme::hairline() const
{
    return pick("#1a000000", "#24ffffff");
}

QColor Theme::accentDown() const
{
    // Away from what is written on it.
    return mixed(accent_, onAccent() == Qt::white ? Qt::black : Qt::white, 0.18);
}

QColor Theme::accentOff() const
{
    return pick("#dcdce2", "#35353c");
}

QColor Theme::onAccent() const
{
    return contrast(accent_, Qt::white) >= contrast(accent_, Qt::black) ? Qt::white : Qt::black;
}

QColor Theme::onAccentOff() const
{
    return pick("#5f5f68", "#a6a6b0");
}

QColor Theme::link() const
{
    return pick("#1258c4", "#74adff");
}

QColor Theme::selection() const
{
    return mixed(window(), accent_, 0.3);
}

QColor Theme::errorText() const
{
    return pick("#b3261e", "#ff8f87");
}

QColor Theme::errorFrame() const
{
    QColor faint = red();
    faint.setAlphaF(0.5F);
    return faint;
}

QColor Theme::face() const
{
    return pick("#ffffff", "#37373e");
}

QColor Theme::faceHover() const
{
    return pick("#fafafc", "#404048");
}

QColor Theme::faceDown() const
{
    return pick("#e6e6ea", "#2b2b31");
}

QColor Theme::faceEdge() const
{
    return pick("#82828b", "#8c8c96");
}

QColor Theme::chosen() const
{
    return mixed(window(), accentLine_, 0.16);
}

QColor Theme::track() const
{
    return pick("#1a000000", "#1fffffff");
}

QColor Theme::thumb() const
{
    return pick("#9c000000", "#80ffffff");
}

QColor Theme::textOff() const
{
    return pick("#6b6b74", "#9c9ca6");
}

QColor Theme::gray() const
{
    return pick("#8e8e93", "#98989d");
}

QColor Theme::orange() const
{
    return pick("#ff9500", "#ff9f0a");
}

QColor Theme::red() const
{
    return pick("#ff3b30", "#ff453a");
}

QColor Theme::green() const
{
    return pick("#28b14c", "#30d158");
}

QList<QColor> Theme::banner()
{
    return {QColor::fromRgbF(0.08F, 0.12F, 0.30F), QColor::fromRgbF(0.55F, 0.20F, 0.35F),
            QColor::fromRgbF(0.95F, 0.55F, 0.20F)};
}

QFont Theme::font(qreal size, QFont::Weight weight) const
{
    QFont font(family_);
    font.setPixelSize(qRound(size * scale_));
    font.setWeight(weight);
    return font;
}

QFont Theme::largeTitle() const
{
    return font(26, QFont::Bold);
}

QFont Theme::title() const
{
    return font(22, QFont::Bold);
}

QFont Theme::title2() const
{
    return font(17, QFont::Bold);
}

QFont Theme::headline() const
{
    return font(13, QFont::DemiBold);
}

QFont Theme::body() const
{
    return font(13, QFont::Normal);
}

QFont Theme::callout() const
{
    return font(12, QFont::Normal);
}

QFont Theme::caption() const
{
    return font(smallestText, QFont::Normal);
}

QFont Theme::segment() const
{
    QFont plain = font(smallestText, QFont::Medium);
    // Some families turn the x of "1280x720" into a multiplication sign.
    plain.setStyleStrategy(QFont::PreferNoShaping);
    return plain;
}

QFont Theme::monospaced() const
{
    QFont font(monospacedFamily_);
    font.setStyleHint(QFont::Monospace);
    font.setPixelSize(monospacedSize_);
    return font;
}

int Theme::buttonHeight() const
{
    return qRound(26 * scale_);
}

} // namespace brindle
