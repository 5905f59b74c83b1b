// A child that prints as fast as it can, on its way into the log: lines per second, and how long
// the main thread went without serving an event meanwhile.
//
// usage: bench_lines CHILD LINES

#include "Measure.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"
#include "process/ManagedProcess.h"

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <stdexcept>

using namespace brindle;

namespace {

QCoro::Task<> runChild(std::shared_ptr<ManagedProcess> child)
{
    auto running = child->run();
    co_await running;
}

void measure(const QString &program, const QString &count)
{
    std::vector<double> rates;
    qint64 maxGap = 0; // nanoseconds
    for (int i = 0; i < Measure::runs; ++i) {
        LogStore log;
        const auto sink = std::make_shared<LogQueue>(&log);
        const QStringList arguments{QStringLiteral("lines"), count};
        const auto child = std::make_shared<ManagedProcess>(
            program, arguments, [sink](const QString &line) { sink->append(line); });
        // The steadiest thing that the event loop serves. The millisecond between two of its
        // events is part of each gap.
        QTimer pulse;
        pulse.setTimerType(Qt::PreciseTimer);
        pulse.setInterval(1);
        QElapsedTimer sinceLast;
        const auto measureGap = [&] {
            maxGap = std::max(maxGap, sinceLast.nsecsElapsed());
            sinceLast.restart();
        };
        QObject::connect(&pulse, &QTimer::timeout, &pulse, measureGap);
        pulse.start();
        sinceLast.start();
        const double time = Measure::seconds([&] {
            Measure::await(runChild(child));
            sink->flush();
        });
        measureGap();
        if (log.lines().size() != LogStore::maxLines) {
            throw std::runtime_error("the log is not full");
        }
        rates.push_back(count.toDouble() / time);
    }
    Measure::printFigure("lines into the log, thousands a second", Measure::median(rates) / 1000,
                         "");
    Measure::printLimit("longest absence of the main thread meanwhile",
                        static_cast<double>(maxGap) / 1e6, "ms", 50);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(
        argc, argv, "bench_lines CHILD LINES", 2,
        [](const QStringList &arguments) { measure(arguments.at(0), arguments.at(1)); });
}
