#include "BusServices.h"

#include <QDBusMessage>
#include <QFile>
#include <QRegularExpression>

#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Gives the test's chosen answer, except for `reply`. Returns false for `reply`.
bool answered(Answer answer, const QDBusContext &call)
{
    switch (answer) {
    case Answer::reply:
        return false;
    case Answer::refuse:
        call.sendErrorReply(QDBusError::AccessDenied, u"Permission denied"_s);
        return true;
    case Answer::never:
        call.setDelayedReply(true);
        return true;
    case Answer::nonsense:
        call.setDelayedReply(true);
        return call.connection().send(call.message().createReply(QVariantMap{{u"a"_s, 1}}));
    }
    return false;
}

} // namespace

TestBus::TestBus()
{
    QFile settings(folder_.filePath(u"bus.conf"_s));
    if (!settings.open(QIODevice::WriteOnly)) {
        throw std::runtime_error("no folder");
    }
    settings.write(
        "<busconfig><type>session</type><listen>unix:dir=" + QFile::encodeName(folder_.path()) +
        "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
        "<allow send_destination=\"*\"/><allow eavesdrop=\"true\"/><allow "
        "own=\"*\"/></policy></busconfig>");
    settings.close();
    daemon_.start(u"dbus-daemon"_s,
                  {u"--nofork"_s, u"--print-address"_s, u"--config-file="_s + settings.fileName()});
    while (!daemon_.canReadLine()) {
        if (!daemon_.waitForReadyRead(30'000)) {
            throw std::runtime_error("no bus: " + daemon_.readAllStandardError().toStdString());
        }
    }
    address_ = QString::fromLocal8Bit(daemon_.readLine()).trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address_.toLocal8Bit());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address_.toLocal8Bit());
}

TestBus::~TestBus()
{
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    daemon_.kill();
    daemon_.waitForFinished();
}

LoginManager::~LoginManager()
{
    ::close(readEnd_);
}

bool LoginManager::isReleased() const
{
    pollfd end{readEnd_, POLLIN, 0};
    return ::poll(&end, 1, 0) == 1 && (end.revents & POLLHUP) != 0;
}

QDBusUnixFileDescriptor LoginManager::Inhibit(const QString &what, const QString &who,
                                              const QString &why, const QString &mode)
{
    log << QStringList{what, who, why, mode}.join(u'|');
    // Only systemd 257 accepts the mode "block-weak", too.
    static const QRegularExpression places(u"^(shutdown|sleep|idle|handle-[a-z-]+)(:(?1))*$"_s);
    const bool isDelay = mode == u"delay" && !what.contains(u"idle") && !what.contains(u"handle");
    if (!places.match(what).hasMatch() || (mode != u"block" && !isDelay)) {
        sendErrorReply(QDBusError::InvalidArgs, u"Invalid what or mode"_s);
        return {};
    }
    int ends[2] = {-1, -1};
    if (answered(answer, *this) || ::pipe(ends) != 0) {
        return {};
    }
    ::close(std::exchange(readEnd_, ends[0]));
    const QDBusUnixFileDescriptor given(ends[1]);
    ::close(ends[1]);
    return given;
}

void LoginManager::Inhibit(const QDBusMessage &call)
{
    sendErrorReply(QDBusError::InvalidArgs,
                   u"Invalid arguments '%1' to call org.freedesktop.login1.Manager.Inhibit(), "
                   "expecting 'ssss'."_s.arg(call.signature()));
}

uint NotificationServer::Notify(const QString &application, uint /*replaces*/,
                                const QString & /*icon*/, const QString &title, const QString &text,
                                const QStringList &actions, const QVariantMap &hints,
                                int /*expires*/)
{
    answered(answer, *this);
    shown << QStringList{title, text, actions.join(u','), application,
                         hints.value(u"desktop-entry"_s).toString()};
    beforeReply();
    return 40 + static_cast<uint>(shown.size());
}

void FileManager::ShowItems(const QStringList &urls, const QString & /*startupId*/)
{
    shown << urls;
    answered(answer, *this);
}

BusServices::BusServices(const QString &address)
    : connection(QDBusConnection::connectToBus(address, u"services"_s))
{
    const auto serve = [this](QObject &object, const char *name, const char *path) {
        if (!connection.registerObject(QLatin1String(path), &object,
                                       QDBusConnection::ExportAllSlots |
                                           QDBusConnection::ExportAllSignals) ||
            !connection.registerService(QLatin1String(name))) {
            throw std::runtime_error(name);
        }
    };
    serve(login, "org.freedesktop.login1", "/org/freedesktop/login1");
    serve(notifications, "org.freedesktop.Notifications", "/org/freedesktop/Notifications");
    serve(files, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1");
    connection.connect(QString(), QString(), u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s,
                       &dock, SLOT(update(QString, QVariantMap)));
}

BusServices::~BusServices()
{
    QDBusConnection::disconnectFromBus(u"services"_s);
}

} // namespace brindle
