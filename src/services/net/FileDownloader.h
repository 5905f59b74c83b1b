#pragma once

#include "base/Callbacks.h"
#include "net/Transfer.h"

#include <memory>
#include <stop_token>

namespace brindle {

/// Downloads files, one at a time.
struct FileDownloader
{
    /// Reports the next download's progress, on the transfer's thread.
    ProgressCallback onProgress = {};

    /// Downloads `url` to a hidden file beside `destination`, then renames it to `destination`.
    /// Returns that very file, open for reading. A failure leaves `destination` as it was; a worker
    /// deletes the hidden file. Throws SetupError for a status other than 200 and for a file over
    /// the limit, TransferError for a failure of the network, SystemError for a failure of this
    /// machine, and CancellationError if `stop` is requested before the end.
    QCoro::Task<std::shared_ptr<QFile>>
    download(QUrl url, QString destination, std::stop_token stop, TransferOptions options = {});

    /// Returns the sentence for an answer with a status other than 200. `host` may be empty.
    static QString statusText(int status, const QString &host);
};

} // namespace brindle
