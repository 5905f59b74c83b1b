#pragma once

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// Tells screen readers what Qt Quick does not tell them by itself. Main thread only.
class Accessibility : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// From now on progress bars have a value: Qt Quick (6.4) knows values of sliders and the like
    /// only. The bars' items have the properties "value" (0 to 1), "indeterminate",
    /// "accessibleName" and "description".
    static void install();

    /// Announces the accessible name and description of an item in the role of a notification, for
    /// a change that happens away from the focus: once, after all that changes together has
    /// changed.
    Q_INVOKABLE void announce(QObject *item);

private:
    QPointer<QObject> next_;
};

} // namespace brindle
