#pragma once

#include <QString>

#include <functional>

namespace brindle {

/// The callbacks that go down through the rooms. Each may be called on any thread.

/// Bytes so far, bytes expected (negative when unknown), bytes per second.
using ProgressCallback = std::function<void(qint64 done, qint64 total, double rate)>;
/// One line for the log.
using LineCallback = std::function<void(QString line)>;
/// A short headline of what is being done.
using StatusCallback = std::function<void(QString text)>;

} // namespace brindle
