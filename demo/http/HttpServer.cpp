#include "http/HttpServer.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QSslSocket>
#include <QTcpServer>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 maxHeadBytes = 65'536;

/// Passes on each accepted connection as a descriptor, so that another thread can use it.
class Listener final : public QTcpServer
{
public:
    explicit Listener(std::function<void(qintptr)> onConnection)
        : onConnection_(std::move(onConnection))
    {}

protected:
    void incomingConnection(qintptr descriptor) override { onConnection_(descriptor); }

private:
    std::function<void(qintptr)> onConnection_;
};

} // namespace

HttpConnection::HttpConnection(qintptr descriptor)
    : descriptor_(descriptor), control_(::fcntl(static_cast<int>(descriptor), F_DUPFD_CLOEXEC, 0))
{}

HttpConnection::~HttpConnection() = default;

/// Opens the socket, with a TLS handshake if `tls` is given. Returns false on failure.
bool HttpConnection::open(const std::optional<QSslConfiguration> &tls)
{
    socket_ = std::make_unique<QSslSocket>();
    if (!socket_->setSocketDescriptor(descriptor_)) {
        return false;
    }
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (!tls) {
        return true;
    }
    socket_->setSslConfiguration(*tls);
    socket_->startServerEncryption();
    return socket_->waitForEncrypted(-1);
}

/// Reads a request without its body. Returns nothing if the client leaves or does not send HTTP.
std::optional<HttpRequest> HttpConnection::readRequest()
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
        const qsizetype colon = std::max<qsizetype>(line.indexOf(':'), 0);
        request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    return request;
}

/// Sends the remaining bytes and closes the connection in order, unless it was reset.
void HttpConnection::close()
{
    closeControl();
    if (isConnected()) {
        socket_->disconnectFromHost();
        if (socket_->state() != QAbstractSocket::UnconnectedState) {
            socket_->waitForDisconnected(1000);
        }
    }
    socket_.reset(); // here, because it belongs to this thread
}

/// Lets every blocking call on the connection's thread return at once. Any thread.
void HttpConnection::stop()
{
    isStopping_ = true;
    const std::lock_guard guard(lock_);
    if (control_ >= 0) {
        ::shutdown(control_, SHUT_RDWR);
    }
}

bool HttpConnection::isConnected() const
{
    return !isStopping_ && socket_->state() == QAbstractSocket::ConnectedState;
}

void HttpConnection::closeControl()
{
    const std::lock_guard guard(lock_);
    if (control_ >= 0) {
        ::close(std::exchange(control_, -1));
    }
}

bool HttpConnection::respond(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                             const QByteArray &body)
{
    QByteArray text = "HTTP/1.1 " + QByteArray::number(status) + " Answer\r\n";
    bool isFramed = status == 204;
    for (const auto &[name, value] : headers) {
        const QByteArray known = name.toLower();
        isFramed = isFramed || known == "content-length" || known == "transfer-encoding";
        if (known != "content-length" || !value.isEmpty()) {
            text += name + ": " + value + "\r\n";
        }
    }
    if (!isFramed) {
        text += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    }
    return write(text + (isKept_ ? "\r\n" : "Connection: close\r\n\r\n") + body);
}

bool HttpConnection::redirect(int status, const QUrl &location)
{
    return respond(status, {{"Location", location.toEncoded()}}, {});
}

bool HttpConnection::write(const QByteArray &bytes)
{
    if (!isConnected() || socket_->write(bytes) != bytes.size()) {
        return false;
    }
    while (socket_->bytesToWrite() > 0 || socket_->encryptedBytesToWrite() > 0) {
        if (!socket_->waitForBytesWritten(-1) || !isConnected()) {
            return false;
        }
    }
    return isConnected();
}

bool HttpConnection::tunnel(quint16 port)
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
    // Some bytes may have arrived before the signals above were connected.
    forth();
    back();
    if (isConnected() && other.state() == QAbstractSocket::ConnectedState) {
        loop.exec();
    }
    back();
    return isConnected();
}

