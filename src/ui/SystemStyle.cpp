#include "ui/SystemStyle.h"

#include <QDBusArgument>
#include <QEvent>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>

#include <algorithm>
#include <array>

namespace brindle {

namespace {

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
const auto portal = QStringLiteral("org.freedesktop.portal.Desktop");
const auto portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const auto settings = QStringLiteral("org.freedesktop.portal.Settings");
const auto appearance = QStringLiteral("org.freedesktop.appearance");
const auto schemeKey = QStringLiteral("color-scheme");
const auto accentKey = QStringLiteral("accent-color");

/// Red, green and blue, each from 0 to 1; all else means none.
QColor toColour(const QVariant &value)
{
    const auto shares = value.value<QDBusArgument>();
    if (shares.currentSignature() != QStringLiteral("(ddd)")) {
        return {};
    }
    std::array<double, 3> colour = {};
    shares.beginStructure();
    shares >> colour[0] >> colour[1] >> colour[2];
    shares.endStructure();
    const bool isColour = std::all_of(colour.begin(), colour.end(),
                                      [](double share) { return share >= 0 && share <= 1; });
    return isColour ? QColor::fromRgbF(float(colour[0]), float(colour[1]), float(colour[2]))
                    : QColor();
}

} // namespace

SystemStyle::SystemStyle(QObject *parent) : QObject(parent)
{
    qGuiApp->installEventFilter(this);
    askPortal(this);
}

QCoro::Task<> SystemStyle::askPortal(QPointer<SystemStyle> self)
{
    MessageBus bus = self->bus_;
    if (!co_await bus.open() || !self) {
        co_return;
    }
    bus.listen(portalPath, settings, QStringLiteral("SettingChanged"), self.data(),
               SLOT(hear(QString, QString, QDBusVariant)));
    const QStringList keys{schemeKey, accentKey};
    for (const QString &key : keys) {
        auto read =
            QDBusMessage::createMethodCall(portal, portalPath, settings, QStringLiteral("ReadOne"));
        read << appearance << key;
        const QDBusMessage reply = co_await bus.call(read);
        if (self && reply.type() == QDBusMessage::ReplyMessage) {
            self->hear(appearance, key, reply.arguments().value(0).value<QDBusVariant>());
        }
    }
}

void SystemStyle::hear(const QString &group, const QString &key, const QDBusVariant &value)
{
    if (group != appearance || (key != schemeKey && key != accentKey)) {
        return;
    }
    if (key == schemeKey) {
        scheme_ = value.variant().toUInt();
    } else {
        chosenAccent_ = toColour(value.variant());
    }
    Q_EMIT changed();
}

bool SystemStyle::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qGuiApp && (event->type() == QEvent::ApplicationPaletteChange ||
                               event->type() == QEvent::ApplicationFontChange)) {
        Q_EMIT changed();
    }
    return QObject::eventFilter(watched, event);
}

bool SystemStyle::isDark() const
{
    if (scheme_ == 1 || scheme_ == 2) {
        return scheme_ == 1;
    }
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightnessF() <
           palette.color(QPalette::WindowText).lightnessF();
}

QColor SystemStyle::accent() const
{
    if (chosenAccent_.isValid()) {
        return chosenAccent_;
    }
    const QPalette palette = QGuiApplication::palette();
    QColor named = palette.color(QPalette::Active, QPalette::Highlight);
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    // What Qt reads of KDE's colours leaves it out, and then it is black.
    if (const QColor own = palette.color(QPalette::Active, QPalette::Accent); own != Qt::black) {
        named = own;
    }
#endif
    // Qt's own, for want of any.
    return named == QColor(Qt::darkBlue) || named == QColor(48, 140, 198) ? QColor() : named;
}

/// A desktop that names none of its own ("Sans Serif" is whatever comes first) gets the best of the
/// families that desktops use for their windows.
QString SystemStyle::fontFamily()
{
    QString named = QGuiApplication::font().family();
    const QStringList nameless{QStringLiteral("Sans Serif"), QStringLiteral("Sans"),
                               QStringLiteral("sans-serif"), QString()};
    if (!nameless.contains(named, Qt::CaseInsensitive)) {
        return named;
    }
    const QStringList preferred{QStringLiteral("Inter"), QStringLiteral("Cantarell"),
                                QStringLiteral("Noto Sans"), QStringLiteral("Ubuntu"),
                                QStringLiteral("Open Sans")};
    const auto found = std::find_if(preferred.begin(), preferred.end(), [](const QString &family) {
        return QFontDatabase::hasFamily(family);
    });
    return found == preferred.end() ? named : *found;
}

qreal SystemStyle::fontSize()
{
    return QFontInfo(QGuiApplication::font()).pixelSize();
}

QString SystemStyle::monospacedFamily()
{
    return QFontInfo(QFontDatabase::systemFont(QFontDatabase::FixedFont)).family();
}

} // namespace brindle
