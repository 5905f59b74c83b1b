#pragma once

#include "base/Callbacks.h"

#include <QByteArray>
#include <QCoroTask>
#include <QFile>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string_view>

namespace brindle {

class OutputFile;

/// Receives each written piece of a body, in order. Offset 0 starts the body, perhaps again.
using BytesCallback = std::function<void(qint64 offset, std::string_view bytes)>;

/// Limits and hooks of one transfer. Only tests change the time-out and the limit.
struct TransferOptions
{
    /// A request fails after this time without a byte. A slow disk's time does not count.
    std::chrono::milliseconds idleTimeout = std::chrono::seconds(60);
    /// A PEM file of certificates to trust; empty for the system's.
    QString caFile;
    /// The most bytes of a body; more is a failure. Real archives stay far below.
    qint64 limit = 8LL << 30U;
    BytesCallback onBytes = {};
    /// For tests: maps a wait between attempts to the time really waited.
    std::function<std::chrono::milliseconds(std::chrono::milliseconds)> waiting = {};
};

struct TransferResult
{
    int status = 0;              ///< HTTP status of the last answer
    QString host;                ///< of the last answer, after redirects
    std::shared_ptr<QFile> file; ///< the body of status 200: open, at its start
};

/// Sends HTTP(S) GET requests. Each transfer has its own thread, its serial event queue.
///
/// - Plain http is refused except to this machine. Up to 20 redirects are followed, never from
///   https to http. The first proxy that the system's settings name is used.
/// - A body shorter than announced is a failure. A longer body is cut at the announced length.
///   Memory use stays flat.
/// - The connections of one transfer are kept for the next one.
/// - An answer that breaks off or stalls is continued if its server supports that, or begun anew.
///   After an attempt that brings less than 1 KiB the transfer waits, up to 8 seconds. It fails
///   after six such attempts in a row.
/// - If a busy server (429, 503) asks for a pause of at most a minute, the transfer waits and asks
///   again, twice at most.
/// - `onProgress` is called after bytes arrived, at most 50 times a second, and each second while
///   none arrive.
///
/// Callbacks run on the transfer's thread, for a moment even after a cancellation. The caller
/// resumes on its own thread. Every HTTP status is a result. Throws TransferError, SystemError for
/// a failure of this machine, SetupError for a file over the limit, and CancellationError. `stop`
/// takes effect at once, even during a silence, a name look-up or a write.
namespace Transfer {

/// Writes a body of status 200 to `file`, without a sync. Other bodies are not received. Fails at
/// once if the announced length exceeds the free disk space.
QCoro::Task<TransferResult> toFile(QUrl url, std::shared_ptr<OutputFile> file,
                                   ProgressCallback onProgress, std::stop_token stop,
                                   TransferOptions options = {});

} // namespace Transfer

} // namespace brindle
