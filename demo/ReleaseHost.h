#pragma once

#include "http/HttpServer.h"

#include <QMap>
#include <QSslConfiguration>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

namespace brindle {

/// Holds an answer back at a known point of a transfer, so that a test can act there. Any thread.
struct ReleaseGate
{
    /// Returns whether the server has sent all bytes before the gate.
    bool isReached() const { return reached; }
    /// Lets answers through from now on.
    void open() { opened = true; }

    qint64 afterBytes = 0; ///< bytes of the body; 0 holds back the headers, too
    std::atomic<bool> reached = false;
    std::atomic<bool> opened = false;
};

/// A release host on loopback that answers like the real one. Redirects requests for repository
/// archives to a second server, which sends bodies without a length. Redirects requests for
/// releases and their checksum lists to a third server, which sends bodies with a length. Answers
/// everything else with 404. Any thread.
class ReleaseHost
{
public:
    using Handler = HttpServer::Handler;

    struct Options
    {
        /// Serves https with this certificate and key.
        std::optional<QSslConfiguration> tls;
        /// With 0, each server gets a free port. Otherwise one server listens on this port, and
        /// plays the host that the client names.
        quint16 port = 0;
        QString codeHost = QStringLiteral("127.0.0.1");
        QString archiveHost = QStringLiteral("127.0.0.1");
        QString releaseHost = QStringLiteral("127.0.0.1");
    };

    /// Listens at once. Throws std::runtime_error when a port is taken.
    ReleaseHost() : ReleaseHost(Options{}) {}
    explicit ReleaseHost(Options options);

    /// Returns the code host's base address, without a trailing slash.
    QUrl url() const { return bases_[code]; }

    /// Offers an archive of the game's main branch. Replaces an earlier offer.
    void offerGame(const QByteArray &zip);
    /// Offers an archive of an add-on's default branch; `repository` is "owner/name".
    void offerAddon(const QString &repository, const QByteArray &zip);
    /// Offers an archive of the release `tag`, and lists its SHA-512 in the release's checksums.
    void offerEngine(const QString &tag, const QString &name, const QByteArray &zip);

    /// These functions return the paths of the offers at the code host.
    static QString gamePath();
    static QString addonPath(const QString &repository);
    static QString enginePath(const QString &tag, const QString &name);
    static QString checksumPath(const QString &tag);
    /// Returns the path on the second or third server to which the code host redirects.
    static QString bodyPath(const QString &path);

    /// Lets `handler` answer a path or a `bodyPath`.
    void replace(const QString &path, Handler handler);
    /// Holds back an offer's body behind `afterBytes` bytes, until the gate opens.
    std::shared_ptr<ReleaseGate> hold(const QString &path, qint64 afterBytes = 0);
    /// Undoes `replace` and `hold`.
    void restore(const QString &path);

    /// Limits the speed of each archive. 0 means no limit.
    void setSpeed(qint64 bytesPerSecond) { speed_ = bytesPerSecond; }

    /// Returns the paths requested from the code host, in order.
    QStringList requests() const;
    QStringList allRequests() const;
    void forgetRequests();
    /// Returns the number of connections made to all servers.
    int connectionCount() const;

private:
    enum Role { code, archives, releases };

    static Role roleOf(const QString &path);
    void offer(const QString &path, const QByteArray &content);
    void answer(Role role, const HttpRequest &request, HttpConnection &connection);
    static bool sendBody(Role role, const QByteArray &content, HttpConnection &connection,
                         qint64 speed, ReleaseGate *gate);

    const Options options_;
    std::atomic<qint64> speed_ = 0;
    QUrl bases_[3]; // by role

    mutable std::mutex lock_;                           // guards the next five fields
    QMap<QString, QByteArray> offers_;                  // by body path
    QMap<QString, std::shared_ptr<ReleaseGate>> gates_; // by body path
    QMap<QString, Handler> handlers_;                   // by path
    QMap<QString, QMap<QString, QByteArray>> digests_;  // by tag and archive name
    QList<std::pair<Role, QString>> requests_;

    // Last, so that no handler runs when the fields above are destroyed.
    std::vector<std::unique_ptr<HttpServer>> servers_;
};

} // namespace brindle
