#include "ui/DesktopSession.h"

#include "core/AppModel.h"
#include "platform/ActivationTokens.h"
#include "ui/DisplayText.h"
#include "ui/MessageBus.h"

#include <QCoroDBusPendingCall>
#include <QGuiApplication>
#include <QPointer>

#include <algorithm>
#include <chrono>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds progressPause{250};

const auto desktopFile = u"org.brindle.Brindle"_s;
const auto notifications = u"org.freedesktop.Notifications"_s;
const auto notificationsPath = u"/org/freedesktop/Notifications"_s;

QDBusMessage notificationCall(const QString &method)
{
    return QDBusMessage::createMethodCall(notifications, notificationsPath, notifications, method);
}

QDBusMessage withdrawal(uint notification)
{
    return notificationCall(u"CloseNotification"_s) << notification;
}

} // namespace

DesktopSession::DesktopSession(AppModel &model, QQuickWindow &window)
    : model_(model), window_(window)
{
    progressDue_.setSingleShot(true);
    progressDue_.setInterval(progressPause);
    connect(&progressDue_, &QTimer::timeout, this, &DesktopSession::sendProgress);
    connect(&model, &AppModel::changed, this, &DesktopSession::follow);
    const auto look = [this] {
        if (!isInBackground()) {
            withdraw();
        }
    };
    connect(&window, &QWindow::visibilityChanged, this, look);
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, look);
    follow();
}

DesktopSession::~DesktopSession()
{
    withdraw();
    if (isBusy_) {
        end();
    }
}

void DesktopSession::follow()
{
    if (announcedPhase_ != model_.phase()) {
        withdraw();
    }
    if (isBusy_ == model_.canCancel()) {
        if (isBusy_ && !progressDue_.isActive()) {
            progressDue_.start();
        }
        return;
    }
    if (!isBusy_) {
        isBusy_ = true;
        stayAwake();
        connectBus();
        return;
    }
    end();
    // No notification after a cancel: the player knows.
    const auto work = model_.work();
    if (!(work && work->stop_requested()) && isInBackground()) {
        announcement_ = std::stop_source();
        announcedPhase_ = model_.phase();
        announce(DisplayText::phaseTitle(model_.phase()),
                 DisplayText::of(model_.gameRunning() ? model_.stepText() : model_.needsMessage()),
                 announcement_.get_token());
    }
}

void DesktopSession::end()
{
    isBusy_ = false;
    awake_ = {};
    progressDue_.stop();
    sendProgress();
}

/// Keeps the computer awake: https://www.freedesktop.org/wiki/Software/systemd/inhibit/
QCoro::Task<> DesktopSession::stayAwake()
{
    const QPointer<DesktopSession> self(this);
    const auto bus = co_await openBus(QDBusConnection::SystemBus);
    auto inhibit =
        QDBusMessage::createMethodCall(u"org.freedesktop.login1"_s, u"/org/freedesktop/login1"_s,
                                       u"org.freedesktop.login1.Manager"_s, u"Inhibit"_s);
    inhibit << u"sleep:idle"_s << u"Brindle"_s << u"The game is being set up"_s << u"block"_s;
    // The computer stays awake until the last copy of the reply's descriptor is closed.
    const QDBusMessage reply = co_await bus.asyncCall(inhibit);
    if (self && self->isBusy_) {
        self->awake_ = reply;
    }
}

QCoro::Task<> DesktopSession::connectBus()
{
    if (bus_.isConnected()) {
        co_return;
    }
    const QPointer<DesktopSession> self(this);
    const auto bus = co_await openBus(QDBusConnection::SessionBus);
    if (self && bus.isConnected()) {
        bus_ = bus;
        bus_.connect(notifications, notificationsPath, notifications, u"ActivationToken"_s, this,
                     SLOT(hearToken(uint, QString)));
        bus_.connect(notifications, notificationsPath, notifications, u"ActionInvoked"_s, this,
                     SLOT(hearAction(uint, QString)));
        sendProgress();
    }
}

/// Shows the progress on the launcher's icon: https://wiki.ubuntu.com/Unity/LauncherAPI
void DesktopSession::sendProgress()
{
    const bool isShown = isBusy_ && model_.hasProgress();
    if (!bus_.isConnected() || (!isShown && !showsProgress_)) {
        return;
    }
    showsProgress_ = isShown;
    bus_.send(QDBusMessage::createSignal(u"/org/brindle/Brindle"_s,
                                         u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s)
              << u"application://%1.desktop"_s.arg(desktopFile)
              << QVariantMap{{u"progress"_s, std::clamp(model_.fraction(), 0.0, 1.0)},
                             {u"progress-visible"_s, isShown}});
}

bool DesktopSession::isInBackground() const
{
    return !window_.isVisible() || window_.windowStates().testFlag(Qt::WindowMinimized) ||
           !QGuiApplication::focusWindow();
}

/// Shows a notification: https://specifications.freedesktop.org/notification-spec/
QCoro::Task<> DesktopSession::announce(QString title, QString message, std::stop_token withdrawn)
{
    const QPointer<DesktopSession> self(this);
    co_await connectBus();
    if (!self) {
        co_return;
    }
    auto bus = bus_;
    const auto notify = notificationCall(u"Notify"_s)
                        << u"Brindle"_s << 0U << desktopFile << title << message.toHtmlEscaped()
                        << QStringList{u"default"_s, u"Show"_s}
                        << QVariantMap{{u"desktop-entry"_s, desktopFile}} << -1;
    const QDBusMessage shown = co_await bus.asyncCall(notify);
    if (shown.type() != QDBusMessage::ReplyMessage) {
        co_return;
    }
    const uint notification = shown.arguments().value(0).toUInt();
    if (withdrawn.stop_requested()) {
        bus.send(withdrawal(notification));
    } else if (self) {
        self->notification_ = notification;
    }
}

void DesktopSession::withdraw()
{
    announcement_.request_stop();
    announcedPhase_ = -1;
    if (notification_ != 0) {
        bus_.send(withdrawal(std::exchange(notification_, 0)));
    }
}

void DesktopSession::hearToken(uint notification, const QString &token)
{
    if (notification != 0 && notification == notification_) {
        token_ = ActivationTokens::usable(token.toUtf8());
    }
}

void DesktopSession::hearAction(uint notification, const QString &action)
{
    if (notification != 0 && notification == notification_ && action == u"default") {
        Q_EMIT windowRequested(std::exchange(token_, {}));
    }
}

} // namespace brindle
