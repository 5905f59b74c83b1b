#pragma once

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// Gives screen readers more than Qt Quick does by itself. Also ignores the second of two quick
/// presses of one key if the focus moved by itself between them, because the player meant the
/// earlier control. Main thread only.
class Accessibility : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    /// True if the player's last press was on the keyboard.
    Q_PROPERTY(bool keyboard READ isKeyboard NOTIFY keyboardChanged)

public:
    Accessibility();

    /// Makes Qt Quick report the value of progress bars, and hide content below a modal layer. Qt
    /// 6.4 does neither.
    static void install();

    bool isKeyboard() const { return keyboard_; }

    /// Announces an item's accessible name and description. The item must have the role of a
    /// notification.
    Q_INVOKABLE static void announce(QObject *item);

Q_SIGNALS:
    void keyboardChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool keyboard_ = false;
    // The last press on the keyboard.
    int lastKey_ = 0;
    quint64 lastTime_ = 0; // in milliseconds; 0 after a click
    QPointer<QObject> lastFocus_;
};

} // namespace brindle
