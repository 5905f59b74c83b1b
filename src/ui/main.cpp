// brindle: starts the launcher, or shows the running one. Has no options.

#include "base/Clock.h"
#include "base/Threads.h"
#include "core/AppModel.h"
#include "files/StagingFolder.h"
#include "files/Storage.h"
#include "platform/ActivationTokens.h"
#include "platform/TerminationSignals.h"
#include "ui/BrindleApp.h"
#include "ui/DesktopSession.h"
#include "ui/SingleInstance.h"

#include <QDir>
#include <QGuiApplication>
#include <QTimer>

#include <cstdio>

using namespace brindle;

namespace {

/// Returns the folder of the helper programs: the installed folder, or this program's own.
QString privatePrograms()
{
    const QString own = QCoreApplication::applicationDirPath();
    const QString installed =
        QDir(own).absoluteFilePath(QStringLiteral("../" BRINDLE_LIBEXEC "/brindle"));
    return QFileInfo(installed).isDir() ? QDir::cleanPath(installed) : own;
}

} // namespace

int main(int argc, char *argv[])
{
    const QByteArray permission = ActivationTokens::given();
    // Games must not inherit the token, and libwayland must not see an unusable one.
    qunsetenv("XDG_ACTIVATION_TOKEN");
    SingleInstance instance(Paths::root());
    switch (instance.claim(permission)) {
    case SingleInstance::Role::first:
        break;
    case SingleInstance::Role::second:
        return 0;
    case SingleInstance::Role::unanswered:
        std::fputs("Brindle is running but does not answer.\n", stderr);
        return 1;
    }

    const Threads::ProgramEnd programEnd;
    QGuiApplication application(argc, argv);
    // These name the settings file on macOS ("org.brindle.Brindle").
    QCoreApplication::setApplicationName(QStringLiteral("Brindle"));
    QCoreApplication::setOrganizationName(QStringLiteral("Brindle"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("brindle.org"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BRINDLE_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.brindle.Brindle"));
    instance.listen();
    BrindleApp::prepare();

    const Platform platform = Platform::current(privatePrograms());
    const auto desktop = std::make_shared<QuickDesktop>(platform.reveal);
    AppModel::compose = [desktop, platform] {
        Dependencies parts;
        parts.storage = Paths::root();
        parts.temporaryFolder = QDir::tempPath();
        parts.settings = std::make_unique<QSettings>();
        parts.codeHost = QUrl(QStringLiteral("https://github.com"));
        parts.platform = platform;
        parts.desktop = desktop;
        parts.clock = std::make_shared<SteadyClock>();
        return parts;
    };

    BrindleApp launcher(desktop);
    const DesktopSession session(AppModel::shared(), *launcher.window());
    QObject::connect(&session, &DesktopSession::windowRequested, &launcher, &BrindleApp::open);
    QObject::connect(&instance, &SingleInstance::windowRequested, &launcher, &BrindleApp::open);
    QObject::connect(&launcher, &BrindleApp::ending, &instance, &SingleInstance::stopListening);
    onTerminationSignal(&launcher, [&launcher] { launcher.forceQuit(); });
    qunsetenv("DESKTOP_STARTUP_ID"); // now that Qt's X11 plugin has read it
    launcher.open(permission);
    // Run after the first frame, not to delay it.
    QTimer::singleShot(0, &launcher, [] {
        Threads::start([] { StagingFolder::clearLeftovers(QDir::tempPath(), Paths::root()); });
    });
    return QGuiApplication::exec();
}
