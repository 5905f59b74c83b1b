#pragma once

#include "process/ManagedProcess.h"
#include "support/Await.h"
#include "support/Gate.h"
#include "support/Lifeline.h"
#include "support/Lines.h"
#include "support/TestChild.h"

#include <csignal>
#include <memory>
#include <stop_token>

namespace brindle {

/// A run of the test child, started.
struct ChildRun
{
    explicit ChildRun(const QStringList &steps)
        : process(std::make_shared<ManagedProcess>(testChild(), steps, Lines::into(lines)))
        , task(process->run(stop.get_token()))
    {}

    qint32 status() { return await(std::move(task)); }
    void waitFor(const QString &line) const
    {
        spinUntil([&] { return lines->contains(line); });
    }

    std::shared_ptr<Lines> lines = std::make_shared<Lines>();
    std::stop_source stop;
    std::shared_ptr<ManagedProcess> process;
    QCoro::Task<qint32> task;
};

/// What the test child prints.
inline QStringList linesOf(const QStringList &steps)
{
    ChildRun run(steps);
    const qint32 status = run.status();
    return status == 0 ? run.lines->all()
                       : QStringList{QStringLiteral("exit status %1").arg(status)};
}

inline QString gateStep(const Gate &gate)
{
    return QStringLiteral("gate:") + gate.path();
}

inline QString holdStep(const Lifeline &lifeline)
{
    return QStringLiteral("hold:") + lifeline.path();
}

/// Kills the process whose number a child printed. Anything else that it printed would be 0, which
/// stands for everything that this test belongs to.
inline bool killPrinted(const QString &line)
{
    const int pid = line.toInt();
    return pid > 1 && ::kill(pid, SIGKILL) == 0;
}

} // namespace brindle
