// A stand-in for the engine, small enough to be packed and unpacked in a moment. It speaks the
// engine's command line: the headless import, and the game in a window (none where there is no
// display).

#include "Behaviour.h"
#include "Importer.h"
#include "SceneWindow.h"

#include <QFile>
#include <QGuiApplication>

#include <csignal>
#include <cstdio>
#include <memory>

namespace {

QString valueAfter(const QStringList &arguments, const QString &name)
{
    const auto at = arguments.indexOf(name);
    return at >= 0 ? arguments.value(at + 1) : QString();
}

bool hasDisplay()
{
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

int play(int &argc, char **argv, const Behaviour &behaviour, const QString &size)
{
    std::unique_ptr<QCoreApplication> application;
    std::unique_ptr<SceneWindow> window;
    if (hasDisplay()) {
        application = std::make_unique<QGuiApplication>(argc, argv);
        window = std::make_unique<SceneWindow>(behaviour.title);
        const QStringList sides = size.split(QLatin1Char('x'));
        if (sides.size() == 2) {
            window->resize(sides.at(0).toInt(), sides.at(1).toInt());
        }
        window->show();
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }
    std::printf("OpenGL API 3.3 - Compatibility - Using Device: none\n");
    for (int i = 0; i < behaviour.printLines; ++i) {
        std::printf("line %d\n", i);
    }
    if (!behaviour.printText.isEmpty()) {
        std::fprintf(stderr, "%s\n", behaviour.printText.toUtf8().constData());
    }
    std::printf("game is running\n");
    std::fflush(stdout);
    if (behaviour.playSeconds >= 0) {
        QTimer::singleShot(static_cast<int>(behaviour.playSeconds * 1000), application.get(),
                           [&] { QCoreApplication::exit(behaviour.playExit); });
    }
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    std::printf("Godot Engine v4.3.stable.official.sample\n");
    std::printf("arguments: %s\n", arguments.join(QLatin1Char(' ')).toUtf8().constData());
    std::fflush(stdout);
    const QString project = valueAfter(arguments, QStringLiteral("--path"));
    if (project.isEmpty()) {
        std::fprintf(stderr, "ERROR: no project was given.\n");
        return 1;
    }
    const Behaviour behaviour = Behaviour::read(project);
    if (behaviour.ignoreTerm) {
        std::signal(SIGTERM, SIG_IGN);
    }
    if (!behaviour.requireFile.isEmpty() &&
        !QFile::exists(project + QLatin1Char('/') + behaviour.requireFile)) {
        std::fprintf(stderr, "ERROR: %s is missing.\n", qPrintable(behaviour.requireFile));
        return 1;
    }
    if (arguments.contains(QStringLiteral("--import"))) {
        return Importer::run(project, behaviour);
    }
    return play(argc, argv, behaviour, valueAfter(arguments, QStringLiteral("--resolution")));
}
