#include "ui/Theme.h"

#include <QEvent>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>

#include <algorithm>

namespace brindle {

namespace {

/// The smallest default font that the type scale is made for, in pixels.
constexpr qreal smallestDefault = 13;

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
    scale_ = std::max(1.0, QFontInfo(desktops).pixelSize() / smallestDefault);
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

QColor Theme::accent() const
{
    return pick("#1663d9", "#2669d6");
}

QColor Theme::accentDown() const
{
    return pick("#0f4fb3", "#1d57b8");
}

QColor Theme::accentOff() const
{
    return pick("#dcdce2", "#35353c");
}

QColor Theme::onAccent() const
{
    return Qt::white;
}

QColor Theme::onAccentOff() const
{
    return pick("#5f5f68", "#a6a6b0");
}

QColor Theme::focusRing() const
{
    return pick("#8c1663d9", "#b35c9bff");
}

QColor Theme::link() const
{
    return pick("#1258c4", "#74adff");
}

QColor Theme::selection() const
{
    return pick("#b3d2ff", "#2f5596");
}

QColor Theme::errorText() const
{
    return pick("#b3261e", "#ff8078");
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
    return pick("#26000000", "#1fffffff");
}

QColor Theme::chosen() const
{
    return pick("#ffffff", "#5c5c66");
}

QColor Theme::track() const
{
    return pick("#1a000000", "#1fffffff");
}

QColor Theme::thumb() const
{
    return pick("#59000000", "#66ffffff");
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
    return font(10, QFont::Normal);
}

QFont Theme::segment() const
{
    QFont plain = font(11, QFont::Medium);
    // Some families turn the x of "1280x720" into a multiplication sign.
    plain.setStyleStrategy(QFont::PreferNoShaping);
    return plain;
}

QFont Theme::monospaced() const
{
    QFont font(monospacedFamily_);
    font.setStyleHint(QFont::Monospace);
    font.setPixelSize(qRound(11 * scale_));
    return font;
}

int Theme::buttonHeight() const
{
    return qRound(26 * scale_);
}

} // namespace brindle
