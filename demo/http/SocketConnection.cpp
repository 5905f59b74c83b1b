#include "http/SocketConnection.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QHostAddress>
#include <QSslSocket>

#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brindle {

namespace {

constexpr qint64 maxHeadBytes = 65'536;
constexpr qint64 fileChunkBytes = 262'144;

QByteArray reasonOf(int status)
{
    switch (status) {
    case 200:
        return QByteArrayLiteral("OK");
    case 204:
        return QByteArrayLiteral("No Content");
    case 301:
        return QByteArrayLiteral("Moved Permanently");
    case 302:
        return QByteArrayLiteral("Found");
    case 400:
        return QByteArrayLiteral("Bad Request");
    case 404:
        return QByteArrayLiteral("Not Found");
    case 500:
        return QByteArrayLiteral("Internal Server Error");
    default:
        return QByteArrayLiteral("Answer");
    }
}

} // namespace

SocketConnection::SocketConnection(qintptr descriptor)
    : descriptor_(descriptor), control_(::fcntl(static_cast<int>(descriptor), F_DUPFD_CLOEXEC, 0))
{}

SocketConnection::~SocketConnection()
{
    closeControl();
    if (descriptor_ >= 0) {
        ::close(static_cast<int>(descriptor_));
    }
}

bool SocketConnection::open(const std::optional<QSslConfiguration> &tls)
{
    socket_ = std::make_unique<QSslSocket>();
    if (!socket_->setSocketDescriptor(descriptor_)) {
        return false;
    }
    descriptor_ = -1;
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (!tls) {
        return true;
    }
    socket_->setSslConfiguration(*tls);
    socket_->startServerEncryption();
    return socket_->waitForEncrypted(-1);
}

std::optional<HttpRequest> SocketConnection::readRequest()
{
    QByteArray text;
    qsizetype end = -1;
    while ((end = text.indexOf("\r\n\r\n")) < 0) {
        const bool isHttp = text.isEmpty() || (text.front() >= 'A' && text.front() <= 'Z');
        if (!isHttp || text.size() > maxHeadBytes) {
            return std::nullopt;
        }
        if (socket_->bytesAvailable() == 0 && !socket_->waitForReadyRead(-1)) {
            return std::nullopt;
        }
        text += socket_->read(maxHeadBytes);
    }
    const QList<QByteArray> lines = text.left(end).split('\n');
    const QList<QByteArray> words = lines.first().trimmed().split(' ');
    if (words.size() != 3) {
        return std::nullopt;
    }
    HttpRequest request{words.at(0), words.at(1), {}};
    for (const QByteArray &line : lines.mid(1)) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0) {
            request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
        }
    }
    return request;
}

void SocketConnection::close()
{
    closeControl();
    if (connected()) {
        socket_->disconnectFromHost();
        if (socket_->state() != QAbstractSocket::UnconnectedState) {
            socket_->waitForDisconnected(1000);
        }
    }
    // Belongs to this thread, so it must also go here.
    socket_.reset();
}

bool SocketConnection::takeKept()
{
    return std::exchange(isKept_, false) && connected();
}

void SocketConnection::stop()
{
    stopping_ = true;
    const std::lock_guard guard(lock_);
    if (control_ >= 0) {
        ::shutdown(control_, SHUT_RDWR);
    }
}

bool SocketConnection::respond(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                               const QByteArray &body)
{
    QList<QPair<QByteArray, QByteArray>> all;
    bool framed = false;
    for (const auto &header : headers) {
        const QByteArray name = header.first.toLower();
        framed = framed || name == "content-length" || name == "transfer-encoding";
        if (name != "content-length" || !header.second.isEmpty()) {
            all.append(header);
        }
    }
    if (!framed && status != 204) {
        all.append({QByteArrayLiteral("Content-Length"), QByteArray::number(body.size())});
    }
    return write(head(status, all) + body);
}

