#include "http/HttpServer.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QHostAddress>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpServer>
#include <QThread>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

namespace brindle {

namespace {

constexpr qint64 maxHeadBytes = 65'536;
constexpr qint64 fileChunkBytes = 262'144;

/// Hands each accepted socket over as a descriptor, before Qt makes an object of the listener's
/// thread for it.
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

/// One accepted socket, plain or TLS. Everything but `stop` belongs to the connection's own thread.
class SocketConnection final : public HttpConnection
{
public:
    explicit SocketConnection(qintptr descriptor)
        : descriptor_(descriptor)
        , control_(::fcntl(static_cast<int>(descriptor), F_DUPFD_CLOEXEC, 0))
    {}
    ~SocketConnection() override
    {
        closeControl();
        if (descriptor_ >= 0) {
            ::close(static_cast<int>(descriptor_));
        }
    }

    /// Makes the socket usable and shakes hands if `tls` is given. False when that fails.
    bool open(const std::optional<QSslConfiguration> &tls)
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

    /// Returns the request's head; nothing if the client leaves or sends something else.
    std::optional<HttpRequest> readRequest()
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

    /// Sends the rest and ends the connection in order, unless it was reset.
    void close()
    {
        closeControl();
        if (isConnected()) {
            socket_->disconnectFromHost();
            if (socket_->state() != QAbstractSocket::UnconnectedState) {
                socket_->waitForDisconnected(1000);
            }
        }
        // Belongs to this thread.
        socket_.reset();
    }

    /// Whether another request may come.
    bool takeKept() { return std::exchange(isKept_, false) && isConnected(); }

    /// Makes every blocking call on the connection's thread return at once. Any thread.
    void stop()
    {
        isStopping_ = true;
        const std::lock_guard guard(lock_);
        if (control_ >= 0) {
            ::shutdown(control_, SHUT_RDWR);
        }
    }

    void keepOpen() override { isKept_ = true; }

    bool respond(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                 const QByteArray &body) override
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

    bool redirect(int status, const QUrl &location) override
    {
        return respond(status, {{"Location", location.toEncoded()}}, {});
    }

    bool write(const QByteArray &bytes) override
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

    bool respondWithFile(const QString &path, bool withLength) override
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
            return respond(404, {}, "No such file\n");
        }
        const auto framing =
            withLength ? qMakePair(QByteArray("Content-Length"), QByteArray::number(file.size()))
                       : qMakePair(QByteArray("Transfer-Encoding"), QByteArray("chunked"));
        bool isOpen = respond(200, {framing}, {});
        while (isOpen && !file.atEnd()) {
            const QByteArray chunk = file.read(fileChunkBytes);
            isOpen =
                write(withLength ? chunk
                                 : QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n");
        }
        return isOpen && (withLength || write("0\r\n\r\n"));
    }

    bool tunnel(quint16 port) override
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
        // The bytes that came before anyone listened.
        forth();
        back();
        if (isConnected() && other.state() == QAbstractSocket::ConnectedState) {
            loop.exec();
        }
        back();
        return isConnected();
    }

    void waitUntilClosed() override
    {
        while (isConnected() && socket_->waitForReadyRead(-1)) {
            socket_->readAll();
        }
    }

    bool pause(std::chrono::milliseconds time) override
    {
        const QDeadlineTimer deadline(time);
        while (isConnected() && !deadline.hasExpired()) {
            if (socket_->waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
                socket_->readAll();
            }
        }
        return isConnected();
    }

    void reset() override
    {
        if (isConnected()) {
            const linger now{1, 0};
            ::setsockopt(static_cast<int>(socket_->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now,
                         sizeof now);
            closeControl();
            socket_->abort();
        }
    }

private:
    bool isConnected() const
    {
        return !isStopping_ && socket_ && socket_->state() == QAbstractSocket::ConnectedState;
    }

    void closeControl()
    {
        const std::lock_guard guard(lock_);
        if (control_ >= 0) {
            ::close(std::exchange(control_, -1));
        }
    }

    qintptr descriptor_;
    std::unique_ptr<QSslSocket> socket_;
    std::atomic<bool> isStopping_ = false;
    bool isKept_ = false;
    std::mutex lock_; // guards control_
    // A second descriptor of the same socket, for `stop`: Qt closes its own whenever the client
    // leaves, and that number may by then belong to another file.
    int control_;
};

} // namespace

