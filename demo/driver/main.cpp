// brindle-demo: the launcher at work in its own window, without a network: everything comes from a
// release host inside this program.

#include "Tour.h"
#include "core/AppModel.h"
#include "demostage/DemoStage.h"
#include "ui/BrindleApp.h"
#include "ui/QuickDesktop.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QTimer>

#include <cstdio>

using namespace brindle;

namespace {

struct Options
{
    DemoStage::Content content;
    QString pictures;
    bool tour = true;
    bool stay = true;
};

Options readOptions(const QCoreApplication &application)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows the launcher at work, without a network."));
    parser.addHelpOption();
    const QCommandLineOption engine(QStringLiteral("engine"),
                                    QStringLiteral("An engine program instead of the sample's."),
                                    QStringLiteral("program"));
    const QCommandLineOption game(QStringLiteral("game"),
                                  QStringLiteral("A Godot project instead of the sample's."),
                                  QStringLiteral("folder"));
    const QCommandLineOption pictures(QStringLiteral("pictures"),
                                      QStringLiteral("Saves a picture of every stage there."),
                                      QStringLiteral("folder"));
    const QCommandLineOption handsOn(QStringLiteral("hands-on"),
                                     QStringLiteral("Presses nothing: the launcher is yours."));
    const QCommandLineOption leave(QStringLiteral("leave"), QStringLiteral("Ends after the tour."));
    parser.addOptions({engine, game, pictures, handsOn, leave});
    parser.process(application);

    Options options;
    options.content.game = QStringLiteral(BRINDLE_DEMO_FOLDER "/game");
    options.content.addon = QStringLiteral(BRINDLE_DEMO_FOLDER "/addon");
    options.content.engine =
        QCoreApplication::applicationDirPath() + QStringLiteral("/sample-engine");
    if (parser.isSet(game)) {
        options.content.game = parser.value(game);
    }
    if (parser.isSet(engine)) {
        options.content.engine = parser.value(engine);
        options.content.sampleEngine = false;
    }
    options.pictures = parser.value(pictures);
    options.tour = !parser.isSet(handsOn);
    options.stay = !parser.isSet(leave);
    return options;
}

QCoro::Task<> showTour(Tour *tour, bool stay)
{
    const bool good = co_await tour->run();
    std::printf("\n%s\n", good ? "The tour ended as it should." : "The tour FAILED.");
    std::fflush(stdout);
    if (good && stay) {
        std::printf("The window is yours now. Close it to end the demo.\n");
        std::fflush(stdout);
    } else {
        QCoreApplication::exit(good ? 0 : 1);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Brindle"));
    const Options options = readOptions(application);
    try {
        DemoStage stage(options.content, QCoreApplication::applicationDirPath());
        BrindleApp::prepare();
        const auto desktop = std::make_shared<QuickDesktop>(Platform::current(QString()).reveal);
        AppModel::compose([&stage, desktop] {
            Dependencies parts = stage.parts();
            parts.desktop = desktop;
            return parts;
        });
        BrindleApp launcher(desktop);
        AppModel &model = AppModel::shared();
        Tour tour(model, stage, options.pictures);
        launcher.open();
        if (options.tour) {
            QTimer::singleShot(0, &launcher, [&] { showTour(&tour, options.stay); });
        }
        return QGuiApplication::exec();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "The demo could not be prepared: %s\n", error.what());
        return 1;
    }
}
