#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>

class QSslConfiguration;

namespace brindle {

/// One parsed request. Header names are lower-case.
struct HttpRequest
{
    QByteArray method;
    QByteArray target; ///< as sent: path and query
    QHash<QByteArray, QByteArray> headers;
};

/// The answering side of one connection, used on that connection's own thread. Every call blocks
/// and returns false once the client is gone or the server is stopping.
class HttpConnection
{
public:
    virtual ~HttpConnection() = default;

    /// Serves one more request on this connection after this one, whose answer must then tell where
    /// its body ends. To be called before the answer.
    virtual void keepOpen() = 0;
    /// A whole answer. Content-Length is added unless `headers` has one of its own or a
    /// Transfer-Encoding; an own Content-Length with an empty value means none at all.
    virtual bool respond(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                         const QByteArray &body) = 0;
    /// A redirect with an empty body.
    virtual bool redirect(int status, const QUrl &location) = 0;
    /// Raw bytes, for answers in pieces and for wrong ones.
    virtual bool write(const QByteArray &bytes) = 0;
    /// Sends a whole file's bytes after a 200, with its length or, like a host that makes the body
    /// as it goes, in chunks without it. 404 when the file can't be read. Memory stays flat.
    virtual bool respondWithFile(const QString &path, bool withLength) = 0;
    /// Carries bytes both ways between the client and that port of this machine until either side
    /// ends: what a proxy does after its answer to a CONNECT.
    virtual bool tunnel(quint16 port) = 0;
    /// Waits until the client goes away or the server stops: a silent server.
    virtual void waitUntilClosed() = 0;
    /// Waits that long, for a slow server. False as soon as the client is gone or the server stops.
    virtual bool pause(std::chrono::milliseconds time) = 0;
    /// Closes with a reset instead of an orderly end.
    virtual void reset() = 0;
};

/// A small HTTP/1.1 server on loopback, for the demo and the tests. One thread per connection; each
/// serves one request and is then closed, unless a handler keeps it open. What is no HTTP gets an
/// answer all the same, a page with status 400, as from other servers.
class HttpServer
{
public:
    /// Called on the connection's thread; calls for different connections overlap.
    using Handler = std::function<void(const HttpRequest &, HttpConnection &)>;

    /// Listens at once on 127.0.0.1, on a free port (or the given one). Throws std::runtime_error.
    explicit HttpServer(Handler handler, quint16 port = 0, const QSslConfiguration *tls = nullptr);
    /// Ends every connection and waits for the handlers.
    ~HttpServer();

    quint16 port() const;
    /// "http://127.0.0.1:<port>" (https with TLS), or with another name for the same host.
    QUrl url(const QString &path = {}, const QString &host = QStringLiteral("127.0.0.1")) const;
    /// How many requests have been received, also per target. Any thread.
    int requestCount() const;
    int requestCount(const QByteArray &target) const;
    /// How many connections have been made, each with its handshake where there is TLS. Any thread.
    int connectionCount() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace brindle
