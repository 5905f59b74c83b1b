#pragma once

#include "base/Callbacks.h"
#include "net/TransferOptions.h"
#include "net/TransferResult.h"

#include <QCoroTask>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

namespace brindle {

class TransferJob;

/// One HTTP(S) GET with libcurl on a worker thread of its own, which is its serial event queue.
///
/// Plain http is refused except to this machine itself (see PlainHttp). Follows up to 20 redirects,
/// never from https to http. 60 seconds without a byte are a time-out,
/// however long the whole takes. A body shorter than announced is a failure, as is one in a
/// content encoding; of one that is longer, the announced length counts. The ways that the system's
/// proxy settings name are tried in their order until one leads to the server. Memory stays flat.
/// The object may be dropped while `run` is under way, which goes on.
class Transfer
{
public:
    /// Prepares a transfer into the file `file`, which is created or overwritten as the bytes
    /// arrive and synced to the disk in the end. Only the body of a final answer with status 200
    /// is written; other bodies are not even received. One that is announced larger than what the
    /// disk has left fails before its first byte. After a failure a part of it may be there.
    static std::shared_ptr<Transfer> toFile(QUrl url, QString file, ProgressCallback onProgress,
                                            TransferOptions options = {});

    /// Prepares a transfer into memory; a body over `limit` bytes is a failure.
    static std::shared_ptr<Transfer> toMemory(QUrl url, qint64 limit, TransferOptions options = {});

    ~Transfer();

    /// Runs the transfer; call once. Resumes on the caller's thread. Throws TransferError
    /// (`cancelled` after `cancel` or a request of `stop`), SystemError when the file can't be
    /// written, or SetupError when it is larger than allowed. Any HTTP status is a result, not an
    /// error.
    QCoro::Task<TransferResult> run(std::stop_token stop);

    /// Ends the transfer at once, even while the server is silent or a name look-up hangs. Any
    /// thread; none before `run` has been called is lost, and none after the end has an effect.
    /// The file is not created any more once `run` has thrown.
    void cancel();

    /// Bytes per second, by at least a millisecond. Pure; any thread.
    static double rate(qint64 written, std::chrono::duration<double> elapsed);

private:
    explicit Transfer(std::shared_ptr<TransferJob> job);
    std::shared_ptr<TransferJob> job_;
};

} // namespace brindle
