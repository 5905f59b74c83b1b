#pragma once

#include "base/Threads.h"

#include <QCoroTask>
#include <QDBusConnection>

namespace brindle {

/// Connects to one of the desktop's message buses (D-Bus). Every call on the returned connection
/// fails at once where that is impossible. Never blocks, throws or prints. Main thread only.
inline QCoro::Task<QDBusConnection> openBus(QDBusConnection::BusType bus)
{
    // Connecting to a silent bus blocks. Never connect by address: Qt (6.4) then ends the program
    // if nobody answers.
    const auto connect = [isSession = bus == QDBusConnection::SessionBus] {
        return isSession ? QDBusConnection::sessionBus() : QDBusConnection::systemBus();
    };
    co_return co_await runOnWorker(connect, {}, &Threads::start);
}

} // namespace brindle
