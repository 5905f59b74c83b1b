#pragma once

#include "services/Continuation.h"

#include <QByteArray>
#include <QCoroTask>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <stop_token>

namespace brindle {

/// What a finished transfer tells about the answer. `body` is filled by memory transfers only.
struct TransferResult {
    int status = 0; ///< HTTP status of the last answer
    QString host; ///< host that finally answered, after redirects; may be empty
    QByteArray body;
};

/// One HTTP(S) GET with libcurl on a worker thread of its own, which is its serial event queue.
///
/// Follows redirects, never from https to http. 60 seconds without a byte are a time-out. A body
/// shorter than announced is a failure. Uses the system's proxy settings. Memory stays flat.
class Transfer
{
public:
    /// Bytes so far, bytes expected (negative when the server sent no length), bytes per second.
    /// Called on the transfer's own thread, never under a lock.
    using Progress = std::function<void(qint64 written, qint64 expected, double rate)>;

    /// Prepares a transfer into the file `file`, which is created or overwritten as the bytes
    /// arrive. Only the body of a final answer with status 200 is written.
    static std::shared_ptr<Transfer> toFile(QUrl url, QString file, Progress onProgress);

    /// Prepares a transfer into memory; a body over `limit` bytes is a failure.
    static std::shared_ptr<Transfer> toMemory(QUrl url, qint64 limit);

    ~Transfer();

    /// Runs the transfer; call once. Resumes on the caller's thread. Throws TransferError
    /// (`cancelled` after `cancel` or a request of `stop`), or SystemError when the file can't be
    /// written. Any HTTP status is a result, not an error.
    QCoro::Task<TransferResult> run(std::stop_token stop);

    /// Ends the transfer at once, even while the server is silent or a name look-up hangs. Any
    /// thread; no effect before `run` has been called is lost, and none after the end.
    void cancel();

private:
    class Impl;
    explicit Transfer(std::shared_ptr<Impl> impl);
    std::shared_ptr<Impl> impl_;
};

} // namespace brindle
