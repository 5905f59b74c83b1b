#pragma once

#include <QSemaphore>
#include <QThreadPool>

#include <memory>

namespace brindle {

/// A pool that is slow: what is given to the global pool's workers waits until the test lets it
/// pass. Main thread.
class WorkerHold
{
public:
    WorkerHold()
    {
        pool_->waitForDone();
        pool_->setMaxThreadCount(1);
        enqueue();
        blocker_->entered.acquire();
    }
    ~WorkerHold() { open(); }
    WorkerHold(const WorkerHold &) = delete;
    WorkerHold &operator=(const WorkerHold &) = delete;

    /// Returns when all that waits now has been done; what is given later waits.
    void letPass()
    {
        const auto before = blocker_;
        enqueue();
        before->leave.release();
        blocker_->entered.acquire();
    }

    /// From now on nothing waits.
    void open()
    {
        if (blocker_) {
            blocker_->leave.release();
            blocker_.reset();
            pool_->setMaxThreadCount(threads_);
        }
    }

private:
    struct Blocker
    {
        QSemaphore entered;
        QSemaphore leave;
    };

    void enqueue()
    {
        blocker_ = std::make_shared<Blocker>();
        pool_->start([blocker = blocker_] {
            blocker->entered.release();
            blocker->leave.acquire();
        });
    }

    QThreadPool *const pool_ = QThreadPool::globalInstance();
    const int threads_ = pool_->maxThreadCount();
    std::shared_ptr<Blocker> blocker_;
};

} // namespace brindle
