// Runs the launcher with the demo's release host, for tests with a screen reader or a compositor.
// Once a first game is ready, the host offers a broken one.
//
// usage: accessiblelauncher [ENGINE]

#include "core/AppModel.h"
#include "demostage/DemoStage.h"
#include "ui/BrindleApp.h"
#include "ui/QuickDesktop.h"

#include <QGuiApplication>

#include <cstdio>

using namespace brindle;
using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"Brindle"_s);
    try {
        const QString programs = QCoreApplication::applicationDirPath();
        DemoStage stage({QStringLiteral(DEMO_FOLDER "/game"), QStringLiteral(DEMO_FOLDER "/addon"),
                         QCoreApplication::arguments().value(1, programs + u"/sample-engine"_s)},
                        programs);
        BrindleApp::prepare();
        const auto desktop = std::make_shared<QuickDesktop>(QList<Platform::Command>{});
        AppModel::compose = [&stage, desktop] {
            Dependencies parts = stage.parts();
            parts.desktop = desktop;
            return parts;
        };
        BrindleApp launcher(desktop);
        AppModel &model = AppModel::shared();
        bool broken = false;
        QObject::connect(&model, &AppModel::changed, &launcher, [&] {
            if (!broken && model.state().phase == AppState::Phase::ready) {
                broken = true;
                stage.offerBrokenGame();
            }
        });
        launcher.open();
        return QGuiApplication::exec();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
