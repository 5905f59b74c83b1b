#include "ui/SystemStyle.h"

#include "ui/MessageBus.h"

#include <QCoroDBusPendingCall>
#include <QDBusArgument>
#include <QEvent>
#include <QEventLoop>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <array>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
const auto portal = u"org.freedesktop.portal.Desktop"_s;
const auto portalPath = u"/org/freedesktop/portal/desktop"_s;
const auto settings = u"org.freedesktop.portal.Settings"_s;
// The portal's settings, each a group and a key.
const auto scheme = u"org.freedesktop.appearance color-scheme"_s;
const auto accentColour = u"org.freedesktop.appearance accent-color"_s;
const auto fontName = u"org.gnome.desktop.interface font-name"_s;
const auto textScale = u"org.gnome.desktop.interface text-scaling-factor"_s;
const auto animations = u"org.gnome.desktop.interface enable-animations"_s;

/// Reads red, green and blue, each from 0 to 1. Returns an invalid colour for other values.
QColor toColour(const QVariant &value)
{
    const auto shares = value.value<QDBusArgument>();
    if (shares.currentSignature() != u"(ddd)") {
        return {};
    }
    std::array<double, 3> colour = {};
    shares.beginStructure();
    shares >> colour[0] >> colour[1] >> colour[2];
    shares.endStructure();
    const bool isColour =
        std::ranges::all_of(colour, [](double share) { return share >= 0 && share <= 1; });
    return isColour ? QColor::fromRgbF(float(colour[0]), float(colour[1]), float(colour[2]))
                    : QColor();
}

} // namespace

SystemStyle::SystemStyle() : keys_{scheme, accentColour}
{
    if (isGnome_) {
        keys_ << fontName << textScale << animations;
    }
    qGuiApp->installEventFilter(this);
    qRegisterMetaType<QDBusVariant>(); // Qt 6.4 connects only registered types
    askPortal(this);
}

void SystemStyle::waitForPortal(int patience)
{
    QEventLoop loop;
    connect(this, &SystemStyle::answered, &loop, &QEventLoop::quit);
    QTimer::singleShot(patience, &loop, &QEventLoop::quit);
    if (!isAnswered_) {
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    }
}

QCoro::Task<> SystemStyle::askPortal(QPointer<SystemStyle> self)
{
    auto bus = co_await openBus(QDBusConnection::SessionBus);
    if (bus.isConnected() && self) {
        bus.connect(portal, portalPath, settings, u"SettingChanged"_s, self.data(),
                    SLOT(hear(QString, QString, QDBusVariant)));
        const QStringList keys = self->keys_;
        // Read one by one: Debian 12's portal lacks ReadOne, and ReadAll mixes several desktops'
        // answers.
        for (const QString &key : keys) {
            auto read = QDBusMessage::createMethodCall(portal, portalPath, settings, u"Read"_s);
            const QDBusMessage reply =
                co_await bus.asyncCall(read << key.section(u' ', 0, 0) << key.section(u' ', 1));
            const auto outer = reply.arguments().value(0).value<QDBusVariant>().variant();
            if (self && reply.type() == QDBusMessage::ReplyMessage) {
                self->chosen_[key] = outer.value<QDBusVariant>().variant();
                Q_EMIT self->changed();
            }
        }
    }
    if (self) {
        self->isAnswered_ = true;
        Q_EMIT self->answered();
    }
}

void SystemStyle::hear(const QString &group, const QString &key, const QDBusVariant &value)
{
    const QString name = group + u' ' + key;
    if (keys_.contains(name)) {
        chosen_[name] = value.variant();
        Q_EMIT changed();
    }
}

bool SystemStyle::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qGuiApp && !isColouring_ &&
        (event->type() == QEvent::ApplicationPaletteChange ||
         event->type() == QEvent::ApplicationFontChange)) {
        Q_EMIT changed();
    }
    return QObject::eventFilter(watched, event);
}

bool SystemStyle::isDark() const
{
    // 1 is dark, 2 is light. With other values Qt's palette decides.
    const uint chosen = chosen_.value(scheme).toUInt();
    if (chosen == 1 || chosen == 2) {
        return chosen == 1;
    }
    const QPalette palette = desktopPalette_.value_or(QGuiApplication::palette());
    return palette.color(QPalette::Window).lightnessF() <
           palette.color(QPalette::WindowText).lightnessF();
}

QColor SystemStyle::accent() const
{
    if (const QColor chosen = toColour(chosen_.value(accentColour)); chosen.isValid()) {
        return chosen;
    }
    const QPalette palette = QGuiApplication::palette();
    QColor named = palette.color(QPalette::Active, QPalette::Highlight);
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    // Qt can't read KDE's accent colour, and returns black.
    if (const QColor own = palette.color(QPalette::Active, QPalette::Accent); own != Qt::black) {
        named = own;
    }
#endif
    // These are Qt's own colours, for a desktop without an accent colour.
    return named == QColor(Qt::darkBlue) || named == QColor(48, 140, 198) ? QColor() : named;
}

bool SystemStyle::isStill() const
{
    return !chosen_.value(animations, true).toBool();
}

void SystemStyle::colourTitleBars(const QColor &ground, const QColor &text)
{
    if (!QGuiApplication::platformName().startsWith(u"wayland")) {
        return;
    }
    if (!desktopPalette_) {
        desktopPalette_ = QGuiApplication::palette();
    }
    QPalette palette;
    palette.setColor(QPalette::Window, ground);
    palette.setColor(QPalette::WindowText, text);
    isColouring_ = true;
    QGuiApplication::setPalette(palette);
    isColouring_ = false;
    // Qt 6.4 reads the colours only when it makes a title bar, so make it again. A window without
    // margins has the compositor's title bar, and Qt would add a second. Newer versions take
    // GNOME's colours by themselves.
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        if (QT_VERSION < QT_VERSION_CHECK(6, 8, 0) && window->isVisible() &&
            !window->frameMargins().isNull()) {
            window->setFlag(Qt::FramelessWindowHint, true);
            window->setFlag(Qt::FramelessWindowHint, false);
        }
    }
}

QFont SystemStyle::font() const
{
    QFont font = QGuiApplication::font();
    // GNOME's name of a font has a family, perhaps a style, and a size in points.
    const QString named = chosen_.value(fontName).toString();
    const double points = named.section(u' ', -1).toDouble();
    QString family = named.section(u' ', 0, -2);
    while (!family.isEmpty() && !QFontDatabase::hasFamily(family)) {
        family = family.section(u' ', 0, -2);
    }
    if (!family.isEmpty()) {
        font.setFamily(family);
    }
    const double factor = chosen_.value(textScale).toDouble();
    const double pixels =
        points >= 1 && points <= 100 ? qRound(points * 96 / 72) : QFontInfo(font).pixelSize();
    font.setPixelSize(qRound(pixels * (factor >= 0.5 && factor <= 3 ? factor : 1)));
    return font;
}

QString SystemStyle::monospacedFamily()
{
    return QFontInfo(QFontDatabase::systemFont(QFontDatabase::FixedFont)).family();
}

} // namespace brindle
