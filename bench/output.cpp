// Measures a child that prints into the log as fast as it can.
//
// usage: bench_output CHILD WHAT
//   CHILD is the test child. WHAT is "lines" for the lines per second and the main thread's
//   longest absence. The others measure the peak memory above idle: "reader" for an endless line
//   that is dropped, "log" for an endless line in the log, "full" for a full log.

#include "Figures.h"
#include "Measure.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"

#include <memory>
#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Lets the child run a step. Returns the number of lines in the log.
qsizetype print(const QString &child, const QString &step, bool intoLog = true)
{
    LogStore log;
    const auto queue = std::make_shared<LogQueue>(&log);
    Measure::runChild(child, step, [queue, intoLog](const QString &line) {
        if (intoLog) {
            queue->append(line);
        }
    });
    queue->flush();
    return log.lines().size();
}

void measureLines(const QString &child)
{
    constexpr int count = 1'000'000;
    std::vector<double> rates;
    const Pulse pulse;
    for (int i = 0; i < Measure::runs; ++i) {
        rates.push_back(count / Measure::seconds([&] {
                            if (print(child, u"lines:%1"_s.arg(count)) != LogStore::maxLines) {
                                throw std::runtime_error("the log is not full");
                            }
                        }));
    }
    Measure::printFigure("lines into the log, thousands a second", Measure::median(rates) / 1000,
                         "");
    Measure::printLimit("longest absence of the main thread meanwhile", pulse.longest(), "ms", 50);
}

void measureMemory(const char *what, const QString &child, const QString &step, bool intoLog,
                   double bar)
{
    const double peak = peakAboveIdle([&] { print(child, step, intoLog); });
    Measure::printLimit(what, peak / 1e6, "MB", bar);
}

void measure(const QStringList &arguments)
{
    const QString &child = arguments.at(0);
    const QString &what = arguments.at(1);
    const auto endless = u"long:1,500000000"_s;
    if (what == u"lines") {
        measureLines(child);
    } else if (what == u"reader") {
        measureMemory("memory of a line of 500 MB, as read", child, endless, false, 16);
    } else if (what == u"log") {
        measureMemory("memory of a line of 500 MB, in the log", child, endless, true, 16);
    } else {
        measureMemory("memory of 5,000 lines of 64 KiB, in the log", child, u"long:5000,65536"_s,
                      true, 32);
    }
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_output CHILD lines|reader|log|full", measure);
}
