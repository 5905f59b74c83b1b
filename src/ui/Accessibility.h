#pragma once

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// Gives screen readers more than Qt Quick does by itself. If the focus moves by itself between two
/// quick presses of a key, the second press does nothing, because the player meant the control that
/// had the focus before. Main thread only.
class Accessibility : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    /// Whether the player's last press was on the keyboard.
    Q_PROPERTY(bool keyboard READ isKeyboard NOTIFY keyboardChanged)

public:
    Accessibility();

    /// Reports the value of progress bars, and hides content below a modal layer, which Qt Quick
    /// (6.4) does not.
    static void install();

    bool isKeyboard() const { return keyboard_; }

    /// Announces the accessible name and description of an item in the role of a notification.
    Q_INVOKABLE static void announce(QObject *item);

Q_SIGNALS:
    void keyboardChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool keyboard_ = false;
    // The last press on the keyboard.
    int lastKey_ = 0;
    quint64 lastTime_ = 0; // in milliseconds
    QPointer<QObject> lastFocus_;
};

} // namespace brindle
