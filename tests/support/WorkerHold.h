#pragma once

#include "base/Threads.h"

#include <memory>
#include <semaphore>
#include <utility>

namespace brindle {

/// Keeps all workers busy until the test lets work pass. Call from the main thread.
class WorkerHold
{
public:
    /// Waits until all earlier work is done.
    WorkerHold() : blocker_(block()) { blocker_->waitUntilAllBlock(); }
    ~WorkerHold() { open(); }
    WorkerHold(const WorkerHold &) = delete;
    WorkerHold &operator=(const WorkerHold &) = delete;

    /// Waits until all waiting work is done. Later work waits again.
    void letPass()
    {
        const auto before = std::exchange(blocker_, block());
        before->leave.release(Threads::maxWorkers);
        blocker_->waitUntilAllBlock();
    }

    /// Lets all work pass from now on.
    void open()
    {
        if (blocker_) {
            blocker_->leave.release(Threads::maxWorkers);
            blocker_.reset();
        }
    }

private:
    /// Occupies every worker.
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
