#include "ui/AccessibleProgress.h"

#include <QQuickWindow>

namespace brindle {

namespace {

QAccessibleInterface *make(const QString &className, QObject *object)
{
    if (className != QStringLiteral("QQuickProgressBar")) {
        return nullptr;
    }
    auto *const item = qobject_cast<QQuickItem *>(object);
    return item ? new AccessibleProgress(item) : nullptr;
}

} // namespace

AccessibleProgress::AccessibleProgress(QQuickItem *item) : QAccessibleObject(item) {}

void AccessibleProgress::install()
{
    QAccessible::installFactory(&make);
}

QAccessibleInterface *AccessibleProgress::parent() const
{
    for (QQuickItem *above = item()->parentItem(); above; above = above->parentItem()) {
        // Only items that take part have one.
        if (QAccessibleInterface *const found = QAccessible::queryAccessibleInterface(above)) {
            return found;
        }
    }
    return QAccessible::queryAccessibleInterface(window());
}

QAccessibleInterface *AccessibleProgress::child(int /*index*/) const
{
    return nullptr;
}

int AccessibleProgress::childCount() const
{
    return 0;
}

int AccessibleProgress::indexOfChild(const QAccessibleInterface * /*child*/) const
{
    return -1;
}

QWindow *AccessibleProgress::window() const
{
    return item()->window();
}

QRect AccessibleProgress::rect() const
{
    if (!window()) {
        return {};
    }
    const QRectF inWindow = item()->mapRectToScene(item()->boundingRect());
    return QRectF(window()->mapToGlobal(inWindow.topLeft()), inWindow.size()).toRect();
}

QString AccessibleProgress::text(QAccessible::Text text) const
{
    switch (text) {
    case QAccessible::Name:
        return item()->property("accessibleName").toString();
    case QAccessible::Value:
        return isIndeterminate()
                   ? QString()
                   : QStringLiteral("%1 %").arg(qRound(item()->property("value").toDouble() * 100));
    default:
        return {};
    }
}

QAccessible::Role AccessibleProgress::role() const
{
    return QAccessible::ProgressBar;
}

QAccessible::State AccessibleProgress::state() const
{
    QAccessible::State state;
    state.readOnly = true;
    state.invisible = !item()->isVisible() || !window() || !window()->isVisible();
    state.busy = isIndeterminate();
    return state;
}

void *AccessibleProgress::interface_cast(QAccessible::InterfaceType type)
{
    if (type == QAccessible::ValueInterface) {
        return static_cast<QAccessibleValueInterface *>(this);
    }
    return QAccessibleObject::interface_cast(type);
}

QVariant AccessibleProgress::currentValue() const
{
    return item()->property("value");
}

void AccessibleProgress::setCurrentValue(const QVariant & /*value*/) {}

QVariant AccessibleProgress::maximumValue() const
{
    return 1.0;
}

QVariant AccessibleProgress::minimumValue() const
{
    return 0.0;
}

QVariant AccessibleProgress::minimumStepSize() const
{
    return 0.0;
}

bool AccessibleProgress::isIndeterminate() const
{
    return item()->property("indeterminate").toBool();
}

} // namespace brindle
