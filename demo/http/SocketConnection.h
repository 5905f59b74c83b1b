#pragma once

#include "http/HttpServer.h"

#include <QSslConfiguration>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

class QSslSocket;

namespace brindle {

/// One accepted socket, plain or TLS. Everything but `stop` is for the connection's own thread,
/// which must be a QThread and needs no event loop.
class SocketConnection final : public HttpConnection
{
public:
    /// Takes over the accepted socket; any thread.
    explicit SocketConnection(qintptr descriptor);
    ~SocketConnection() override;

    /// Makes the socket usable and shakes hands when `tls` is given. False when that fails.
    bool open(const std::optional<QSslConfiguration> &tls);
    /// The request's head; none when the client leaves, or as soon as it sends something else.
    std::optional<HttpRequest> readRequest();
    /// Sends what is left and ends the connection in order, unless it was reset.
    void close();
    /// Whether it was to be kept open, and still is.
    bool takeKept();
    /// Makes every blocking call on the connection's thread return at once. Any thread.
    void stop();

    void keepOpen() override { isKept_ = true; }
    bool respond(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                 const QByteArray &body) override;
    bool redirect(int status, const QUrl &location) override;
    bool write(const QByteArray &bytes) override;
    bool respondWithFile(const QString &path, bool withLength) override;
    bool tunnel(quint16 port) override;
    void waitUntilClosed() override;
    bool pause(std::chrono::milliseconds time) override;
    void reset() override;

private:
    bool connected() const;
    QByteArray head(int status, const QList<QPair<QByteArray, QByteArray>> &headers) const;
    void closeControl();

    qintptr descriptor_;
    std::unique_ptr<QSslSocket> socket_;
    std::atomic<bool> stopping_ = false;
    bool isKept_ = false;

    std::mutex lock_; // guards control_
    // A second descriptor of the same socket: Qt closes its own whenever the client leaves, and
    // the number may by then belong to somebody else.
    int control_ = -1;
};

} // namespace brindle
