// The log sheet while a child prints: the longest frame, and the longest absence of the main
// thread. Needs a display.
//
// usage: bench_sheet CHILD RATE SECONDS
//   CHILD prints RATE lines a second for SECONDS

#include "Measure.h"
#include "core/LineSink.h"
#include "services/LogStore.h"
#include "services/ManagedProcess.h"
#include "ui/Views.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>

using namespace brindle;

namespace {

QCoro::Task<> runChild(std::shared_ptr<ManagedProcess> child)
{
    auto running = child->run();
    co_await running;
}

/// Remembers the longest time between two calls.
class Gap
{
public:
    void start() { since_.start(); }
    void mark()
    {
        longest_ = std::max(longest_, since_.nsecsElapsed());
        since_.restart();
    }
    double milliseconds() const { return static_cast<double>(longest_) / 1e6; }

private:
    QElapsedTimer since_;
    qint64 longest_ = 0;
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

    const auto sink = std::make_shared<LineSink>(&log);
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
    Measure::printLimit("log sheet: longest time between two frames", frames.milliseconds(), "ms",
                        50);
    Measure::printLimit("longest absence of the main thread meanwhile", turns.milliseconds(), "ms",
                        50);
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
    Views::prepare();
    try {
        measure(arguments);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
