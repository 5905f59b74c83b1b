#pragma once

#include "demo/ReleaseContent.h"
#include "demo/ReleaseGate.h"
#include "http/HttpServer.h"

#include <QList>
#include <QMap>
#include <QSslConfiguration>
#include <QString>
#include <QStringList>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace brindle {

/// A release host on loopback that answers exactly the addresses that the launcher asks the real
/// one for. Repository archives: a redirect to a second server, which sends a body without a
/// length. Releases and their checksum lists: a redirect to a third, which sends one with it.
/// Everything else is 404. Every operation: any thread.
class ReleaseHost
{
public:
    using Handler = HttpServer::Handler;

    struct Options
    {
        /// Serves https with this certificate and key.
        std::optional<QSslConfiguration> tls;
        /// 0: each server has a free port of its own. Otherwise all three share this one and are
        /// told apart by the name that the client asks for, so the names must differ.
        quint16 port = 0;
        QString codeHost = QStringLiteral("127.0.0.1");
        QString archiveHost = QStringLiteral("127.0.0.1");
        QString releaseHost = QStringLiteral("127.0.0.1");
    };

    /// Listens at once. Throws std::runtime_error when a port is taken.
    ReleaseHost();
    explicit ReleaseHost(Options options);
    ~ReleaseHost();

    /// The code host's base address, without a trailing slash.
    QUrl url() const;

    /// Offers an archive of the game's main branch, in place of an earlier one.
    void offerGame(const ReleaseContent &zip);
    /// Offers an archive of an add-on's default branch; `repository` is "owner/name".
    void offerAddon(const QString &repository, const ReleaseContent &zip);
    /// Offers an archive of the release `tag` and lists it with its SHA-512 in the release's
    /// checksum list. Throws std::runtime_error when the file can't be read.
    void offerEngine(const QString &tag, const QString &name, const ReleaseContent &zip);

    /// The paths that the offers are asked for.
    static QString gamePath();
    static QString addonPath(const QString &repository);
    static QString enginePath(const QString &tag, const QString &name);
    static QString checksumPath(const QString &tag);
    /// Where the code host redirects such a path to: the path on the second or third server.
    static QString bodyPath(const QString &path);

    /// Answers a path (also a `bodyPath`) in another way than by what is offered.
    void replace(const QString &path, Handler handler);
    /// Answers it with an error and a short text.
    void fail(const QString &path, int status);
    /// Takes the request and never answers.
    void silence(const QString &path);
    /// Sends the offered body with one byte in its middle changed.
    void tamper(const QString &path);
    /// Holds the offered body back at the gate.
    std::shared_ptr<ReleaseGate> hold(const QString &path, qint64 afterBytes = 0);
    /// Undoes the five above.
    void restore(const QString &path);

    /// Slows each body down to about that many bytes per second, also those under way; 0: as fast
    /// as they go. Checksum lists are never slow.
    void setSpeed(qint64 bytesPerSecond);

    /// The paths asked for at the code host, in order.
    QStringList requests() const;
    /// Those asked for at any of the servers.
    QStringList allRequests() const;
    void forgetRequests();
    /// How many connections were made to all servers.
    int connectionCount() const;

private:
    enum class Role { code, archives, releases };

    /// Other than usual answers to one path.
    struct Exception
    {
        Handler handler;
        bool tampered = false;
        std::shared_ptr<ReleaseGate> gate;
    };

    std::shared_ptr<HttpServer> makeServer(std::function<Role(const HttpRequest &)> role);
    void answer(Role role, const HttpRequest &request, HttpConnection &connection);
    void answerBody(Role role, const QString &path, HttpConnection &connection);
    bool sendInSteps(HttpConnection &connection, QIODevice &content, bool withLength, bool paced,
                     const Exception &exception) const;
    Role roleByName(const HttpRequest &request) const;
    QUrl address(Role role, const QString &path) const;

    const Options options_;
    std::atomic<qint64> speed_ = 0;

    mutable std::mutex lock_;                // guards the fields down to the servers
    QMap<QString, ReleaseContent> archives_; // by the path asked for, answered without a length
    QMap<QString, ReleaseContent> releases_; // answered with one
    QMap<QString, QMap<QString, QByteArray>> digests_; // by tag and archive name
    QMap<QString, QString> asked_;                     // body path to the path asked for
    QMap<QString, Exception> exceptions_;
    QList<std::pair<Role, QString>> requests_;

    std::array<QUrl, 3> bases_; // by role

    // Last, so that no handler runs while the fields above go. With a shared port there is one.
    QList<std::shared_ptr<HttpServer>> servers_;
};

} // namespace brindle
