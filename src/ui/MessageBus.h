#pragma once

#include "base/Threads.h"

#include <QCoroTask>
#include <QDBusConnection>

namespace brindle {

/// Connects to one of the desktop's message buses (D-Bus). Without a bus, every call on the
/// returned connection fails at once. Never blocks, throws or prints. Main thread only.
inline QCoro::Task<QDBusConnection> openBus(QDBusConnection::BusType bus)
{
    // Connecting to a silent bus blocks, so use a thread. Never connect by address: then Qt 6.4
    // ends the program if nobody answers.
    const auto connect = [isSession = bus == QDBusConnection::SessionBus] {
        return isSession ? QDBusConnection::sessionBus() : QDBusConnection::systemBus();
    };
    co_return co_await runOnWorker(connect, {}, &Threads::start);
}

} // namespace brindle
