#pragma once

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QQuickWindow>
#include <QTimer>

#include <stop_token>

namespace brindle {

class AppModel;

/// Reports a running setup to the user's desktop, by message bus: the computer stays awake, and the
/// launcher's icon shows the progress. If the setup ends while the window is not in front, a
/// notification appears. It goes when the window comes to the front, or when the launcher's state
/// changes. Main thread only.
class DesktopSession : public QObject
{
    Q_OBJECT

public:
    /// Both must outlive this object.
    DesktopSession(AppModel &model, QQuickWindow &window);
    ~DesktopSession() override;

Q_SIGNALS:
    /// The player chose a notification. `token` is the desktop's permission to come to the front:
    /// a Wayland activation token or an X startup id. It may be empty.
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
    QDBusConnection bus_{QString()}; // the session's, once it is connected
    QDBusMessage awake_;             // the computer stays awake while this reply exists
    bool isBusy_ = false;
    bool showsProgress_ = false;
    QTimer progressDue_;
    std::stop_source announcement_; // stopped when the notification is withdrawn
    int announcedPhase_ = -1;       // -1: none
    uint notification_ = 0;         // 0: none
    QByteArray token_;
};

} // namespace brindle
