#include "net/Transfer.h"

#include "base/Error.h"
#include "net/TransferJob.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

namespace brindle {

QCoro::Task<TransferResult> Transfer::toFile(QUrl url, QString file, ProgressCallback onProgress,
                                             std::stop_token stop, TransferOptions options)
{
    checkCancellation(stop);
    auto job = std::make_shared<TransferJob>(std::move(url), std::move(file), std::move(onProgress),
                                             options);
    const OneShot<TransferResult> result = job->result;
    const std::stop_callback onStop(stop, [weak = std::weak_ptr(job)] {
        if (const auto running = weak.lock()) {
            running->cancel();
        }
    });
    job->start();
    // Only its thread keeps it, and so clears up after it, which may take a while.
    job.reset();
    co_return co_await result;
}

QCoro::Task<TransferResult> Transfer::toMemory(QUrl url, qint64 limit, std::stop_token stop,
                                               TransferOptions options)
{
    options.limit = limit;
    // Without a name of a file the body stays in memory.
    return toFile(std::move(url), {}, {}, std::move(stop), std::move(options));
}

std::shared_ptr<void> Transfer::keepConnections()
{
    return Http::keepConnections();
}

double Transfer::rate(qint64 written, std::chrono::duration<double> elapsed)
{
    return static_cast<double>(written) / std::max(elapsed.count(), 0.001);
}

} // namespace brindle
