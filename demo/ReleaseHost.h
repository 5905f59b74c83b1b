#pragma once

#include "http/HttpServer.h"

#include <QList>
#include <QMap>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>

namespace brindle {

/// A release host on loopback that answers exactly the addresses that the launcher asks the real
/// one for. Repository archives: a redirect to a second server, which sends a body without a
/// length. Releases and their checksum lists: a redirect to a third, which sends one with it.
/// Every operation: any thread.
class ReleaseHost
{
public:
    ReleaseHost();
    ~ReleaseHost();

    /// The host's base address, without a trailing slash.
    QUrl url() const;

    /// Offers the file as the archive of the game's main branch.
    void offerGame(const QString &zip);
    /// Offers the file as the archive of an add-on; `repository` is "owner/name".
    void offerAddon(const QString &repository, const QString &zip);
    /// Offers the file as an archive of the release `tag` and lists it with its SHA-512.
    void offerEngine(const QString &tag, const QString &name, const QString &zip);

    /// The paths that the offers are asked for.
    static QString gamePath();
    static QString addonPath(const QString &repository);
    static QString enginePath(const QString &tag, const QString &name);
    static QString checksumPath(const QString &tag);

    /// Answers a path in another way than by what is offered, until `restore`.
    void replace(const QString &path, HttpServer::Handler handler);
    void restore(const QString &path);
    /// Slows bodies down to about that many bytes per second; 0: as fast as they go.
    void setSpeed(qint64 bytesPerSecond);

    /// The paths asked for at the first server, in order.
    QStringList requests() const;

private:
    void answerFirst(const HttpRequest &request, HttpConnection &connection);
    void answerBody(const HttpRequest &request, HttpConnection &connection, bool withLength);
    void sendSlowly(HttpConnection &connection, const QString &file, bool withLength,
                    qint64 speed) const;

    mutable std::mutex lock_; // guards the fields down to the servers
    QMap<QString, QString> archives_; // path to file, answered without a length
    QMap<QString, QString> releases_; // path to file, answered with one
    QMap<QString, QByteArray> checksums_; // path to list
    QMap<QString, HttpServer::Handler> replaced_;
    QStringList requests_;
    qint64 speed_ = 0;

    // Last, so that no handler runs while the fields above go.
    std::unique_ptr<HttpServer> archiveServer_;
    std::unique_ptr<HttpServer> releaseServer_;
    std::unique_ptr<HttpServer> firstServer_;
};

} // namespace brindle
