#pragma once

#include <QObject>

#include <functional>

namespace brindle {

/// Catches SIGTERM, SIGINT and SIGHUP, except those that are ignored. They no longer end the
/// process. Calls `act` from the event loop, at least once for each such signal, while `receiver`
/// lives. Main thread.
void onTerminationSignal(QObject *receiver, std::function<void()> act);

} // namespace brindle
