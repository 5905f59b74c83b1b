#include "ui/SingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalSocket>
#include <QThread>

namespace brindle {

namespace {

// One request is one line: the token. One answer is one line.
constexpr qint64 longestToken = 4096;
const QByteArray shownAnswer = QByteArrayLiteral("shown\n");
constexpr int retryInterval = 20; // milliseconds
// How many may be waiting to be answered while the first is still making its window.
constexpr int backlog = 128;

} // namespace

SingleInstance::SingleInstance(const QString &folder, QObject *parent)
    : QObject(parent)
    , socket_(QDir(folder).filePath(QStringLiteral("brindle.socket")))
    , lock_(QDir(folder).filePath(QStringLiteral("brindle.lock")))
{
    connect(&server_, &QLocalServer::newConnection, this, &SingleInstance::serve);
}

SingleInstance::~SingleInstance() = default;

SingleInstance::Role SingleInstance::claim(const QByteArray &token, int patience)
{
    const QDeadlineTimer deadline(patience);
    while (true) {
        if (lock_.tryLock() != ProcessLock::Outcome::taken) {
            return Role::first;
        }
        const int rest = static_cast<int>(deadline.remainingTime());
        if (askFirst(token, rest) == Answer::shown) {
            return Role::second;
        }
        if (deadline.hasExpired()) {
            return Role::unanswered;
        }
        // It holds the lock but does not listen yet, or no longer.
        QThread::msleep(retryInterval);
    }
}

SingleInstance::Answer SingleInstance::askFirst(const QByteArray &token, int patience) const
{
    const QDeadlineTimer deadline(patience);
    const auto rest = [&deadline] { return static_cast<int>(deadline.remainingTime()); };
    QLocalSocket socket;
    socket.connectToServer(socket_);
    if (!socket.waitForConnected(rest())) {
        return Answer::none;
    }
    QByteArray line = token.left(longestToken);
    line.replace('\n', QByteArray());
    socket.write(line + '\n');
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(rest())) {
            return Answer::none;
        }
    }
    return socket.readLine() == shownAnswer ? Answer::shown : Answer::none;
}

void SingleInstance::listen()
{
    // Whatever lies there belongs to nobody: the lock is ours.
    QLocalServer::removeServer(socket_);
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    server_.setListenBacklogSize(backlog);
    if (!server_.listen(socket_)) {
        qWarning("Later starts can't be answered: %s", qPrintable(server_.errorString()));
    }
}

void SingleInstance::stopListening()
{
    server_.close();
}

void SingleInstance::serve()
{
    while (QLocalSocket *const socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        const auto read = [this, socket] {
            if (socket->canReadLine()) {
                QByteArray token = socket->readLine();
                token.chop(1);
                Q_EMIT windowRequested(token);
                socket->write(shownAnswer);
                socket->disconnectFromServer();
            } else if (socket->bytesAvailable() > longestToken) {
                socket->abort();
            }
        };
        connect(socket, &QLocalSocket::readyRead, this, read);
        // What came before the connection was taken up.
        read();
    }
}

} // namespace brindle
