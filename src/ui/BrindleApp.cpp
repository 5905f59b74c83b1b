#include "ui/BrindleApp.h"

#include "core/AppModel.h"
#include "ui/Accessibility.h"
#include "ui/SystemStyle.h"

#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QPainter>
#include <QQmlComponent>
#include <QScopedValueRollback>
#include <QSessionManager>
#include <QSvgRenderer>
#include <QTimer>
#include <qpa/qplatformnativeinterface.h>

// Generated. The linker drops it from a program that does not call it.
extern void qml_register_types_Brindle();

namespace brindle {

namespace {

/// How long the end waits for cancelled work, in milliseconds. A game that ignores the request to
/// end is killed after five seconds.
constexpr int maxEnd = 7'000;

/// Draws the application's icon in the sizes that desktops use.
QIcon windowIcon()
{
    QSvgRenderer drawing(QStringLiteral(":/qt-project.org/imports/Brindle/icons/brindle.svg"));
    QIcon icon;
    for (const int side : {16, 24, 32, 48, 64, 128}) {
        QPixmap pixels(side, side);
        pixels.fill(Qt::transparent);
        QPainter painter(&pixels);
        drawing.render(&painter);
        painter.end();
        icon.addPixmap(pixels);
    }
    return icon;
}

/// Ends an X desktop's startup sequence, as the window is open already. Takes over the time in the
/// id, because window managers refuse requests from before the player's last input.
/// https://specifications.freedesktop.org/startup-notification-spec/
void obeyStartupId(const QByteArray &id)
{
    auto *const native = QGuiApplication::platformNativeInterface();
    const qsizetype mark = id.lastIndexOf("_TIME");
    const uint time = mark < 0 ? 0 : id.mid(mark + 5).toUInt();
    for (const char *name : {"setapptime", "setappusertime"}) {
        void *const set = reinterpret_cast<void *>(native->nativeResourceFunctionForScreen(name));
        if (set && time > 0) {
            reinterpret_cast<void (*)(QScreen *, uint)>(set)(QGuiApplication::primaryScreen(),
                                                             time);
        }
    }
    void *const set =
        reinterpret_cast<void *>(native->nativeResourceFunctionForIntegration("setstartupid"));
    if (set) {
        reinterpret_cast<void (*)(const char *)>(set)(id.constData());
        // Qt ends the sequence when it shows any window.
        QWindow unseen;
        unseen.setFlags(Qt::BypassWindowManagerHint);
        unseen.setGeometry(-1, -1, 1, 1);
        unseen.show();
    }
}

} // namespace

// Members, because the application asks its one delegate.
// NOLINTBEGIN(readability-convert-member-functions-to-static)

AppDelegate::TerminateReply AppDelegate::applicationShouldTerminate()
{
    return AppModel::shared().confirmQuit() ? TerminateReply::now : TerminateReply::cancel;
}

bool AppDelegate::applicationShouldTerminateAfterLastWindowClosed()
{
    return true;
}

// NOLINTEND(readability-convert-member-functions-to-static)

void BrindleApp::prepare()
{
    qml_register_types_Brindle();
    Accessibility::install();
    // Software rendering needs half the memory, starts sooner, needs no driver, and leaves the
    // graphics card to the game. There is little to draw.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    // Text looks as in the desktop's other windows.
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
}

QUrl BrindleApp::mainWindow()
{
    return QUrl(QStringLiteral("qrc:/qt-project.org/imports/Brindle/MainWindow.qml"));
}

BrindleApp::BrindleApp(std::shared_ptr<QuickDesktop> desktop)
    : model_(AppModel::shared()), desktop_(std::move(desktop))
{
    // The delegate decides, not Qt.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    qGuiApp->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, &BrindleApp::commitSession,
            Qt::DirectConnection);
    connect(&model_, &AppModel::quit, this, &BrindleApp::requestQuit);
    connect(&model_, &AppModel::workChanged, this, &BrindleApp::reopenWhenIdle);