void HttpConnection::waitUntilClosed()
{
    while (isConnected() && socket_->waitForReadyRead(-1)) {
        socket_->readAll();
    }
}

bool HttpConnection::pause(std::chrono::milliseconds time)
{
    const QDeadlineTimer deadline(time);
    while (isConnected() && !deadline.hasExpired()) {
        if (socket_->waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
            socket_->readAll();
        }
    }
    return isConnected();
}

void HttpConnection::reset()
{
    if (isConnected()) {
        const linger now{1, 0};
        ::setsockopt(static_cast<int>(socket_->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now,
                     sizeof now);
        closeControl();
        socket_->abort();
    }
}

HttpServer::HttpServer(Handler handler, quint16 port, const QSslConfiguration *tls)
    : handler_(std::move(handler))
{
    if (tls) {
        tls_ = *tls;
    }
    listener_ = new Listener([this](qintptr descriptor) { serve(descriptor); });
    listener_->moveToThread(&listening_);
    QObject::connect(&listening_, &QThread::finished, listener_, &QObject::deleteLater);
    listening_.start();
    QString error;
    // Make the socket on the thread that watches it.
    const auto listen = [&] {
        listener_->setListenBacklogSize(256);
        if (!listener_->listen(QHostAddress::LocalHost, port)) {
            error = listener_->errorString();
        }
        port_ = listener_->serverPort();
    };
    QMetaObject::invokeMethod(listener_, listen, Qt::BlockingQueuedConnection);
    if (!error.isEmpty()) {
        stop();
        throw std::runtime_error(error.toStdString());
    }
}

HttpServer::~HttpServer()
{
    stop();
}

QUrl HttpServer::url(const QString &path, const QString &host) const
{
    const auto scheme = tls_ ? u"https"_s : u"http"_s;
    return QUrl(u"%1://%2:%3%4"_s.arg(scheme, host, QString::number(port()), path));
}

int HttpServer::requestCount() const
{
    const std::lock_guard guard(lock_);
    return requests_;
}

int HttpServer::requestCount(const QByteArray &target) const
{
    const std::lock_guard guard(lock_);
    return requestsPerTarget_.value(target);
}

void HttpServer::stop()
{
    listening_.quit();
    listening_.wait();
    // Stop all connections first, then wait for all.
    for (Client &client : clients_) {
        client.connection->stop();
    }
    for (Client &client : clients_) {
        client.thread->wait();
    }
}

/// Starts a thread for a new connection. Runs on the listener's thread.
void HttpServer::serve(qintptr descriptor)
{
    clients_.remove_if([](const Client &client) { return client.thread->isFinished(); });
    Client &client = clients_.emplace_back();
    client.connection = std::make_unique<HttpConnection>(descriptor);
    client.thread.reset(
        QThread::create([this, connection = client.connection.get()] { answer(*connection); }));
    client.thread->start();
}

/// Answers the requests of one connection, on its thread.
void HttpServer::answer(HttpConnection &connection)
{
    if (connection.open(tls_)) {
        ++connections_;
        do {
            connection.isKept_ = false;
            answerNext(connection);
        } while (connection.isKept_ && connection.isConnected());
    }
    connection.close();
}

void HttpServer::answerNext(HttpConnection &connection)
{
    const auto request = connection.readRequest();
    if (!request) {
        connection.respond(400, {{"Content-Type", "text/html"}},
                           "<html><body>This is no request.</body></html>\n");
        return;
    }
    {
        const std::lock_guard guard(lock_);
        ++requests_;
        ++requestsPerTarget_[request->target];
    }
    try {
        handler_(*request, connection);
    } catch (const std::exception &error) {
        qWarning("The handler of %s failed: %s", request->target.constData(), error.what());
        connection.reset();
    }
}

} // namespace brindle
