// Measures a child that prints into the log as fast as it can.
//
// usage: bench_output CHILD WHAT
//   CHILD is the tests' child. WHAT is "lines" (lines a second, and the main thread's longest
//   absence), or the peak memory above idle of a line without an end: as "reader" (dropped) or
//   "log".

#include "Measure.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"
#include "support/Figures.h"

#include <memory>
#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Lets the child do a step. Returns the number of lines in the log.
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

void measureMemory(const QString &child, bool intoLog)
{
    const double peak = peakAboveIdle([&] { print(child, u"endless:500000000"_s, intoLog); });
    Measure::printLimit(intoLog ? "memory of 500 MB without a line end, in the log"
                                : "memory of 500 MB without a line end, as read",
                        peak / 1e6, "MB", 16);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_output CHILD lines|reader|log",
                            [](const QStringList &arguments) {
                                if (arguments.at(1) == u"lines") {
                                    measureLines(arguments.at(0));
                                } else {
                                    measureMemory(arguments.at(0), arguments.at(1) == u"log");
                                }
                            });
}
