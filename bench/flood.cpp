// Peak memory above idle while a child prints without ever ending a line.
//
// usage: bench_flood CHILD BYTES WHERE
//   WHERE is "reader" (the lines are dropped as they come) or "log" (they go where the launcher
//   keeps them)

#include "Measure.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"
#include "process/ManagedProcess.h"

#include <memory>

using namespace brindle;

namespace {

QCoro::Task<> runChild(std::shared_ptr<ManagedProcess> child)
{
    auto running = child->run();
    co_await running;
}

void measure(const QString &program, const QString &bytes, bool intoLog)
{
    LogStore log;
    const auto sink = std::make_shared<LogQueue>(&log);
    const LineCallback onLine = [sink, intoLog](const QString &line) {
        if (intoLog) {
            sink->append(line);
        }
    };
    const auto child = std::make_shared<ManagedProcess>(
        program, QStringList{QStringLiteral("bytes"), bytes}, onLine);
    const double peak = Measure::peakAboveIdle([&] {
        Measure::await(runChild(child));
        sink->flush();
    });
    Measure::printLimit(intoLog ? "memory of 500 MB without a line end, in the log"
                                : "memory of 500 MB without a line end, as read",
                        peak / 1e6, "MB", 16);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(
        argc, argv, "bench_flood CHILD BYTES reader|log", 3, [](const QStringList &arguments) {
            measure(arguments.at(0), arguments.at(1), arguments.at(2) == u"log");
        });
}