bool SocketConnection::redirect(int status, const QUrl &location)
{
    return respond(status, {{QByteArrayLiteral("Location"), location.toEncoded()}}, {});
}

bool SocketConnection::write(const QByteArray &bytes)
{
    if (!connected() || socket_->write(bytes) != bytes.size()) {
        return false;
    }
    while (socket_->bytesToWrite() > 0 || socket_->encryptedBytesToWrite() > 0) {
        if (!socket_->waitForBytesWritten(-1) || !connected()) {
            return false;
        }
    }
    return connected();
}

bool SocketConnection::respondWithFile(const QString &path, bool withLength)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return respond(404, {}, "No such file\n");
    }
    QList<QPair<QByteArray, QByteArray>> headers{
        {QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/octet-stream")}};
    if (withLength) {
        headers.append({QByteArrayLiteral("Content-Length"), QByteArray::number(file.size())});
    } else {
        headers.append({QByteArrayLiteral("Transfer-Encoding"), QByteArrayLiteral("chunked")});
    }
    if (!write(head(200, headers))) {
        return false;
    }
    for (;;) {
        const QByteArray chunk = file.read(fileChunkBytes);
        if (chunk.isEmpty()) {
            break;
        }
        const bool sent = withLength ? write(chunk)
                                     : write(QByteArray::number(chunk.size(), 16) + "\r\n") &&
                                           write(chunk) && write("\r\n");
        if (!sent) {
            return false;
        }
    }
    if (file.error() != QFileDevice::NoError) {
        reset();
        return false;
    }
    return withLength || write("0\r\n\r\n");
}

bool SocketConnection::tunnel(quint16 port)
{
    QTcpSocket other;
    other.connectToHost(QHostAddress::LocalHost, port);
    if (!other.waitForConnected(-1)) {
        return false;
    }
    QEventLoop loop;
    const auto forth = [&] { other.write(socket_->readAll()); };
    const auto back = [&] { socket_->write(other.readAll()); };
    QObject::connect(socket_.get(), &QIODevice::readyRead, &loop, forth);
    QObject::connect(&other, &QIODevice::readyRead, &loop, back);
    QObject::connect(socket_.get(), &QAbstractSocket::disconnected, &loop, &QEventLoop::quit);
    QObject::connect(&other, &QAbstractSocket::disconnected, &loop, &QEventLoop::quit);
    // What came before anyone listened.
    forth();
    back();
    if (connected() && other.state() == QAbstractSocket::ConnectedState) {
        loop.exec();
    }
    back();
    return connected();
}

void SocketConnection::waitUntilClosed()
{
    while (connected() && socket_->waitForReadyRead(-1)) {
        socket_->readAll();
    }
}

bool SocketConnection::pause(std::chrono::milliseconds time)
{
    const QDeadlineTimer deadline(time);
    while (connected() && !deadline.hasExpired()) {
        if (socket_->waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
            socket_->readAll();
        }
    }
    return connected();
}

void SocketConnection::reset()
{
    if (!connected()) {
        return;
    }
    const linger now{1, 0};
    ::setsockopt(static_cast<int>(socket_->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now,
                 sizeof now);
    closeControl();
    socket_->abort();
}

QByteArray SocketConnection::head(int status,
                                  const QList<QPair<QByteArray, QByteArray>> &headers) const
{
    QByteArray text = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonOf(status) + "\r\n";
    for (const auto &[name, value] : headers) {
        text += name + ": " + value + "\r\n";
    }
    return text + (isKept_ ? "\r\n" : "Connection: close\r\n\r\n");
}

bool SocketConnection::connected() const
{
    return !stopping_ && socket_ && socket_->state() == QAbstractSocket::ConnectedState;
}

void SocketConnection::closeControl()
{
    const std::lock_guard guard(lock_);
    if (control_ >= 0) {
        ::close(control_);
        control_ = -1;
    }
}

} // namespace brindle
