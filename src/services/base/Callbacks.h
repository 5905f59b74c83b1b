#pragma once

#include <QString>

#include <functional>

namespace brindle {

// Each of these callbacks may be called on any thread.

/// Receives the bytes so far, the bytes expected (negative when unknown) and the bytes per second.
using ProgressCallback = std::function<void(qint64 done, qint64 total, double rate)>;
/// Receives one line for the log.
using LineCallback = std::function<void(QString line)>;
/// Receives a short headline for the current step.
using StatusCallback = std::function<void(QString text)>;

} // namespace brindle
