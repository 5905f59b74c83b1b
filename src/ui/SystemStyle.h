#pragma once

#include "ui/MessageBus.h"

#include <QColor>
#include <QDBusVariant>
#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// What the desktop says about the look of windows: whether they are dark, its accent colour and
/// its fonts. What the player has chosen in GNOME is asked of the desktop's portal, as Qt (6.8)
/// does not. Main thread only.
class SystemStyle : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool dark READ isDark NOTIFY changed)
    /// What the desktop marks things with; invalid where it names nothing.
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    /// The family for all text.
    Q_PROPERTY(QString fontFamily READ fontFamily NOTIFY changed)
    /// The default font's size in pixels.
    Q_PROPERTY(qreal fontSize READ fontSize NOTIFY changed)
    Q_PROPERTY(QString monospacedFamily READ monospacedFamily NOTIFY changed)

public:
    explicit SystemStyle(QObject *parent = nullptr);

    bool isDark() const;
    QColor accent() const;
    static QString fontFamily();
    static qreal fontSize();
    static QString monospacedFamily();

Q_SIGNALS:
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private Q_SLOTS:
    void hear(const QString &group, const QString &key, const QDBusVariant &value);

private:
    static QCoro::Task<> askPortal(QPointer<SystemStyle> self);

    MessageBus bus_{MessageBus::Bus::session};
    uint scheme_ = 0;     // what windows shall be: 1 dark, 2 light, all else as Qt has them
    QColor chosenAccent_; // invalid where none is chosen
};

} // namespace brindle
