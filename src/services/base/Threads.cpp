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

struct Pools
{
    Pools();

    QThreadPool workers;
    QThreadPool others;
};

/// Never destroyed, because a thread may outlast the application object.
Pools &pools()
{
    static auto *const only = new Pools;
    return *only;
}

Pools::Pools()
{
    workers.setMaxThreadCount(Threads::maxWorkers);
    others.setMaxThreadCount(std::numeric_limits<int>::max());
    qAddPostRoutine([] {
        const QDeadlineTimer end(500);
        pools().others.waitForDone(static_cast<int>(end.remainingTime()));
        pools().workers.waitForDone(static_cast<int>(end.remainingTime()));
    });
}

} // namespace

void Threads::startOnWorker(std::function<void()> work)
{
    pools().workers.start(std::move(work));
}

void Threads::start(std::function<void()> work)
{
    pools().others.start(std::move(work));
}

Threads::ProgramEnd::~ProgramEnd()
{
    if (pools().workers.activeThreadCount() + pools().others.activeThreadCount() > 0) {
        std::fflush(nullptr);
        std::_Exit(EXIT_SUCCESS);
    }
}

} // namespace brindle
