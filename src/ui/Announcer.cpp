#include "ui/Announcer.h"

#include <QAccessible>

namespace brindle {

void Announcer::announce(QObject *item) const
{
    QAccessibleEvent event(item, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace brindle
