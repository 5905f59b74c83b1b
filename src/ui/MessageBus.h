#pragma once

#include <QCoroTask>
#include <QDBusConnection>

namespace brindle {

/// Connects to one of the desktop's message buses (D-Bus), but starts no bus. Every call on the
/// returned connection fails at once where that is impossible. Never blocks, throws or prints. Main
/// thread only.
QCoro::Task<QDBusConnection> openBus(QDBusConnection::BusType bus);

} // namespace brindle
