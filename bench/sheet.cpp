// The log sheet while a child prints: the longest frame, and the longest absence of the main
// thread. Needs a display.
//
// usage: bench_sheet CHILD RATE SECONDS
//   CHILD prints RATE lines a second for SECONDS

#include "Measure.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"
#include "process/ManagedProcess.h"
#include "ui/BrindleApp.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <time.h>

using namespace brindle;

namespace {

QCoro::Task<> runChild(std::shared_ptr<ManagedProcess> child)
{
    auto running = child->run();
    co_await running;
}

/// Remembers the longest time between two calls, and the most of the processor's time that the
/// calling thread took between two: on a busy machine the former grows, the latter does not.
class Gap
{
public:
    void start()
    {
        since_ = now(CLOCK_MONOTONIC);
        busySince_ = now(CLOCK_THREAD_CPUTIME_ID);
    }
    void mark()
    {
        longest_ = std::max(longest_, now(CLOCK_MONOTONIC) - since_);
        busiest_ = std::max(busiest_, now(CLOCK_THREAD_CPUTIME_ID) - busySince_);
        start();
    }
    double longest() const { return longest_; }
    double busiest() const { return busiest_; }

private:
    /// In milliseconds.
    static double now(clockid_t clock)
    {
        timespec time{};
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    double since_ = 0;
    double busySince_ = 0;
    double longest_ = 0;
    double busiest_ = 0;
};

void measure(const QStringList &arguments)
{
    LogStore log;
    QQmlEngine engine;
    // The sheet as the main window shows it, without the window.
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nimport Brindle\n"
                      "Window { id: window; required property var log\n"
                      "  width: 600; height: 420; visible: true; color: Theme.window\n"
                      "  LogView { model: window; log: window.log } }\n",
                      QUrl());
    const std::unique_ptr<QObject> object(component.createWithInitialProperties(
        {{QStringLiteral("log"), QVariant::fromValue<QObject *>(&log)}}));
    auto *const window = qobject_cast<QQuickWindow *>(object.get());
    if (!window) {
        throw std::runtime_error(component.errorString().toStdString());
    }

    const auto sink = std::make_shared<LogQueue>(&log);
    const auto child = std::make_shared<ManagedProcess>(
        arguments.at(0), QStringList{QStringLiteral("paced"), arguments.at(1), arguments.at(2)},
        [sink](const QString &line) { sink->append(line); });
    Gap frames;
    Gap turns;
    qint64 drawn = 0;
    QTimer pulse;
    pulse.setTimerType(Qt::PreciseTimer);
    pulse.setInterval(1);
    QObject::connect(&pulse, &QTimer::timeout, &pulse, [&turns] { turns.mark(); });
    bool begun = false;
    QObject::connect(
        window, &QQuickWindow::frameSwapped, window,
        [&] {
            // From the first one that shows lines.
            if (log.lines().isEmpty()) {
                return;
            }
            if (!std::exchange(begun, true)) {
                frames.start();
            }
            ++drawn;
            frames.mark();
        },
        Qt::QueuedConnection);
    turns.start();
    pulse.start();
    const double time = Measure::seconds([&] { Measure::await(runChild(child)); });
    sink->flush();
    if (log.lines().size() != LogStore::maxLines || drawn == 0) {
        throw std::runtime_error("the sheet has not shown the child's lines");
    }
    Measure::printFigure("log sheet: frames a second meanwhile", static_cast<double>(drawn) / time,
                         "");
    Measure::printLimit("log sheet: longest time between two frames", frames.longest(), "ms", 50);
    Measure::printFigure("  the most work of the main thread in one", frames.busiest(), "ms");
    Measure::printLimit("longest absence of the main thread meanwhile", turns.longest(), "ms", 50);
}

} // namespace

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().sliced(1);
    if (arguments.size() != 3) {
        std::fputs("usage: bench_sheet CHILD RATE SECONDS\n", stderr);
        return 2;
    }
    BrindleApp::prepare();
    try {
        measure(arguments);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
