// Measures the log sheet while a child prints: the longest frame, and the main thread's longest
// absence. Needs a display.
//
// usage: bench_sheet CHILD RATE SECONDS
//   CHILD is the tests' child and prints RATE lines a second for SECONDS

#include "Figures.h"
#include "Measure.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"
#include "ui/BrindleApp.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>

#include <memory>
#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

void measure(const QStringList &arguments)
{
    LogStore log;
    QQmlEngine engine;
    // The sheet's view as in the main window, but alone in a window.
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nimport Brindle\n"
                      "Window { id: window; required property var log\n"
                      "  width: 600; height: 420; visible: true; color: Theme.window\n"
                      "  LogView { model: window; log: window.log } }\n",
                      QUrl());
    const std::unique_ptr<QObject> object(
        component.createWithInitialProperties({{u"log"_s, QVariant::fromValue<QObject *>(&log)}}));
    auto *const window = qobject_cast<QQuickWindow *>(object.get());
    if (!window) {
        throw std::runtime_error(component.errorString().toStdString());
    }

    const auto queue = std::make_shared<LogQueue>(&log);
    Gap frames;
    qint64 drawn = 0;
    bool begun = false;
    QObject::connect(
        window, &QQuickWindow::frameSwapped, window,
        [&] {
            // Do not count frames before the first line.
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
    const Pulse turns;
    const double time = Measure::seconds([&] {
        Measure::runChild(arguments.at(0), u"paced:%1,%2"_s.arg(arguments.at(1), arguments.at(2)),
                          [queue](const QString &line) { queue->append(line); });
    });
    queue->flush();
    if (log.lines().size() != LogStore::maxLines || drawn == 0) {
        throw std::runtime_error("the sheet has not shown the child's lines");
    }
    Measure::printFigure("log sheet: frames a second meanwhile", static_cast<double>(drawn) / time,
                         "");
    Measure::printLimit("log sheet: longest time between two frames", frames.longest(), "ms", 50);
    Measure::printLimit("longest absence of the main thread meanwhile", turns.longest(), "ms", 50);
}

} // namespace

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    BrindleApp::prepare();
    return Measure::program(argc, argv, "bench_sheet CHILD RATE SECONDS", measure);
}
