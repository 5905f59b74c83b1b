#include "base/Threads.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThreadPool>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <utility>

namespace brindle {

namespace {

constexpr int patienceMilliseconds = 500;

struct Pools
{
    QThreadPool workers;
    QThreadPool others;
    std::stop_source programEnds;
};

void end();

/// Never destroyed, because a thread may outlast the application object.
Pools &pools()
{
    static Pools *const pools = [] {
        auto *const made = new Pools;
        made->workers.setMaxThreadCount(Threads::maxWorkers);
        made->others.setMaxThreadCount(std::numeric_limits<int>::max());
        qAddPostRoutine(end);
        return made;
    }();
    return *pools;
}

void end()
{
    pools().programEnds.request_stop();
    const QDeadlineTimer soon(patienceMilliseconds);
    pools().others.waitForDone(patienceMilliseconds);
    pools().workers.waitForDone(static_cast<int>(soon.remainingTime()));
}

} // namespace

void Threads::startOnWorker(std::function<void()> work)
{
    pools().workers.start(std::move(work));
}

void Threads::start(std::function<void(std::stop_token)> work)
{
    pools().others.start([work = std::move(work)] { work(pools().programEnds.get_token()); });
}

Threads::ProgramEnd::~ProgramEnd()
{
    if (pools().workers.activeThreadCount() + pools().others.activeThreadCount() > 0) {
        std::fflush(nullptr);
        std::_Exit(EXIT_SUCCESS);
    }
}

} // namespace brindle
