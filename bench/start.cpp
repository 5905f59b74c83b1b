// Measures the time from a press of Play on a set-up machine until the engine's program begins.
//
// usage: bench_start CHILD
//   CHILD stands in for the engine and prints when it began

#include "Measure.h"
#include "ModelFixture.h"
#include "support/TestFiles.h"

#include <QEventLoop>

#include <chrono>
#include <stdexcept>

using namespace brindle;

namespace {

void measure(const QStringList &arguments)
{
    ModelFixture fixture;
    fixture.installByHand(readFile(arguments.at(0)));
    AppModel &model = fixture.model();
    if (model.state() != AppState::ready()) {
        throw std::runtime_error("the model is not ready");
    }
    std::vector<double> times;
    for (int i = 0; i < 4 * Measure::runs; ++i) {
        model.log.setLines({});
        QEventLoop loop;
        QObject::connect(&model, &AppModel::workChanged, &loop, [&] {
            if (!model.work()) {
                loop.quit();
            }
        });
        const std::chrono::nanoseconds pressed =
            std::chrono::steady_clock::now().time_since_epoch();
        model.startWork(true);
        loop.exec();
        const QStringList lines = model.log.lines();
        const std::chrono::nanoseconds began(lines.isEmpty() ? 0 : lines.last().toLongLong());
        if (began < pressed) {
            throw std::runtime_error("the engine did not run:\n" +
                                     lines.join(QLatin1Char('\n')).toStdString());
        }
        times.push_back(std::chrono::duration<double, std::milli>(began - pressed).count());
    }
    Measure::printLimit("from Play to the engine's first instruction", Measure::median(times), "ms",
                        20);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_start CHILD", measure);
}
