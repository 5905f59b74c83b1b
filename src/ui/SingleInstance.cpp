#include "ui/SingleInstance.h"

#include "base/Error.h"
#include "files/Files.h"
#include "platform/ActivationTokens.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLocalSocket>
#include <QThread>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

// Request and answer are one line each. The request is the permission to come to the front.
constexpr qint64 maxRequest = 256;
const auto shownAnswer = "shown\n"_ba;
constexpr int retryInterval = 20; // milliseconds
// The number of later launchers that may wait while the first one makes its window.
constexpr int backlog = 128;

} // namespace

SingleInstance::SingleInstance(const QString &storageRoot)
    : folder_(QFileInfo(storageRoot).absolutePath())
    , socket_(folder_ + u"/.%1.socket"_s.arg(QFileInfo(storageRoot).fileName()))
    , lock_(folder_ + u"/.%1.lock"_s.arg(QFileInfo(storageRoot).fileName()))
{
    connect(&server_, &QLocalServer::newConnection, this, &SingleInstance::serve);
}

SingleInstance::Role SingleInstance::claim(const QByteArray &permission, int patience)
{
    const QByteArray request = ActivationTokens::usable(permission) + '\n';
    try {
        Files::createFolder(folder_);
    } catch (const SystemError &) {
        // Ignored: without the folder the lock is unavailable, so this process is the first.
    }
    const QDeadlineTimer deadline(patience);
    while (true) {
        if (lock_.tryLock() != ProcessLock::Outcome::taken) {
            return Role::first;
        }
        const int rest = static_cast<int>(deadline.remainingTime());
        if (askFirst(request, rest)) {
            return Role::second;
        }
        if (deadline.hasExpired()) {
            return Role::unanswered;
        }
        // The first launcher does not listen yet, or has stopped listening.
        QThread::msleep(retryInterval);
    }
}

/// Returns whether the first launcher has shown its window.
bool SingleInstance::askFirst(const QByteArray &request, int patience)
{
    const QDeadlineTimer deadline(patience);
    const auto rest = [&deadline] { return static_cast<int>(deadline.remainingTime()); };
    QLocalSocket socket;
    socket.connectToServer(socket_);
    if (!socket.waitForConnected(rest())) {
        return false;
    }
    socket.write(request);
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(rest())) {
            return false;
        }
    }
    return socket.readLine() == shownAnswer;
}

void SingleInstance::listen()
{
    // This process has the lock, so an existing socket belongs to a dead launcher.
    QLocalServer::removeServer(socket_);
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    server_.setListenBacklogSize(backlog);
    if (!server_.listen(socket_)) {
        qWarning("Later starts can't be answered: %s", qPrintable(server_.errorString()));
    }
}

void SingleInstance::serve()
{
    while (QLocalSocket *const socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        const auto read = [this, socket] {
            if (socket->canReadLine()) {
                QByteArray request = socket->readLine();
                request.chop(1);
                Q_EMIT windowRequested(ActivationTokens::usable(request));
                socket->write(shownAnswer);
                socket->disconnectFromServer();
            } else if (socket->bytesAvailable() > maxRequest) {
                socket->abort();
            }
        };
        connect(socket, &QLocalSocket::readyRead, this, read);
        // The request may be there already.
        read();
    }
}

} // namespace brindle
