#include "net/Transfer.h"

#include "net/TransferJob.h"

#include <algorithm>
#include <utility>

namespace brindle {

std::shared_ptr<Transfer> Transfer::toFile(QUrl url, QString file, ProgressCallback onProgress,
                                           TransferOptions options)
{
    return std::shared_ptr<Transfer>(new Transfer(std::make_shared<TransferJob>(
        std::move(url), std::move(file), std::move(onProgress), std::move(options))));
}

std::shared_ptr<Transfer> Transfer::toMemory(QUrl url, qint64 limit, TransferOptions options)
{
    options.limit = limit;
    return std::shared_ptr<Transfer>(new Transfer(std::make_shared<TransferJob>(
        std::move(url), QString(), ProgressCallback(), std::move(options))));
}

Transfer::Transfer(std::shared_ptr<TransferJob> job) : job_(std::move(job)) {}

Transfer::~Transfer() = default;

QCoro::Task<TransferResult> Transfer::run(std::stop_token stop)
{
    const auto job = job_; // this object may go
    const std::stop_callback onStop(stop, [&job = *job] { job.cancel(); });
    job->start();
    const OneShot<TransferResult> result = job->result();
    co_return co_await result;
}

void Transfer::cancel()
{
    job_->cancel();
}

double Transfer::rate(qint64 written, std::chrono::duration<double> elapsed)
{
    return static_cast<double>(written) / std::max(elapsed.count(), 0.001);
}

} // namespace brindle
