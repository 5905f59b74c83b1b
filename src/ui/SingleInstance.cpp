#include "ui/SingleInstance.h"

#include "files/Files.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalSocket>
#include <QThread>

#include <fcntl.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

namespace brindle {

namespace {

// A request is one line: the activation token, a tab and the startup id. An answer is one line.
constexpr qint64 maxText = 255;
constexpr qint64 maxRequest = 2 * maxText + 2;
const QByteArray shownAnswer = QByteArrayLiteral("shown\n");
constexpr int retryInterval = 20; // milliseconds
// How many may be waiting to be answered while the first is still making its window.
constexpr int backlog = 128;

/// Makes a folder that nobody else may look into. Failures show when it is used.
void makeFolder(const QString &folder)
{
    QDir().mkpath(folder);
    Files::makePrivate(folder);
}

/// Returns `text` if it is short and printable ASCII. A longer token makes libwayland end the
/// program.
QByteArray usable(const QByteArray &text)
{
    const auto isPrintable = [](char letter) { return letter >= ' ' && letter <= '~'; };
    return text.size() <= maxText && std::ranges::all_of(text, isPrintable) ? text : QByteArray();
}

} // namespace

SingleInstance::SingleInstance(const QString &folder, QObject *parent)
    : QObject(parent)
    , folder_(QDir::cleanPath(QDir(folder).absolutePath()))
    , lockFile_(folder_ + QStringLiteral("/brindle.lock"))
{
    lock_ = std::make_unique<ProcessLock>(lockFile_);
    connect(&server_, &QLocalServer::newConnection, this, &SingleInstance::serve);
}

SingleInstance::~SingleInstance()
{
    server_.close(); // which removes its socket by way of the descriptor
    if (longFolder_ >= 0) {
        ::close(longFolder_);
    }
}

QString SingleInstance::folder(const QString &runtimeFolder, const QString &storageRoot)
{
    if (QDir::isAbsolutePath(runtimeFolder)) {
        return runtimeFolder;
    }
    makeFolder(storageRoot);
    return storageRoot;
}

SingleInstance::Role SingleInstance::claim(const QByteArray &activationToken,
                                           const QByteArray &startupId, int patience)
{
    const QByteArray request = usable(activationToken) + '\t' + usable(startupId) + '\n';
    const QDeadlineTimer deadline(patience);
    while (true) {
        if (lock_->tryLock() != ProcessLock::Outcome::taken) {
            return Role::first;
        }
        const int rest = static_cast<int>(deadline.remainingTime());
        if (askFirst(request, rest) == Answer::shown) {
            return Role::second;
        }
        if (deadline.hasExpired()) {
            return Role::unanswered;
        }
        // It holds the lock but does not listen yet, or no longer.
        QThread::msleep(retryInterval);
    }
}

SingleInstance::Answer SingleInstance::askFirst(const QByteArray &request, int patience)
{
    const QDeadlineTimer deadline(patience);
    const auto rest = [&deadline] { return static_cast<int>(deadline.remainingTime()); };
    QLocalSocket socket;
    socket.connectToServer(socketName());
    if (!socket.waitForConnected(rest())) {
        return Answer::none;
    }
    socket.write(request);
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(rest())) {
            return Answer::none;
        }
    }
    return socket.readLine() == shownAnswer ? Answer::shown : Answer::none;
}

void SingleInstance::listen()
{
    const QString socket = socketName();
    // Whatever lies there belongs to nobody: the lock is ours.
    QLocalServer::removeServer(socket);
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    server_.setListenBacklogSize(backlog);
    if (!server_.listen(socket)) {
        qWarning("Later starts can't be answered: %s", qPrintable(server_.errorString()));
    }
    if (!watcher_) {
        watcher_ = std::make_unique<QFileSystemWatcher>();
        connect(watcher_.get(), &QFileSystemWatcher::fileChanged, this, &SingleInstance::restore);
    }
    // It is the file that is watched, not the name.
    watcher_->removePath(lockFile_);
    watcher_->addPath(lockFile_);
}

void SingleInstance::restore()
{
    if (QFile::exists(lockFile_)) {
        return;
    }
    makeFolder(folder_);
    lock_ = std::make_unique<ProcessLock>(lockFile_);
    if (lock_->tryLock() != ProcessLock::Outcome::taken) {
        server_.close();
        listen();
    }
}

QString SingleInstance::socketName()
{
    const QString name = QStringLiteral("/brindle.socket");
    if (QFile::encodeName(folder_ + name).size() < qsizetype{sizeof(sockaddr_un::sun_path)}) {
        return folder_ + name;
    }
    // Where there is no /proc, nobody answers; the lock holds all the same.
    if (longFolder_ >= 0) {
        ::close(longFolder_);
    }
    longFolder_ =
        ::open(QFile::encodeName(folder_).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return QStringLiteral("/proc/self/fd/%1").arg(longFolder_) + name;
}

void SingleInstance::stopListening()
{
    watcher_.reset();
    server_.close();
}

void SingleInstance::serve()
{
    while (QLocalSocket *const socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        const auto read = [this, socket] {
            if (socket->canReadLine()) {
                QByteArray request = socket->readLine();
                request.chop(1);
                const QByteArrayList texts = request.split('\t');
                Q_EMIT windowRequested(usable(texts.value(0)), usable(texts.value(1)));
                socket->write(shownAnswer);
                socket->disconnectFromServer();
            } else if (socket->bytesAvailable() > maxRequest) {
                socket->abort();
            }
        };
        connect(socket, &QLocalSocket::readyRead, this, read);
        // What came before the connection was taken up.
        read();
    }
}

} // namespace brindle
