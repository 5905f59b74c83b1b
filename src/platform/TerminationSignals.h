#pragma once

#include <QObject>

#include <functional>

namespace brindle {

/// Keeps SIGTERM, SIGINT and SIGHUP from ending the process, unless the process already ignores
/// them. Calls `act` from the event loop after such a signal, while `receiver` lives. Main thread.
void onTerminationSignal(QObject *receiver, std::function<void()> act);

} // namespace brindle
