#pragma once

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QQuickWindow>
#include <QTimer>

#include <stop_token>

namespace brindle {

class AppModel;

/// Reports a running setup to the user's desktop over the message bus. The computer stays awake,
/// and the launcher's icon shows the progress. If the setup ends while the window is not in front,
/// a notification appears. The notification vanishes when the window comes to the front or the
/// launcher's state changes. Main thread only.
class DesktopSession : public QObject
{
    Q_OBJECT

public:
    /// Model and window must outlive this object.
    DesktopSession(AppModel &model, QQuickWindow &window);
    ~DesktopSession() override;

Q_SIGNALS:
    /// The player clicked the notification. `token` is the desktop's permission to come to the
    /// front: a Wayland activation token, an X startup id, or empty.
    void windowRequested(const QByteArray &token);

private Q_SLOTS:
    void hearToken(uint notification, const QString &token);
    void hearAction(uint notification, const QString &action);

private:
    void follow();
    void end();
    QCoro::Task<> stayAwake();
    QCoro::Task<> connectBus();
    void sendProgress();
    bool isInBackground() const;
    QCoro::Task<> announce(QString title, QString message, std::stop_token withdrawn);
    void withdraw();

    AppModel &model_;
    QQuickWindow &window_;
    QDBusConnection bus_{QString()}; // the session bus, once connected
    QDBusMessage awake_;             // while this reply exists, the computer stays awake
    bool isBusy_ = false;
    bool showsProgress_ = false;
    QTimer progressDue_;
    std::stop_source announcement_; // a stop means the notification was withdrawn
    int announcedPhase_ = -1;       // -1: none
    uint notification_ = 0;         // 0: none
    QByteArray token_;
};

} // namespace brindle
