#pragma once

#include <QByteArray>
#include <QHash>
#include <QSslConfiguration>
#include <QThread>
#include <QUrl>

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

class QSslSocket;
class QTcpServer;

namespace brindle {

/// One parsed request. Header names are lower-case.
struct HttpRequest
{
    QByteArray method;
    QByteArray target; ///< as sent: path and query
    QHash<QByteArray, QByteArray> headers;
};

/// The server's side of one connection, plain or TLS. Call from the connection's thread only. Every
/// call blocks, and returns false once the client has left or the server stops.
class HttpConnection
{
public:
    explicit HttpConnection(qintptr descriptor);
    ~HttpConnection();
    HttpConnection(const HttpConnection &) = delete;
    HttpConnection &operator=(const HttpConnection &) = delete;

    /// Keeps the connection for another request. Call before the answer, which must then have a
    /// length or chunks.
    void keepOpen() { isKept_ = true; }
    /// Sends a whole answer. Adds Content-Length, unless `headers` has it or Transfer-Encoding.
    /// With an empty Content-Length in `headers`, sends none.
    bool respond(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                 const QByteArray &body);
    /// Sends a redirect with an empty body.
    bool redirect(int status, const QUrl &location);
    /// Sends raw bytes, for answers in pieces and for malformed answers.
    bool write(const QByteArray &bytes);
    /// Passes bytes between the client and a port of this machine until either side ends, like a
    /// proxy after CONNECT.
    bool tunnel(quint16 port);
    /// Waits until the client leaves or the server stops.
    void waitUntilClosed();
    /// Waits for a time. Drops bytes that arrive.
    bool pause(std::chrono::milliseconds time);
    /// Resets the connection instead of closing it in order.
    void reset();

private:
    friend class HttpServer;

    bool open(const std::optional<QSslConfiguration> &tls);
    std::optional<HttpRequest> readRequest();
    void close();
    void stop();
    bool isConnected() const;
    void closeControl();

    const qintptr descriptor_;
    std::unique_ptr<QSslSocket> socket_;
    std::atomic<bool> isStopping_ = false;
    bool isKept_ = false;
    std::mutex lock_; // guards control_
    // A second descriptor of the same socket, for `stop`. When the client leaves, Qt closes its own
    // descriptor, and another file may get that number.
    int control_;
};

/// A small HTTP/1.1 server on loopback, for the demo and the tests. Each connection has its own
/// thread, and is closed after one request unless a handler keeps it open. Answers anything but
/// HTTP with a page of status 400.
class HttpServer
{
public:
    /// Called on the connection's thread. Calls of different connections overlap.
    using Handler = std::function<void(const HttpRequest &, HttpConnection &)>;

    /// Listens at once on 127.0.0.1, on the given port or, for 0, a free one. Throws
    /// std::runtime_error.
    explicit HttpServer(Handler handler, quint16 port = 0, const QSslConfiguration *tls = nullptr);
    /// Ends every connection and waits for the handlers.
    ~HttpServer();

    quint16 port() const { return port_; }
    /// Returns "http://127.0.0.1:<port>" (https with TLS), or the same with another host name.
    QUrl url(const QString &path = {}, const QString &host = QStringLiteral("127.0.0.1")) const;
    /// Returns the number of requests received, in all or for one target. Any thread.
    int requestCount() const;
    int requestCount(const QByteArray &target) const;
    /// Returns the number of connections made, after TLS handshakes if any. Any thread.
    int connectionCount() const { return connections_; }

private:
    struct Client
    {
        std::unique_ptr<HttpConnection> connection;
        std::unique_ptr<QThread> thread;
    };

    void stop();
    void serve(qintptr descriptor);
    void answer(HttpConnection &connection);
    void answerNext(HttpConnection &connection);

    const Handler handler_;
    std::optional<QSslConfiguration> tls_;
    QThread listening_;
    QTcpServer *listener_ = nullptr; // lives on listening_, and ends with it
    std::atomic<quint16> port_ = 0;
    std::atomic<int> connections_ = 0;
    std::list<Client> clients_; // only used by listening_ until that ends

    mutable std::mutex lock_; // guards the counts
    int requests_ = 0;
    QHash<QByteArray, int> requestsPerTarget_;
};

} // namespace brindle
