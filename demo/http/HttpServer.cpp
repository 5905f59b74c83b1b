#include "http/HttpServer.h"

#include "http/SocketConnection.h"

#include <QHostAddress>
#include <QSslConfiguration>
#include <QTcpServer>
#include <QThread>

#include <atomic>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

namespace brindle {

namespace {

/// Hands each accepted socket over as a bare descriptor, before Qt makes an object of it that
/// would belong to the listener's thread.
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
        // Nobody adds clients any more. All are told before the first is waited for.
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
