#include "ui/BrindleApp.h"

#include "core/AppModel.h"
#include "ui/Views.h"

#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QPainter>
#include <QQmlComponent>
#include <QScopedValueRollback>
#include <QSessionManager>
#include <QSvgRenderer>
#include <QTimer>

namespace brindle {

namespace {

/// How long the end waits for what has been cancelled, in milliseconds: a game that ignores the
/// request to end is killed after five seconds.
constexpr int maxEnd = 7'000;

/// The application's icon in the sizes that desktops ask for.
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

} // namespace

BrindleApp::BrindleApp(std::shared_ptr<QuickDesktop> desktop)
    : model_(AppModel::shared()), desktop_(std::move(desktop))
{
    // The delegate decides, not Qt.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    qGuiApp->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, &BrindleApp::commitSession,
            Qt::DirectConnection);
    connect(&model_, &AppModel::quit, this, &BrindleApp::quit);
    connect(&model_, &AppModel::workChanged, this, &BrindleApp::reopenWhenIdle);

    QQmlComponent component(&engine_, Views::mainWindow());
    // Only an installation with pieces missing gets here without.
    if (component.isReady()) {
        window_.reset(qobject_cast<QQuickWindow *>(component.createWithInitialProperties(
            {{QStringLiteral("model"), QVariant::fromValue<QObject *>(&model_)}})));
    }
    if (!window_) {
        qFatal("%s", qPrintable(component.errorString()));
    }
    desktop_->setWindow(&engine_, window_.get());
    // Behind the first frame, which nobody shall wait for longer.
    QTimer::singleShot(0, this, [] { QGuiApplication::setWindowIcon(windowIcon()); });
    // Not at once: the window is still being closed, and the question comes after it.
    connect(
        window_.get(), &QWindow::visibleChanged, this,
        [this](bool visible) {
            if (!visible && !window_->isVisible()) {
                windowClosed();
            }
        },
        Qt::QueuedConnection);
    // The Dock's way to ask for the window.
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

void BrindleApp::open(const QByteArray &token)
{
    if (ending_) {
        return;
    }
    if (!token.isEmpty()) {
        // Where Qt's Wayland plugin looks for it (xdg-activation).
        qputenv("XDG_ACTIVATION_TOKEN", token);
    }
    window_->setWindowStates(window_->windowStates() & ~Qt::WindowMinimized);
    window_->show();
    window_->raise();
    window_->requestActivate();
}

void BrindleApp::quit()
{
    // The question about the first request answers the second as well.
    if (ending_ || asking_) {
        return;
    }
    desktop_->dismissAlert();
    if (mayTerminate()) {
        terminate();
    } else {
        reopenWhenIdle();
    }
}

void BrindleApp::end()
{
    if (ending_) {
        return;
    }
    desktop_->dismissAlert();
    model_.cancel();
    terminate();
}

bool BrindleApp::eventFilter(QObject *object, QEvent *event)
{
    // The platform's own quit: its menu, its keyboard, the Dock; and a session that is over.
    if (object == qGuiApp && event->type() == QEvent::Quit && !ending_) {
        if (sessionEnds_) {
            end();
        } else {
            quit();
        }
        event->setAccepted(ending_);
        return true;
    }
    return QObject::eventFilter(object, event);
}

bool BrindleApp::mayTerminate()
{
    const QScopedValueRollback<bool> rollback(asking_, true);
    return delegate_.applicationShouldTerminate() == AppDelegate::TerminateReply::now;
}

void BrindleApp::windowClosed()
{
    if (!ending_ && delegate_.applicationShouldTerminateAfterLastWindowClosed()) {
        quit();
    }
}

void BrindleApp::reopenWhenIdle()
{
    // Nobody shall lose the launcher on a desktop that has no place to find it again.
    if (!model_.work() && !window_->isVisible() && !asking_) {
        open();
    }
}

void BrindleApp::terminate()
{
    ending_ = true;
    Q_EMIT ending();
    window_->hide();
    const auto exit = [] { QCoreApplication::exit(0); };
    if (!model_.work()) {
        exit();
        return;
    }
    // What has been cancelled takes its files with it.
    connect(&model_, &AppModel::workChanged, this, [this, exit] {
        if (!model_.work()) {
            exit();
        }
    });
    QTimer::singleShot(maxEnd, this, exit);
}

/// The session asks whether it may end. It ends, or goes on, once all have answered: only then, and
/// by a request to quit, does the launcher end with it.
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
    sessionEnds_ = mayTerminate();
    if (!sessionEnds_) {
        manager.cancel();
        reopenWhenIdle();
    }
}

} // namespace brindle