class HttpServer::Impl
{
public:
    Impl(Handler handler, quint16 port, const QSslConfiguration *tls) : handler_(std::move(handler))
    {
        if (tls) {
            tls_ = *tls;
        }
        listener_ = new Listener([this](qintptr descriptor) { serve(descriptor); });
        listener_->moveToThread(&listening_);
        QObject::connect(&listening_, &QThread::finished, listener_, &QObject::deleteLater);
        listening_.start();
        QString error;
        // The socket must be made on the thread that watches it.
        QMetaObject::invokeMethod(
            listener_,
            [&] {
                listener_->setListenBacklogSize(256);
                if (!listener_->listen(QHostAddress::LocalHost, port)) {
                    error = listener_->errorString();
                }
                port_ = listener_->serverPort();
            },
            Qt::BlockingQueuedConnection);
        if (!error.isEmpty()) {
            stop();
            throw std::runtime_error(error.toStdString());
        }
    }

    ~Impl() { stop(); }
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;

    quint16 port() const { return port_; }
    bool secure() const { return tls_.has_value(); }

    int requestCount() const
    {
        const std::lock_guard guard(lock_);
        return requests_;
    }

    int requestCount(const QByteArray &target) const
    {
        const std::lock_guard guard(lock_);
        return requestsPerTarget_.value(target);
    }

    int connectionCount() const { return connections_; }

private:
    struct Client
    {
        std::unique_ptr<SocketConnection> connection;
        std::unique_ptr<QThread> thread;
    };

    void stop()
    {
        listening_.quit();
        listening_.wait();
        // All are stopped before the first is waited for.
        for (Client &client : clients_) {
            client.connection->stop();
        }
        for (Client &client : clients_) {
            client.thread->wait();
        }
        clients_.clear();
    }

    // On the listener's thread, as is everything that touches clients_ until `stop`.
    void serve(qintptr descriptor)
    {
        clients_.remove_if([](const Client &client) { return client.thread->isFinished(); });
        Client &client = clients_.emplace_back();
        client.connection = std::make_unique<SocketConnection>(descriptor);
        client.thread.reset(
            QThread::create([this, connection = client.connection.get()] { answer(*connection); }));
        client.thread->start();
    }

    // On the connection's thread.
    void answer(SocketConnection &connection)
    {
        if (connection.open(tls_)) {
            ++connections_;
            while (answerNext(connection)) {
            }
        }
        connection.close();
    }

    /// Whether another request may come.
    bool answerNext(SocketConnection &connection)
    {
        const auto request = connection.readRequest();
        if (!request) {
            connection.respond(400, {{"Content-Type", "text/html"}},
                               "<html><body>This is no request.</body></html>\n");
            return false;
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
        return connection.takeKept();
    }

    const Handler handler_;
    std::optional<QSslConfiguration> tls_;
    QThread listening_;
    Listener *listener_ = nullptr; // lives on listening_, deleted with it
    std::atomic<quint16> port_ = 0;
    std::atomic<int> connections_ = 0;
    std::list<Client> clients_;

    mutable std::mutex lock_; // guards the counts
    int requests_ = 0;
    QHash<QByteArray, int> requestsPerTarget_;
};

HttpServer::HttpServer(Handler handler, quint16 port, const QSslConfiguration *tls)
    : impl_(std::make_unique<Impl>(std::move(handler), port, tls))
{}

HttpServer::~HttpServer() = default;

quint16 HttpServer::port() const
{
    return impl_->port();
}

QUrl HttpServer::url(const QString &path, const QString &host) const
{
    const auto scheme = impl_->secure() ? QStringLiteral("https") : QStringLiteral("http");
    return QUrl(QStringLiteral("%1://%2:%3%4").arg(scheme, host, QString::number(port()), path));
}

int HttpServer::requestCount() const
{
    return impl_->requestCount();
}

int HttpServer::requestCount(const QByteArray &target) const
{
    return impl_->requestCount(target);
}

int HttpServer::connectionCount() const
{
    return impl_->connectionCount();
}

} // namespace brindle
