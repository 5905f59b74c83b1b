#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// What the desktop says about the look of windows: whether they are dark, its accent colour and
/// its fonts. Main thread only.
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

    static bool isDark();
    static QColor accent();
    static QString fontFamily();
    static qreal fontSize();
    static QString monospacedFamily();

Q_SIGNALS:
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace brindle