    // The first frame has the desktop's colours.
    engine_.singletonInstance<SystemStyle *>(qmlTypeId("Brindle", 1, 0, "SystemStyle"))
        ->waitForPortal();
    QQmlComponent component(&engine_, mainWindow());
    // Fails only in a broken installation.
    if (component.isReady()) {
        window_.reset(qobject_cast<QQuickWindow *>(component.createWithInitialProperties(
            {{QStringLiteral("model"), QVariant::fromValue<QObject *>(&model_)}})));
    }
    if (!window_) {
        qFatal("%s", qPrintable(component.errorString()));
    }
    desktop_->setWindow(&engine_, window_.get());
    // After the first frame, which must not wait.
    QTimer::singleShot(0, this, [] { QGuiApplication::setWindowIcon(windowIcon()); });
    // The Dock asks for the window by activating the application.
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                if (state == Qt::ApplicationActive && !window_->isVisible() && !asking_) {
                    open();
                }
            });
}

BrindleApp::~BrindleApp()
{
    desktop_->setWindow(nullptr, nullptr);
}

void BrindleApp::open(const QByteArray &activationToken, const QByteArray &startupId)
{
    if (ending_) {
        return;
    }
    if (QGuiApplication::platformName() == u"xcb") {
        if (!startupId.isEmpty() && window_->isVisible()) {
            obeyStartupId(startupId);
        }
    } else if (!activationToken.isEmpty() || !startupId.isEmpty()) {
        // Qt's Wayland plugin activates the window with the token in this variable. Debian 12's
        // GNOME hands out a token as a startup id only, because GLib before 2.76 does.
        qputenv("XDG_ACTIVATION_TOKEN", activationToken.isEmpty() ? startupId : activationToken);
    }
    QuickDesktop::bringToFront(*window_);
}

void BrindleApp::requestQuit()
{
    // The open question answers a second request as well.
    if (ending_ || asking_) {
        return;
    }
    desktop_->dismissAlert();
    if (confirmQuit()) {
        shutDown();
    } else {
        reopenWhenIdle();
    }
}

void BrindleApp::forceQuit()
{
    if (ending_) {
        return;
    }
    desktop_->dismissAlert();
    model_.cancel();
    shutDown();
}

bool BrindleApp::eventFilter(QObject *object, QEvent *event)
{
    if (event->isInputEvent()) {
        desktop_->noteInput(static_cast<QInputEvent *>(event)->timestamp());
    }
    if (object == window_.get() && event->type() == QEvent::Close) {
        // Later, because the question serves events.
        QMetaObject::invokeMethod(this, &BrindleApp::closeWindow, Qt::QueuedConnection);
        event->ignore();
        return true;
    }
    // From the platform's menu, keyboard or Dock, or at the end of the session.
    if (object == qGuiApp && event->type() == QEvent::Quit && !ending_) {
        if (sessionEnds_) {
            forceQuit();
        } else {
            requestQuit();
        }
        event->setAccepted(ending_);
        return true;
    }
    return QObject::eventFilter(object, event);
}

bool BrindleApp::confirmQuit()
{
    const QScopedValueRollback<bool> rollback(asking_, true);
    return delegate_.applicationShouldTerminate() == AppDelegate::TerminateReply::now;
}

/// Asks in the open window. While work runs, a "no" closes the window only.
void BrindleApp::closeWindow()
{
    if (!asking_ && delegate_.applicationShouldTerminateAfterLastWindowClosed()) {
        requestQuit();
        if (!ending_ && model_.work()) {
            window_->hide();
        }
    }
}

void BrindleApp::reopenWhenIdle()
{
    // Some desktops offer no way to reach a launcher without a window.
    if (!model_.work() && !window_->isVisible() && !asking_) {
        open();
    }
}

void BrindleApp::shutDown()
{
    ending_ = true;
    Q_EMIT ending();
    window_->hide();
    const auto exit = [] { QCoreApplication::exit(0); };
    if (!model_.work()) {
        exit();
        return;
    }
    // Cancelled work removes its files.
    connect(&model_, &AppModel::workChanged, this, [this, exit] {
        if (!model_.work()) {
            exit();
        }
    });
    QTimer::singleShot(maxEnd, this, exit);
}

/// Answers the session, which asks whether it may end. The session ends once all programs agree,
/// and sends a request to quit then.
void BrindleApp::commitSession(QSessionManager &manager)
{
    if (ending_) {
        return;
    }
    desktop_->dismissAlert();
    sessionEnds_ = true;
    if (!manager.allowsInteraction()) {
        return;
    }
    sessionEnds_ = confirmQuit();
    if (!sessionEnds_) {
        manager.cancel();
        reopenWhenIdle();
    }
}

} // namespace brindle
