#pragma once

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

namespace brindle {

/// Tells screen readers of changes that happen away from the focus. Main thread only.
class Announcer : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// Announces the accessible name and description of an item in the role of a notification:
    /// once, after all that changes together has changed.
    Q_INVOKABLE void announce(QObject *item);

private:
    QPointer<QObject> next_;
};

} // namespace brindle
