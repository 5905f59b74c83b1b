#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusUnixFileDescriptor>
#include <QProcess>
#include <QTemporaryDir>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace brindle {

/// A service's reaction to a call.
enum class Answer { reply, refuse, never, nonsense };

/// A message bus that stands in for the session's and the system's while this object lives.
class TestBus
{
public:
    TestBus();
    ~TestBus();

    QString address() const { return address_; }

private:
    QTemporaryDir folder_;
    QProcess daemon_;
    QString address_;
};

/// The login manager: keeps the computer awake until a descriptor is closed. Answers like systemd
/// 252 (Debian 12) and 257 (Debian 13).
class LoginManager : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    ~LoginManager() override;
    QStringList log;
    Answer answer = Answer::reply;
    /// Returns whether the last descriptor is closed.
    bool isReleased() const;

public Q_SLOTS:
    QDBusUnixFileDescriptor Inhibit(const QString &what, const QString &who, const QString &why,
                                    const QString &mode);
    void Inhibit(const QDBusMessage &call); ///< receives calls with wrong arguments

private:
    int readEnd_ = -1;
};

class NotificationServer : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    Answer answer = Answer::reply;
    QList<QStringList> shown; ///< each notification's title, text and actions
    QList<uint> withdrawn;
    std::function<void()> beforeReply = [] {}; ///< called before the reply to each Notify

public Q_SLOTS:
    uint Notify(const QString &application, uint replaces, const QString &icon,
                const QString &title, const QString &text, const QStringList &actions,
                const QVariantMap &hints, int expires);
    void CloseNotification(uint id) { withdrawn << id; }

Q_SIGNALS:
    void ActionInvoked(uint id, const QString &action);
    void ActivationToken(uint id, const QString &token);
};

class FileManager : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    Answer answer = Answer::reply;
    QStringList shown;

public Q_SLOTS:
    void ShowItems(const QStringList &urls, const QString &startupId);
};

/// The dock: shows the progress of programs.
class Dock : public QObject
{
    Q_OBJECT

public:
    QStringList applications;
    QList<QVariantMap> updates;

public Q_SLOTS:
    void update(const QString &application, const QVariantMap &properties)
    {
        applications << application;
        updates << properties;
    }
};

/// All these services on one bus.
struct BusServices
{
    explicit BusServices(const QString &address);
    ~BusServices();

    QDBusConnection connection;
    LoginManager login;
    NotificationServer notifications;
    FileManager files;
    Dock dock;
};

} // namespace brindle
