// brindle-demo: shows the launcher at work without a network. Everything comes from a release host
// inside this program.

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
using namespace Qt::StringLiterals;

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
    parser.setApplicationDescription(u"Shows the launcher at work, without a network."_s);
    parser.addHelpOption();
    const QString folder = u"folder"_s;
    parser.addOptions({{u"engine"_s, u"An engine program instead of the sample's."_s, u"program"_s},
                       {u"game"_s, u"A Godot project instead of the sample's."_s, folder},
                       {u"pictures"_s, u"Saves a picture of every stage there."_s, folder},
                       {u"hands-on"_s, u"Presses nothing: the launcher is yours."_s},
                       {u"leave"_s, u"Ends after the tour."_s}});
    parser.process(application);

    Options options;
    options.content.game = QStringLiteral(BRINDLE_DEMO_FOLDER "/game");
    options.content.addon = QStringLiteral(BRINDLE_DEMO_FOLDER "/addon");
    options.content.engine = QCoreApplication::applicationDirPath() + u"/sample-engine"_s;
    if (parser.isSet(u"game"_s)) {
        options.content.game = parser.value(u"game"_s);
    }
    if (parser.isSet(u"engine"_s)) {
        options.content.engine = parser.value(u"engine"_s);
        options.content.sampleEngine = false;
    }
    options.pictures = parser.value(u"pictures"_s);
    options.tour = !parser.isSet(u"hands-on"_s);
    options.stay = !parser.isSet(u"leave"_s);
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
    QCoreApplication::setApplicationName(u"Brindle"_s);
    const Options options = readOptions(application);
    try {
        DemoStage stage(options.content, QCoreApplication::applicationDirPath());
        BrindleApp::prepare();
        const auto desktop = std::make_shared<QuickDesktop>(Platform::current(QString()).reveal);
        AppModel::compose = [&stage, desktop] {
            Dependencies parts = stage.parts();
            parts.desktop = desktop;
            return parts;
        };
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
