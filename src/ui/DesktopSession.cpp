#include "ui/DesktopSession.h"

#include "base/OneShot.h"
#include "core/AppModel.h"
#include "platform/ActivationTokens.h"
#include "ui/DisplayText.h"
#include "ui/MessageBus.h"

#include <QCoroDBusPendingCall>
#include <QGuiApplication>

#include <algorithm>
#include <chrono>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds progressPause{250};
constexpr int inhibitPatience = 10'000; // milliseconds

const auto desktopFile = u"org.brindle.Brindle"_s;
const auto reason = u"The game is being set up"_s;
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

bool isReply(const QDBusMessage &message)
{
    return message.type() == QDBusMessage::ReplyMessage;
}

/// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Inhibit.html
QDBusMessage portalInhibition()
{
    constexpr uint suspend = 4;
    return QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s,
                                          u"/org/freedesktop/portal/desktop"_s,
                                          u"org.freedesktop.portal.Inhibit"_s, u"Inhibit"_s)
           << QString() << suspend << QVariantMap{{u"reason"_s, reason}};
}

/// https://www.freedesktop.org/wiki/Software/systemd/inhibit/
QDBusMessage loginInhibition()
{
    return QDBusMessage::createMethodCall(u"org.freedesktop.login1"_s, u"/org/freedesktop/login1"_s,
                                          u"org.freedesktop.login1.Manager"_s, u"Inhibit"_s)
           << u"sleep:idle"_s << u"Brindle"_s << reason << u"block"_s;
}

/// Keeps the computer awake until `over`. Asks the login manager as well as the portal, because the
/// portal (1.16) reports success even if GNOME's session manager refuses. Each request has its own
/// connection. Closing the connection ends the request, even after a lost reply or SIGKILL.
QCoro::Task<> stayAwake(std::stop_token over)
{
    const OneShot<> ended;
    const std::stop_callback wake(over, [ended] { ended.resume(); });
    QDBusMessage held; // the request lasts as long as this reply's descriptor is open
    const auto system = co_await openBus(QDBusConnection::SystemBus);
    if (system) {
        held = co_await system->asyncCall(loginInhibition(), inhibitPatience);
    }
    const auto session = co_await openBus(QDBusConnection::SessionBus);
    if (session && !over.stop_requested()) {
        co_await session->asyncCall(portalInhibition(), inhibitPatience);
    }
    co_await ended;
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
        begin();
        return;
    }
    end();
    // A player who cancelled the setup knows of its end.
    const auto work = model_.work();
    if (!(work && work->stop_requested()) && isInBackground()) {
        announcement_ = std::stop_source();
        announcedPhase_ = model_.phase();
        const bool isStarting = model_.gameRunning();
        announce(this, DisplayText::phaseTitle(model_.phase()),
                 DisplayText::of(isStarting ? model_.stepText() : model_.needsMessage()),
                 announcement_.get_token());
    }
}

void DesktopSession::begin()
{
    isBusy_ = true;
    setup_ = std::stop_source();
    stayAwake(setup_.get_token());
    connectBus();
}

void DesktopSession::end()
{
    isBusy_ = false;
    setup_.request_stop();
    progressDue_.stop();
    sendProgress();
}

QCoro::Task<> DesktopSession::connectBus()
{
    if (bus_ && bus_->isConnected()) {
        co_return;
    }
    const QPointer<DesktopSession> self(this);
    const auto bus = co_await openBus(QDBusConnection::SessionBus);
    if (self && bus) {
        bus_ = bus;
        bus->connect(notifications, notificationsPath, notifications, u"ActivationToken"_s, this,
                     SLOT(hearToken(uint, QString)));
        bus->connect(notifications, notificationsPath, notifications, u"ActionInvoked"_s, this,
                     SLOT(hearAction(uint, QString)));
        sendProgress();
    }
}

/// https://wiki.ubuntu.com/Unity/LauncherAPI
void DesktopSession::sendProgress()
{
    const bool isShown = isBusy_ && model_.hasProgress();
    if (!bus_ || (!isShown && !showsProgress_)) {
        return;
    }
    showsProgress_ = isShown;
    bus_->send(QDBusMessage::createSignal(u"/org/brindle/Brindle"_s,
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

/// https://specifications.freedesktop.org/notification-spec/
QCoro::Task<> DesktopSession::announce(QPointer<DesktopSession> self, QString title,
                                       QString message, std::stop_token withdrawn)
{
    co_await self->connectBus();
    if (!self || !self->bus_) {
        co_return;
    }
    const auto bus = self->bus_;
    const QDBusMessage known = co_await bus->asyncCall(notificationCall(u"GetCapabilities"_s));
    if (!isReply(known) || withdrawn.stop_requested()) {
        co_return;
    }
    const QStringList capabilities = known.arguments().value(0).toStringList();
    const bool hasMarkup = capabilities.contains(u"body-markup"_s);
    QStringList actions;
    if (capabilities.contains(u"actions"_s)) {
        actions = {u"default"_s, u"Show"_s};
    }
    const auto notify = notificationCall(u"Notify"_s)
                        << u"Brindle"_s << 0U << desktopFile << title
                        << (hasMarkup ? message.toHtmlEscaped() : message) << actions
                        << QVariantMap{{u"desktop-entry"_s, desktopFile}} << -1;
    const QDBusMessage shown = co_await bus->asyncCall(notify);
    if (!isReply(shown)) {
        co_return;
    }
    const uint notification = shown.arguments().value(0).toUInt();
    if (withdrawn.stop_requested()) {
        bus->send(withdrawal(notification));
    } else if (self) {
        self->notification_ = notification;
    }
}

void DesktopSession::withdraw()
{
    announcement_.request_stop();
    announcedPhase_ = -1;
    if (notification_ != 0) {
        bus_->send(withdrawal(std::exchange(notification_, 0)));
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
