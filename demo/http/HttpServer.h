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

/// The answering side of one connection. Call from the connection's thread only. Every call blocks,
/// and returns false once the client has left or the server stops.
class HttpConnection
{
public:
    virtual ~HttpConnection() = default;

    /// Serves another request on this connection. Call before the answer, which must then say where
    /// its body ends.
    virtual void keepOpen() = 0;
    /// Sends a whole answer. Adds Content-Length, unless `headers` holds it or Transfer-Encoding.
    /// An empty value leaves it out.
    virtual bool respond(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                         const QByteArray &body) = 0;
    /// Sends a redirect with an empty body.
    virtual bool redirect(int status, const QUrl &location) = 0;
    /// Sends raw bytes, for answers in pieces and for wrong ones.
    virtual bool write(const QByteArray &bytes) = 0;
    /// Sends a file with its length, or in chunks without it, as a host that makes the body as it
    /// goes. Answers 404 if the file can't be read. Memory use stays flat.
    virtual bool respondWithFile(const QString &path, bool withLength) = 0;
    /// Carries bytes between the client and a port of this machine until either side ends, as a
    /// proxy does after CONNECT.
    virtual bool tunnel(quint16 port) = 0;
    /// Waits until the client leaves or the server stops.
    virtual void waitUntilClosed() = 0;
    /// Waits that long.
    virtual bool pause(std::chrono::milliseconds time) = 0;
    /// Closes with a reset instead of an orderly end.
    virtual void reset() = 0;
};

/// A small HTTP/1.1 server on loopback, for the demo and the tests. Each connection has a thread,
/// serves one request and is closed, unless a handler keeps it open. Anything but HTTP is answered
/// with a page of status 400.
class HttpServer
{
public:
    /// Called on the connection's thread. Calls of different connections overlap.
    using Handler = std::function<void(const HttpRequest &, HttpConnection &)>;

    /// Listens at once on 127.0.0.1, on a free port (or the given one). Throws std::runtime_error.
    explicit HttpServer(Handler handler, quint16 port = 0, const QSslConfiguration *tls = nullptr);
    /// Ends every connection and waits for the handlers.
    ~HttpServer();

    quint16 port() const;
    /// Returns "http://127.0.0.1:<port>" (https with TLS), or the same with another host name.
    QUrl url(const QString &path = {}, const QString &host = QStringLiteral("127.0.0.1")) const;
    /// Returns the number of requests received, of all or of one target. Any thread.
    int requestCount() const;
    int requestCount(const QByteArray &target) const;
    /// Returns the number of connections made, handshakes included. Any thread.
    int connectionCount() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace brindle
