#pragma once

#include "ui/MessageBus.h"

#include <QColor>
#include <QDBusVariant>
#include <QFont>
#include <QObject>
#include <QPalette>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <optional>

namespace brindle {

/// The desktop's style for windows: dark or light, accent colour, fonts, motion. Asks the desktop's
/// portal for GNOME's choices, because Qt (6.8) does not. Main thread only.
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
    /// The family for all text.
    Q_PROPERTY(QString fontFamily READ fontFamily NOTIFY changed)
    /// The default font's size in pixels.
    Q_PROPERTY(qreal fontSize READ fontSize NOTIFY changed)
    Q_PROPERTY(QString monospacedFamily READ monospacedFamily NOTIFY changed)

public:
    explicit SystemStyle(QObject *parent = nullptr);

    /// Serves events until the portal has answered, for at most 100 ms.
    void waitForPortal();

    bool isDark() const;
    QColor accent() const;
    bool isStill() const { return isStill_; }
    QString fontFamily() const;
    qreal fontSize() const;
    static QString monospacedFamily();

    /// Gives these colours to the title bars that Qt draws under Wayland.
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

    MessageBus bus_{MessageBus::Bus::session};
    bool isAnswered_ = false;
    bool isColouring_ = false; // Qt announces our own change of the palette too
    uint scheme_ = 0;          // of windows: 1 dark, 2 light, any other value leaves it to Qt
    QColor chosenAccent_;      // invalid: the player chose none
    const bool isGnome_ = qEnvironmentVariable("XDG_CURRENT_DESKTOP").contains(u"GNOME");
    std::optional<QFont> gnomeFont_;
    qreal textScale_ = 1;
    bool isStill_ = false;
    std::optional<QPalette> desktopPalette_; // before the title bars were coloured
};

} // namespace brindle
