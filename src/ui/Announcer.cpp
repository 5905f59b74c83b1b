#include "ui/Announcer.h"

#include <QAccessible>

namespace brindle {

namespace {

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

void Announcer::announce(QObject *item)
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
