// Peak memory above idle while a child prints without ever ending a line.
//
// usage: bench_flood CHILD BYTES WHERE
//   CHILD is the tests' child; WHERE is "reader" (its lines are dropped) or "log"

#include "Measure.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"
#include "support/Figures.h"

#include <memory>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

void measure(const QStringList &arguments)
{
    const bool intoLog = arguments.at(2) == u"log";
    LogStore log;
    const auto queue = std::make_shared<LogQueue>(&log);
    const LineCallback onLine = [queue, intoLog](const QString &line) {
        if (intoLog) {
            queue->append(line);
        }
    };
    const double peak = peakAboveIdle([&] {
        Measure::runChild(arguments.at(0), u"endless:"_s + arguments.at(1), onLine);
        queue->flush();
    });
    Measure::printLimit(intoLog ? "memory of 500 MB without a line end, in the log"
                                : "memory of 500 MB without a line end, as read",
                        peak / 1e6, "MB", 16);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_flood CHILD BYTES reader|log", 3, measure);
}
