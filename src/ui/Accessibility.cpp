#include "ui/Accessibility.h"

#include <QAccessible>
#include <QAccessibleObject>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStyleHints>

#include <utility>

using namespace Qt::StringLiterals;

namespace brindle {

namespace {

// The keys that press the focused control.
const QList<int> pressKeys{Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter};

/// Returns a property of the item's Accessible attached object.
QVariant attached(const QObject *item, const char *property)
{
    const auto children = item->children();
    for (const QObject *const child : children) {
        if (child->inherits("QQuickAccessibleAttached")) {
            return child->property(property);
        }
    }
    return {};
}

/// An item without children, for screen readers.
class AccessibleItem : public QAccessibleObject
{
public:
    explicit AccessibleItem(QQuickItem *item) : QAccessibleObject(item) {}

    QAccessibleInterface *parent() const override
    {
        for (QQuickItem *above = item()->parentItem(); above; above = above->parentItem()) {
            // Items that screen readers ignore have no interface.
            if (QAccessibleInterface *const found = QAccessible::queryAccessibleInterface(above)) {
                return found;
            }
        }
        return QAccessible::queryAccessibleInterface(window());
    }
    QAccessibleInterface *child(int /*index*/) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface * /*child*/) const override { return -1; }
    QWindow *window() const override { return item()->window(); }

    QRect rect() const override
    {
        if (!window()) {
            return {};
        }
        const QRectF inWindow = item()->mapRectToScene(item()->boundingRect());
        return QRectF(window()->mapToGlobal(inWindow.topLeft()), inWindow.size()).toRect();
    }

    QString text(QAccessible::Text text) const override
    {
        return text == QAccessible::Name          ? attached(item(), "name").toString()
               : text == QAccessible::Description ? attached(item(), "description").toString()
                                                  : QString();
    }

    QAccessible::Role role() const override
    {
        return static_cast<QAccessible::Role>(attached(item(), "role").toInt());
    }

    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.invisible = !item()->isVisible() || !window() || !window()->isVisible();
        return state;
    }

protected:
    QQuickItem *item() const { return static_cast<QQuickItem *>(object()); }
};

class AccessibleProgress final : public AccessibleItem, public QAccessibleValueInterface
{
public:
    using AccessibleItem::AccessibleItem;

    QString text(QAccessible::Text text) const override
    {
        if (text == QAccessible::Value && !isIndeterminate()) {
            return u"%1 %"_s.arg(qRound(currentValue().toDouble() * 100));
        }
        return AccessibleItem::text(text);
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = AccessibleItem::state();
        state.readOnly = true;
        state.busy = isIndeterminate();
        return state;
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface *>(this)
                                                   : AccessibleItem::interface_cast(type);
    }

    QVariant currentValue() const override { return item()->property("value"); }
    void setCurrentValue(const QVariant & /*value*/) override {}
    QVariant maximumValue() const override { return 1.0; }
    QVariant minimumValue() const override { return 0.0; }
    QVariant minimumStepSize() const override { return 0.0; }

private:
    bool isIndeterminate() const { return item()->property("indeterminate").toBool(); }
};

/// The window's content or a sheet's. It has children only while no modal layer covers it.
class AccessibleLayer final : public AccessibleItem
{
public:
    using AccessibleItem::AccessibleItem;

    QAccessibleInterface *child(int index) const override { return children().value(index); }
    int childCount() const override { return static_cast<int>(children().size()); }
    int indexOfChild(const QAccessibleInterface *child) const override
    {
        return static_cast<int>(children().indexOf(child));
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = AccessibleItem::state();
        state.modal = role() != QAccessible::Pane;
        return state;
    }

private:
    QList<QAccessibleInterface *> children() const
    {
        QList<QAccessibleInterface *> found;
        if (!isCovered()) {
            collect(item(), &found);
        }
        return found;
    }

    static void collect(const QQuickItem *item, QList<QAccessibleInterface *> *found)
    {
        const auto below = item->childItems();
        for (QQuickItem *const child : below) {
            auto *const interface = QAccessible::queryAccessibleInterface(child);
            if (!interface) {
                collect(child, found);
            } else if (!interface->state().invisible) {
                found->append(interface);
            }
        }
    }

    /// The topmost popup takes the focus from every scope around other layers.
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
    if (item && className == u"QQuickProgressBar") {
        return new AccessibleProgress(item);
    }
    if (item && className == u"QQuickFocusScope" && attached(item, "role").isValid()) {
        return new AccessibleLayer(item);
    }
    return nullptr;
}

void tell(QObject *item)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    const QAccessibleInterface *const said = QAccessible::queryAccessibleInterface(item);
    if (!said) {
        return;
    }
    QStringList text{said->text(QAccessible::Name), said->text(QAccessible::Description)};
    text.removeAll(QString());
    QAccessibleAnnouncementEvent event(item, text.join(QLatin1Char('\n')));
#else
    // On Linux the alert event stays inside Qt. Screen readers say a notification that appears.
    QAccessibleEvent event(item, QAccessible::ObjectShow);
#endif
    QAccessible::updateAccessibility(&event);
}

} // namespace

Accessibility::Accessibility(QObject *parent) : QObject(parent)
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
    if (std::exchange(keyboard_, isKey) != isKey) {
        Q_EMIT keyboardChanged();
    }
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
    if (next_ == item) {
        return;
    }
    next_ = item;
    QMetaObject::invokeMethod(
        this,
        [this, item = QPointer(item)] {
            next_ = nullptr;
            if (item) {
                tell(item);
            }
        },
        Qt::QueuedConnection);
}

} // namespace brindle
