#pragma once

#include "http/HttpServer.h"

#include <QMap>
#include <QSslConfiguration>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>

namespace brindle {

/// Holds an answer back until it is opened, so that a test can act at a known point of a transfer.
/// Any thread.
struct ReleaseGate
{
    /// Whether an answer has come this far: the system has everything before the gate.
    bool isReached() const { return reached; }
    /// Lets answers through from now on.
    void open() { opened = true; }

    qint64 afterBytes = 0; ///< of the body; 0 holds back the head as well
    std::atomic<bool> reached = false;
    std::atomic<bool> opened = false;
};

/// A release host on loopback that answers exactly the addresses that the launcher asks the real
/// one for. Repository archives: a redirect to a second server, which sends a body without a
/// length. Releases and their checksum lists: a redirect to a third, which sends one with it.
/// Everything else is 404. Every operation: any thread.
class ReleaseHost
{
public:
    using Handler = HttpServer::Handler;
    /// The path of a file, read anew for every answer, or bytes.
    using Content = std::variant<QString, QByteArray>;

    struct Options
    {
        /// Serves https with this certificate and key.
        std::optional<QSslConfiguration> tls;
        /// 0: each server has a free port of its own. Otherwise one server listens on this port,
        /// and the name that the client asks for tells the three apart.
        quint16 port = 0;
        QString codeHost = QStringLiteral("127.0.0.1");
        QString archiveHost = QStringLiteral("127.0.0.1");
        QString releaseHost = QStringLiteral("127.0.0.1");
    };

    /// Listens at once. Throws std::runtime_error when a port is taken.
    ReleaseHost() : ReleaseHost(Options{}) {}
    explicit ReleaseHost(Options options);

    /// The code host's base address, without a trailing slash.
    QUrl url() const { return bases_[code]; }

    /// Offers an archive of the game's main branch, in place of an earlier one.
    void offerGame(const Content &zip);
    /// Offers an archive of an add-on's default branch; `repository` is "owner/name".
    void offerAddon(const QString &repository, const Content &zip);
    /// Offers an archive of the release `tag` and lists it with its SHA-512 in the release's
    /// checksum list.
    void offerEngine(const QString &tag, const QString &name, const Content &zip);

    /// The paths that the offers are asked for.
    static QString gamePath();
    static QString addonPath(const QString &repository);
    static QString enginePath(const QString &tag, const QString &name);
    static QString checksumPath(const QString &tag);
    /// Where the code host redirects such a path to: the path on the second or third server.
    static QString bodyPath(const QString &path);

    /// Answers a path (also a `bodyPath`) by a handler.
    void replace(const QString &path, Handler handler);
    /// Holds the offered body back at the gate.
    std::shared_ptr<ReleaseGate> hold(const QString &path, qint64 afterBytes = 0);
    /// Undoes the two above.
    void restore(const QString &path);

    /// Limits the speed of each archive; 0 for as fast as they go.
    void setSpeed(qint64 bytesPerSecond) { speed_ = bytesPerSecond; }

    /// The paths asked for at the code host, in order; those asked for at any of the servers.
    QStringList requests() const;
    QStringList allRequests() const;
    void forgetRequests();
    /// How many connections were made to all servers.
    int connectionCount() const;

private:
    enum Role { code, archives, releases };

    struct Offer
    {
        Content content;
        Role role = archives;
    };

    void offer(const QString &path, Offer offer);
    void answer(Role role, const HttpRequest &request, HttpConnection &connection);
    bool sendBody(const Offer &offer, HttpConnection &connection, qint64 speed,
                  const std::shared_ptr<ReleaseGate> &gate) const;

    const Options options_;
    std::atomic<qint64> speed_ = 0;
    QUrl bases_[3]; // by role

    mutable std::mutex lock_;                          // guards the fields down to the servers
    QMap<QString, Offer> offers_;                      // by the path asked for
    QMap<QString, QMap<QString, QByteArray>> digests_; // by tag and archive name
    QMap<QString, QString> asked_;                     // body path to the path asked for
    QMap<QString, Handler> handlers_;
    QMap<QString, std::shared_ptr<ReleaseGate>> gates_;
    QList<std::pair<Role, QString>> requests_;

    // Last, so that no handler runs while the fields above go.
    std::vector<std::unique_ptr<HttpServer>> servers_;
};

} // namespace brindle
