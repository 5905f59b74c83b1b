// brindle-demo [--engine PROGRAM] [--game FOLDER]: the launcher at work, on a terminal and without
// a network.

#include "Console.h"
#include "ConsoleDesktop.h"
#include "Demo.h"
#include "core/AppModel.h"
#include "demostage/DemoStage.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

using namespace brindle;

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plays a game from nothing, without a network."));
    parser.addHelpOption();
    const QCommandLineOption engine(QStringLiteral("engine"),
                                    QStringLiteral("An engine program instead of the sample's."),
                                    QStringLiteral("program"));
    const QCommandLineOption game(QStringLiteral("game"),
                                  QStringLiteral("A Godot project instead of the sample's."),
                                  QStringLiteral("folder"));
    parser.addOptions({engine, game});
    parser.process(application);

    const QString programs = QCoreApplication::applicationDirPath();
    DemoStage::Content content;
    content.game = QStringLiteral(BRINDLE_DEMO_FOLDER "/game");
    content.addon = QStringLiteral(BRINDLE_DEMO_FOLDER "/addon");
    content.engine = programs + QStringLiteral("/sample-engine");
    if (parser.isSet(game)) {
        content.game = parser.value(game);
    }
    if (parser.isSet(engine)) {
        content.engine = parser.value(engine);
        content.sampleEngine = false;
    }
    try {
        DemoStage stage(content, programs);
        AppModelParts parts = stage.parts();
        parts.desktop = std::make_shared<ConsoleDesktop>();
        AppModel model(std::move(parts));
        const Console console(model);
        const bool good = Demo(model).run();
        std::printf("\n%s\n", good ? "The demo ended as it should." : "The demo FAILED.");
        return good ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "The demo could not be prepared: %s\n", error.what());
        return 1;
    }
}
