#include "ui/SystemStyle.h"

#include <QEvent>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>

#include <algorithm>

namespace brindle {

SystemStyle::SystemStyle(QObject *parent) : QObject(parent)
{
    qGuiApp->installEventFilter(this);
}

bool SystemStyle::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qGuiApp && (event->type() == QEvent::ApplicationPaletteChange ||
                               event->type() == QEvent::ApplicationFontChange)) {
        Q_EMIT changed();
    }
    return QObject::eventFilter(watched, event);
}

bool SystemStyle::isDark()
{
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightnessF() <
           palette.color(QPalette::WindowText).lightnessF();
}

QColor SystemStyle::accent()
{
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
