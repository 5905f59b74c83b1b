#pragma once

#include "base/Worker.h"

#include <memory>
#include <semaphore>
#include <utility>

namespace brindle {

/// Workers that are slow: what is given to them waits until the test lets it pass. Main thread.
class WorkerHold
{
public:
    /// Returns when all that was given before has been done.
    WorkerHold() : blocker_(block()) { blocker_->waitUntilAllBlock(); }
    ~WorkerHold() { open(); }
    WorkerHold(const WorkerHold &) = delete;
    WorkerHold &operator=(const WorkerHold &) = delete;

    /// Returns when all that waits now has been done; what is given later waits.
    void letPass()
    {
        const auto before = std::exchange(blocker_, block());
        before->leave.release(Threads::maxWorkers);
        blocker_->waitUntilAllBlock();
    }

    /// From now on nothing waits.
    void open()
    {
        if (blocker_) {
            blocker_->leave.release(Threads::maxWorkers);
            blocker_.reset();
        }
    }

private:
    /// Work for each of the workers, which keeps it from everything behind it.
    struct Blocker
    {
        void waitUntilAllBlock()
        {
            for (int i = 0; i < Threads::maxWorkers; ++i) {
                entered.acquire();
            }
        }

        std::counting_semaphore<> entered{0};
        std::counting_semaphore<> leave{0};
    };

    static std::shared_ptr<Blocker> block()
    {
        auto blocker = std::make_shared<Blocker>();
        for (int i = 0; i < Threads::maxWorkers; ++i) {
            Threads::startOnWorker([blocker] {
                blocker->entered.release();
                blocker->leave.acquire();
            });
        }
        return blocker;
    }

    std::shared_ptr<Blocker> blocker_;
};

} // namespace brindle
