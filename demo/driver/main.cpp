// brindle-demo: shows the launcher at work without a network. Everything comes from a release host
// inside this program.

#include "DemoStage.h"
#include "Tour.h"
#include "core/AppModel.h"
#include "ui/BrindleApp.h"
#include "ui/QuickDesktop.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QTimer>

#include <cstdio>
#include <utility>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

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
    QCoreApplication::setApplicationName(u"Brindle"_s);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Shows the launcher at work, without a network."_s);
    parser.addHelpOption();
    const QString folder = u"folder"_s;
    parser.addOptions(
        {{u"engine"_s, u"An engine program instead of the sample's."_s, u"program"_s},
         {u"game"_s, u"A Godot project instead of the sample's."_s, folder},
         {u"pictures"_s, u"Saves a picture of every stage there."_s, folder},
         {u"hands-on"_s, u"Presses nothing: the launcher is yours. An update has a mistake."_s},
         {u"leave"_s, u"Ends after the tour."_s}});
    parser.process(application);
    const QString programs = QCoreApplication::applicationDirPath();
    const auto chosen = [&](const QString &option, const QString &otherwise) {
        return parser.isSet(option) ? parser.value(option) : otherwise;
    };
    try {
        DemoStage stage({chosen(u"game"_s, QStringLiteral(BRINDLE_DEMO_FOLDER "/game")),
                         QStringLiteral(BRINDLE_DEMO_FOLDER "/addon"),
                         chosen(u"engine"_s, programs + u"/sample-engine"_s),
                         !parser.isSet(u"engine"_s)},
                        programs);
        BrindleApp::prepare();
        const auto desktop = std::make_shared<QuickDesktop>(Platform::current(QString()).reveal);
        AppModel::compose = [&stage, desktop] {
            Dependencies parts = stage.parts();
            parts.desktop = desktop;
            return parts;
        };
        BrindleApp launcher(desktop);
        AppModel &model = AppModel::shared();
        Tour tour(model, stage, parser.value(u"pictures"_s));
        launcher.open();
        bool isWhole = true; // true until the broken game is offered
        if (parser.isSet(u"hands-on"_s)) {
            QObject::connect(&model, &AppModel::changed, &launcher, [&] {
                if (model.state().phase == AppState::Phase::ready &&
                    std::exchange(isWhole, false)) {
                    stage.offerBrokenGame();
                }
            });
        } else {
            QTimer::singleShot(0, &launcher, [&] { showTour(&tour, !parser.isSet(u"leave"_s)); });
        }
        return QGuiApplication::exec();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "The demo could not be prepared: %s\n", error.what());
        return 1;
    }
}
