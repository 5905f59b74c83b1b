#pragma once

#include <QCoroTask>
#include <QDBusConnection>

#include <memory>

namespace brindle {

/// Makes a private connection to one of the desktop's message buses (D-Bus), but starts no bus.
/// Returns null where that is impossible. The last copy of the pointer closes the connection, which
/// also ends every service's work for it. Never blocks, throws or prints. Main thread only.
QCoro::Task<std::shared_ptr<QDBusConnection>> openBus(QDBusConnection::BusType bus);

} // namespace brindle
