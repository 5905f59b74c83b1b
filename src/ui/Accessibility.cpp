#include "ui/Accessibility.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QStyleHints>
#include <private/qaccessiblequickitem_p.h>
#include <private/qquickitem_p.h>

using namespace Qt::StringLiterals;

namespace brindle {

namespace {

// The keys that press the focused control.
const QList<int> pressKeys{Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter};

class AccessibleProgress final : public QAccessibleQuickItem
{
public:
    using QAccessibleQuickItem::QAccessibleQuickItem;

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleQuickItem::state();
        state.readOnly = true;
        state.busy = item()->property("indeterminate").toBool();
        return state;
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface *>(this)
                                                   : QAccessibleQuickItem::interface_cast(type);
    }

    QVariant maximumValue() const override { return 1.0; }
};

/// The content of the window or a sheet. Has no children while a modal layer covers it.
class AccessibleLayer final : public QAccessibleQuickItem
{
public:
    using QAccessibleQuickItem::QAccessibleQuickItem;

    QAccessibleInterface *child(int index) const override
    {
        return isCovered() ? nullptr : QAccessibleQuickItem::child(index);
    }
    int childCount() const override { return isCovered() ? 0 : QAccessibleQuickItem::childCount(); }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleQuickItem::state();
        state.modal = role() != QAccessible::Pane;
        state.focused = false; // an item inside has the focus
        return state;
    }

private:
    /// Returns whether a focus scope around the item lacks the focus, because a popup has it.
    bool isCovered() const
    {
        const QQuickItem *scope = item();
        while (scope && (scope->hasFocus() || !scope->isFocusScope())) {
            scope = scope->parentItem();
        }
        return scope && scope->parentItem();
    }
};

QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    auto *const item = qobject_cast<QQuickItem *>(object);
    if (!item || !QQuickItemPrivate::get(item)->isAccessible) {
        return nullptr;
    }
    return className == u"QQuickProgressBar"  ? new AccessibleProgress(item)
           : className == u"QQuickFocusScope" ? new AccessibleLayer(item)
                                              : static_cast<QAccessibleInterface *>(nullptr);
}

} // namespace

Accessibility::Accessibility()
{
    qGuiApp->installEventFilter(this);
}

bool Accessibility::eventFilter(QObject *watched, QEvent *event)
{
    const bool isKey = event->type() == QEvent::KeyPress;
    if (!watched->isWindowType() || (!isKey && event->type() != QEvent::MouseButtonPress &&
                                     event->type() != QEvent::TouchBegin)) {
        return false;
    }
    keyboard_ = isKey;
    Q_EMIT keyboardChanged();
    const QKeyEvent *const key = isKey ? static_cast<QKeyEvent *>(event) : nullptr;
    if (key && key->isAutoRepeat()) {
        return false;
    }
    const auto quick =
        static_cast<quint64>(QGuiApplication::styleHints()->mouseDoubleClickInterval());
    const bool isAgain = key && pressKeys.contains(key->key()) && key->key() == lastKey_ &&
                         key->timestamp() - lastTime_ < quick &&
                         QGuiApplication::focusObject() != lastFocus_;
    lastKey_ = key ? key->key() : 0;
    lastTime_ = key ? key->timestamp() : 0;
    if (!isAgain) {
        lastFocus_ = QGuiApplication::focusObject();
    }
    return isAgain;
}

void Accessibility::install()
{
    QAccessible::installFactory(&makeInterface);
}

void Accessibility::announce(QObject *item)
{
    if (!item) {
        return;
    }
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    const QAccessibleInterface *const said = QAccessible::queryAccessibleInterface(item);
    if (!said) {
        return;
    }
    QStringList text{said->text(QAccessible::Name), said->text(QAccessible::Description)};
    text.removeAll(QString());
    QAccessibleAnnouncementEvent event(item, text.join(QLatin1Char('\n')));
#else
    // On Linux, Qt passes no alert events on. Screen readers announce a notification that appears.
    QAccessibleEvent event(item, QAccessible::ObjectShow);
#endif
    QAccessible::updateAccessibility(&event);
}

} // namespace brindle
