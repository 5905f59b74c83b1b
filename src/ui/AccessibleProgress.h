#pragma once

#include <QAccessibleObject>
#include <QQuickItem>

namespace brindle {

/// A progress bar as a screen reader meets it, with its value: Qt Quick (6.4) has values for
/// sliders and the like only. For items with the properties "value" (0 to 1), "indeterminate" and
/// "accessibleName". Main thread only.
class AccessibleProgress final : public QAccessibleObject, public QAccessibleValueInterface
{
public:
    explicit AccessibleProgress(QQuickItem *item);

    /// From now on Qt's accessibility asks this class about all of Qt Quick's progress bars.
    static void install();

    QAccessibleInterface *parent() const override;
    QAccessibleInterface *child(int index) const override;
    int childCount() const override;
    int indexOfChild(const QAccessibleInterface *child) const override;
    QWindow *window() const override;
    QRect rect() const override;
    QString text(QAccessible::Text text) const override;
    QAccessible::Role role() const override;
    QAccessible::State state() const override;
    void *interface_cast(QAccessible::InterfaceType type) override;

    QVariant currentValue() const override;
    void setCurrentValue(const QVariant &value) override;
    QVariant maximumValue() const override;
    QVariant minimumValue() const override;
    QVariant minimumStepSize() const override;

private:
    QQuickItem *item() const { return static_cast<QQuickItem *>(object()); }
    bool isIndeterminate() const;
};

} // namespace brindle
