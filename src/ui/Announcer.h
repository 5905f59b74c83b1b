#pragma once

#include <QObject>
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

    /// Announces the accessible name and description of an item in the role of a notification.
    Q_INVOKABLE void announce(QObject *item) const;
};

} // namespace brindle
