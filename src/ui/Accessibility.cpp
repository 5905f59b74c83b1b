#include "ui/Accessibility.h"

#include <QAccessible>
#include <QAccessibleObject>
#include <QQuickItem>
#include <QQuickWindow>

namespace brindle {

namespace {

/// A progress bar as a screen reader meets it.
class AccessibleProgress final : public QAccessibleObject, public QAccessibleValueInterface
{
public:
    explicit AccessibleProgress(QQuickItem *item) : QAccessibleObject(item) {}

    QAccessibleInterface *parent() const override
    {
        for (QQuickItem *above = item()->parentItem(); above; above = above->parentItem()) {
            // Only items that take part have one.
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
        if (text == QAccessible::Name) {
            return item()->property("accessibleName").toString();
        }
        if (text == QAccessible::Description) {
            return item()->property("description").toString();
        }
        if (text == QAccessible::Value && !isIndeterminate()) {
            return QStringLiteral("%1 %").arg(qRound(currentValue().toDouble() * 100));
        }
        return {};
    }

    QAccessible::Role role() const override { return QAccessible::ProgressBar; }

    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.readOnly = true;
        state.invisible = !item()->isVisible() || !window() || !window()->isVisible();
        state.busy = isIndeterminate();
        return state;
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::ValueInterface) {
            return static_cast<QAccessibleValueInterface *>(this);
        }
        return QAccessibleObject::interface_cast(type);
    }

    QVariant currentValue() const override { return item()->property("value"); }
    void setCurrentValue(const QVariant & /*value*/) override {}
    QVariant maximumValue() const override { return 1.0; }
    QVariant minimumValue() const override { return 0.0; }
    QVariant minimumStepSize() const override { return 0.0; }

private:
    QQuickItem *item() const { return static_cast<QQuickItem *>(object()); }
    bool isIndeterminate() const { return item()->property("indeterminate").toBool(); }
};

QAccessibleInterface *makeProgress(const QString &className, QObject *object)
{
    auto *const item = qobject_cast<QQuickItem *>(object);
    return item && className == QStringLiteral("QQuickProgressBar") ? new AccessibleProgress(item)
                                                                    : nullptr;
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

void Accessibility::install()
{
    QAccessible::installFactory(&makeProgress);
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
