#pragma once

#include "base/Callbacks.h"
#include "net/Transfer.h"

#include <mutex>
#include <stop_token>

namespace brindle {

/// Fetches one file at a time to a place on disk. Reused for the next download; must not be called
/// while one runs.
class FileDownloader
{
public:
    /// Set by the owner before a download; called on the transfer's thread.
    void setOnProgress(ProgressCallback onProgress);

    /// Returns when the file lies at `destination`, where it appears by one rename and replaces
    /// what was there; what it returns reads that very file. Throws SetupError for an HTTP status
    /// other than 200 and for a file over the limit, TransferError for network failures,
    /// SystemError when the file can't be written or is announced larger than what the disk has
    /// left, and CancellationError after `cancelTask` or a request of `stop`. On failure
    /// `destination` is left as it was, save that something in its place may have gone when the
    /// rename fails.
    QCoro::Task<std::shared_ptr<QFile>>
    download(QUrl url, QString destination, std::stop_token stop, TransferOptions options = {});

    /// Cancels the running transfer, if there is one; a completed one is not affected. Any thread.
    void cancelTask();

private:
    std::mutex lock_;                         // guards task_
    std::stop_source task_{std::nostopstate}; // stops the running transfer; kept after completion
    ProgressCallback onProgress_;
};

} // namespace brindle
