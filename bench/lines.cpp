// A child that prints as fast as it can into the log: lines per second, and the main thread's
// longest absence meanwhile.
//
// usage: bench_lines CHILD LINES
//   CHILD is the tests' child

#include "Measure.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"
#include "support/Figures.h"

#include <memory>
#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

void measure(const QStringList &arguments)
{
    const QString &count = arguments.at(1);
    std::vector<double> rates;
    const Pulse pulse;
    for (int i = 0; i < Measure::runs; ++i) {
        LogStore log;
        const auto queue = std::make_shared<LogQueue>(&log);
        const double time = Measure::seconds([&] {
            Measure::runChild(arguments.at(0), u"lines:"_s + count,
                              [queue](const QString &line) { queue->append(line); });
            queue->flush();
        });
        if (log.lines().size() != LogStore::maxLines) {
            throw std::runtime_error("the log is not full");
        }
        rates.push_back(count.toDouble() / time);
    }
    Measure::printFigure("lines into the log, thousands a second", Measure::median(rates) / 1000,
                         "");
    Measure::printLimit("longest absence of the main thread meanwhile", pulse.longest(), "ms", 50);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_lines CHILD LINES", 2, measure);
}
