#include "ui/DesktopSession.h"

#include "base/OneShot.h"
#include "core/AppModel.h"

#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QGuiApplication>
#include <QPointer>

#include <algorithm>
#include <chrono>

namespace brindle {

namespace {

constexpr std::chrono::milliseconds progressPause{250};
constexpr int portalPatience = 10'000;

const auto desktopFile = QStringLiteral("org.brindle.Brindle");
const auto reason = QStringLiteral("The game is being set up");
const auto notifications = QStringLiteral("org.freedesktop.Notifications");
const auto notificationsPath = QStringLiteral("/org/freedesktop/Notifications");

QDBusMessage notificationCall(const char *method)
{
    return QDBusMessage::createMethodCall(notifications, notificationsPath, notifications,
                                          QLatin1String(method));
}

QDBusMessage withdrawal(uint notification)
{
    return notificationCall("CloseNotification") << notification;
}

bool isReply(const QDBusMessage &message)
{
    return message.type() == QDBusMessage::ReplyMessage;
}

/// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Inhibit.html
QDBusMessage portalInhibition()
{
    constexpr uint suspend = 4;
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
                                               QStringLiteral("/org/freedesktop/portal/desktop"),
                                               QStringLiteral("org.freedesktop.portal.Inhibit"),
                                               QStringLiteral("Inhibit"));
    call << QString() << suspend << QVariantMap{{QStringLiteral("reason"), reason}};
    return call;
}

/// https://www.freedesktop.org/wiki/Software/systemd/inhibit/
QDBusMessage loginInhibition()
{
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep:idle") << QStringLiteral("Brindle") << reason
         << QStringLiteral("block");
    return call;
}

/// Keeps the computer awake until `over`, if anybody can. Each request has a connection of its own,
/// with whose end it ends as well: also when the answer got lost, and when the launcher is killed.
QCoro::Task<> stayAwake(std::stop_token over)
{
    const OneShot<> ended;
    const std::stop_callback wake(over, [ended] { ended.resume(); });

    MessageBus session(MessageBus::Bus::session);
    if (co_await session.open()) {
        const QDBusMessage inhibit = portalInhibition();
        const QDBusMessage reply = co_await session.call(inhibit, portalPatience);
        if (isReply(reply)) {
            co_await ended;
            const QString request = reply.arguments().value(0).value<QDBusObjectPath>().path();
            if (!request.isEmpty()) {
                const auto close = QDBusMessage::createMethodCall(
                    inhibit.service(), request, QStringLiteral("org.freedesktop.portal.Request"),
                    QStringLiteral("Close"));
                co_await session.call(close);
            }
            co_return;
        }
    }
    MessageBus system(MessageBus::Bus::system);
    if (!over.stop_requested() && co_await system.open()) {
        // It lasts as long as the descriptor that came with it is open.
        const QDBusMessage inhibit = loginInhibition();
        const QDBusMessage reply = co_await system.call(inhibit);
        if (isReply(reply)) {
            co_await ended;
        }
    }
}

} // namespace

DesktopSession::DesktopSession(AppModel &model, QQuickWindow &window)
    : model_(model), window_(window)
{
    progressDue_.setSingleShot(true);
    progressDue_.setInterval(progressPause);
    connect(&progressDue_, &QTimer::timeout, this, &DesktopSession::sendProgress);
    connect(&model, &AppModel::progressChanged, this, [this] {
        if (isBusy_ && !progressDue_.isActive()) {
            progressDue_.start();
        }
    });
    connect(&model, &AppModel::stateChanged, this, &DesktopSession::follow);
    connect(&model, &AppModel::workChanged, this, [this] {
        if (model_.work()) {
            withdraw();
        }
    });
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
    if (isBusy_) {
        end();
    }
}

void DesktopSession::follow()
{
    if (isBusy_ == model_.canCancel()) {
        return;
    }
    if (!isBusy_) {
        begin();
        return;
    }
    end();
    // Whoever has cancelled it knows.
    const auto work = model_.work();
    if (!(work && work->stop.stop_requested()) && isInBackground()) {
        withdraw();
        announcement_ = std::stop_source();
        announce(this, window_.property("statusTitle").toString(),
                 window_.property("statusMessage").toString(), announcement_.get_token());
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
    const QPointer<DesktopSession> self(this);
    MessageBus bus = bus_;
    const bool isOpen = co_await bus.open();
    if (!self || !isOpen) {
        co_return;
    }
    if (!isListening_) {
        isListening_ = true;
        bus_.listen(notificationsPath, notifications, QStringLiteral("ActivationToken"), this,
                    SLOT(hearToken(uint, QString)));
        bus_.listen(notificationsPath, notifications, QStringLiteral("ActionInvoked"), this,
                    SLOT(hearAction(uint, QString)));
    }
    sendProgress();
}

/// https://wiki.ubuntu.com/Unity/LauncherAPI
void DesktopSession::sendProgress()
{
    const bool isShown = isBusy_ && model_.hasProgress();
    if (!isShown && !showsProgress_) {
        return;
    }
    showsProgress_ = isShown && bus_.isOpen();
    auto update = QDBusMessage::createSignal(QStringLiteral("/org/brindle/Brindle"),
                                             QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                             QStringLiteral("Update"));
    update << QStringLiteral("application://%1.desktop").arg(desktopFile)
           << QVariantMap{
                  {QStringLiteral("progress"), std::clamp(model_.fraction(), 0.0, 1.0)},
                  {QStringLiteral("progress-visible"), isShown},
              };
    bus_.send(update);
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
    MessageBus bus = self->bus_;
    if (!co_await bus.open()) {
        co_return;
    }
    const QDBusMessage ask = notificationCall("GetCapabilities");
    const QDBusMessage known = co_await bus.call(ask);
    if (!isReply(known) || withdrawn.stop_requested()) {
        co_return;
    }
    const QStringList capabilities = known.arguments().value(0).toStringList();
    const bool isMarkup = capabilities.contains(QStringLiteral("body-markup"));
    QStringList actions;
    if (capabilities.contains(QStringLiteral("actions"))) {
        actions = {QStringLiteral("default"), QStringLiteral("Show")};
    }
    auto notify = notificationCall("Notify");
    notify << QStringLiteral("Brindle") << 0U << desktopFile << title
           << (isMarkup ? message.toHtmlEscaped() : message) << actions
           << QVariantMap{{QStringLiteral("desktop-entry"), desktopFile}} << -1;
    const QDBusMessage shown = co_await bus.call(notify);
    if (!isReply(shown)) {
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
    if (notification_ != 0) {
        bus_.send(withdrawal(std::exchange(notification_, 0)));
    }
}

void DesktopSession::hearToken(uint notification, const QString &token)
{
    if (notification != 0 && notification == notification_) {
        token_ = token.toUtf8();
    }
}

void DesktopSession::hearAction(uint notification, const QString &action)
{
    if (notification != 0 && notification == notification_ && action == u"default") {
        Q_EMIT windowRequested(std::exchange(token_, {}));
    }
}

} // namespace brindle
