#include "Game.h"

#include "Console.h"
#include "SceneWindow.h"

#include <QGuiApplication>
#include <QSysInfo>
#include <QTimer>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>

namespace {

std::chrono::milliseconds inMilliseconds(double seconds)
{
    constexpr double millisecondsPerSecond = 1000;
    return std::chrono::milliseconds(static_cast<qint64>(seconds * millisecondsPerSecond));
}

bool hasDisplay()
{
    return QSysInfo::kernelType() == u"darwin" || !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

/// Qt ends the process when the display can't be opened. So does the engine, in its own words.
void onMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtFatalMsg) {
        Console::error(QStringLiteral("ERROR: X11 Display is not available"));
        Console::error(
            QStringLiteral("ERROR: Unable to create DisplayServer, all display drivers failed."));
        std::_Exit(1);
    }
    Console::error(text);
}

void end(const Behaviour &behaviour)
{
    if (behaviour.crashSignal == 0) {
        QCoreApplication::exit(behaviour.playExit);
        return;
    }
    Console::error(
        QStringLiteral("handle_crash: Program crashed with signal %1").arg(behaviour.crashSignal));
    // A tool that watches for crashes would turn the signal into an exit code.
    std::signal(behaviour.crashSignal, SIG_DFL);
    std::raise(behaviour.crashSignal);
}

} // namespace

int Game::run(int &argc, char **argv, const Project &project, const CommandLine &line,
              const Behaviour &behaviour)
{
    std::unique_ptr<QCoreApplication> application;
    std::unique_ptr<SceneWindow> window;
    if (hasDisplay()) {
        const auto before = qInstallMessageHandler(onMessage);
        application = std::make_unique<QGuiApplication>(argc, argv);
        qInstallMessageHandler(before);
        window = std::make_unique<SceneWindow>(project.name);
        if (line.resolution) {
            window->resize(*line.resolution);
        }
        const auto show = [&window, &line] {
            line.fullscreen ? window->showFullScreen() : window->show();
        };
        QTimer::singleShot(inMilliseconds(behaviour.windowSeconds), window.get(), show);
        Console::print(QStringLiteral("OpenGL API 3.3 - Compatibility - Using Device: none"));
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
        Console::print(QStringLiteral("No display: the game runs without a window."));
    }
    Console::print(QStringLiteral("The game is running."));
    if (behaviour.playSeconds >= 0) {
        QTimer::singleShot(inMilliseconds(behaviour.playSeconds), Qt::PreciseTimer,
                           application.get(), [&behaviour] { end(behaviour); });
    }
    return QCoreApplication::exec();
}
