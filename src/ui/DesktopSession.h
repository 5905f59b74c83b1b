#pragma once

#include "ui/MessageBus.h"

#include <QPointer>
#include <QQuickWindow>
#include <QTimer>

#include <stop_token>

namespace brindle {

class AppModel;

/// What the user's desktop is told of the launcher while nobody looks at it. While a setup runs the
/// computer does not fall asleep, and the launcher's icon shows how far it is; its end is announced
/// when the window is not in front, until it is or the next task begins. All by message bus; where
/// there is none, nothing. Main thread only.
class DesktopSession : public QObject
{
    Q_OBJECT

public:
    /// @param window what it shows of the status is its "statusTitle" and "statusMessage". Both
    /// must outlive this.
    DesktopSession(AppModel &model, QQuickWindow &window);
    ~DesktopSession() override;

Q_SIGNALS:
    /// The player has chosen an announcement, with the desktop's permission to come to the front.
    void windowRequested(const QByteArray &token);

private Q_SLOTS:
    // As the notification service sends them, or anybody else.
    void hearToken(uint notification, const QString &token);
    void hearAction(uint notification, const QString &action);

private:
    void follow();
    void begin();
    void end();
    QCoro::Task<> connectBus();
    void sendProgress();
    bool isInBackground() const;
    static QCoro::Task<> announce(QPointer<DesktopSession> self, QString title, QString message,
                                  std::stop_token withdrawn);
    void withdraw();

    AppModel &model_;
    QQuickWindow &window_;
    MessageBus bus_{MessageBus::Bus::session};
    std::stop_source setup_; // the end of the one that runs
    bool isBusy_ = false;
    bool isListening_ = false;
    bool showsProgress_ = false;
    QTimer progressDue_;
    std::stop_source announcement_; // its end
    uint notification_ = 0;         // 0: none
    QByteArray token_;
};

} // namespace brindle
