#pragma once

#include <QColor>
#include <QCoroTask>
#include <QDBusVariant>
#include <QFont>
#include <QObject>
#include <QPalette>
#include <QPointer>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

#include <optional>

namespace brindle {

/// The desktop's style for windows: dark or light, accent colour, fonts, motion. Asks the desktop's
/// portal for GNOME's choices, which Qt (6.8) does not read. Main thread only.
class SystemStyle : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool dark READ isDark NOTIFY changed)
    /// Invalid on a desktop without an accent colour.
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    /// The player wants no animations.
    Q_PROPERTY(bool still READ isStill NOTIFY changed)
    /// The default font, with its size in pixels.
    Q_PROPERTY(QFont font READ font NOTIFY changed)
    Q_PROPERTY(QString monospacedFamily READ monospacedFamily NOTIFY changed)
    Q_PROPERTY(bool gnome MEMBER isGnome_ CONSTANT)

public:
    SystemStyle();

    /// Serves events until the portal has answered, for at most `patience` milliseconds.
    void waitForPortal(int patience = 100);

    bool isDark() const;
    QColor accent() const;
    bool isStill() const;
    QFont font() const;
    static QString monospacedFamily();

    /// Colours the title bars that Qt draws under Wayland.
    Q_INVOKABLE void colourTitleBars(const QColor &ground, const QColor &text);

Q_SIGNALS:
    void changed();
    /// The portal has answered, or there is none.
    void answered();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private Q_SLOTS:
    void hear(const QString &group, const QString &key, const QDBusVariant &value);

private:
    static QCoro::Task<> askPortal(QPointer<SystemStyle> self);

    const bool isGnome_ = qEnvironmentVariable("XDG_CURRENT_DESKTOP").contains(u"GNOME");
    QStringList keys_;   // the portal's keys that this desktop uses
    QVariantMap chosen_; // the portal's values
    bool isAnswered_ = false;
    bool isColouring_ = false;               // true during our own change of the palette
    std::optional<QPalette> desktopPalette_; // the palette before `colourTitleBars`
};

} // namespace brindle
