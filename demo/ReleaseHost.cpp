#include "demo/ReleaseHost.h"

#include <QCryptographicHash>
#include <QFile>

namespace brindle {

namespace {

constexpr int found = 302;
constexpr int notFound = 404;

QByteArray checksumLine(const QString &file, const QString &name)
{
    QFile content(file);
    QCryptographicHash hash(QCryptographicHash::Sha512);
    if (!content.open(QIODevice::ReadOnly) || !hash.addData(&content)) {
        throw std::runtime_error("can't read " + file.toStdString());
    }
    return hash.result().toHex() + "  " + name.toUtf8() + '\n';
}

} // namespace

ReleaseHost::ReleaseHost()
    : archiveServer_(std::make_unique<HttpServer>(
              [this](const HttpRequest &request, HttpConnection &connection) {
                  answerBody(request, connection, false);
              }))
    , releaseServer_(std::make_unique<HttpServer>(
              [this](const HttpRequest &request, HttpConnection &connection) {
                  answerBody(request, connection, true);
              }))
    , firstServer_(std::make_unique<HttpServer>(
              [this](const HttpRequest &request, HttpConnection &connection) {
                  answerFirst(request, connection);
              }))
{
}

ReleaseHost::~ReleaseHost() = default;

QUrl ReleaseHost::url() const
{
    return firstServer_->url();
}

void ReleaseHost::offerGame(const QString &zip)
{
    const std::lock_guard guard(lock_);
    archives_[gamePath()] = zip;
}

void ReleaseHost::offerAddon(const QString &repository, const QString &zip)
{
    const std::lock_guard guard(lock_);
    archives_[addonPath(repository)] = zip;
}

void ReleaseHost::offerEngine(const QString &tag, const QString &name, const QString &zip)
{
    const QByteArray line = checksumLine(zip, name);
    const std::lock_guard guard(lock_);
    releases_[enginePath(tag, name)] = zip;
    checksums_[checksumPath(tag)] += line;
}

QString ReleaseHost::gamePath()
{
    return QStringLiteral("/tessel-works/godot-brindle/archive/refs/heads/main.zip");
}

QString ReleaseHost::addonPath(const QString &repository)
{
    return QStringLiteral("/%1/archive/HEAD.zip").arg(repository);
}

QString ReleaseHost::enginePath(const QString &tag, const QString &name)
{
    return QStringLiteral("/godotengine/godot-builds/releases/download/%1/%2").arg(tag, name);
}

QString ReleaseHost::checksumPath(const QString &tag)
{
    return enginePath(tag, QStringLiteral("SHA512-SUMS.txt"));
}

void ReleaseHost::replace(const QString &path, HttpServer::Handler handler)
{
    const std::lock_guard guard(lock_);
    replaced_[path] = std::move(handler);
}

void ReleaseHost::restore(const QString &path)
{
    const std::lock_guard guard(lock_);
    replaced_.remove(path);
}

void ReleaseHost::setSpeed(qint64 bytesPerSecond)
{
    const std::lock_guard guard(lock_);
    speed_ = bytesPerSecond;
}

QStringList ReleaseHost::requests() const
{
    const std::lock_guard guard(lock_);
    return requests_;
}

void ReleaseHost::answerFirst(const HttpRequest &request, HttpConnection &connection)
{
    const QString path = QString::fromUtf8(request.target);
    HttpServer::Handler handler;
    bool isArchive = false;
    bool isRelease = false;
    {
        const std::lock_guard guard(lock_);
        requests_ << path;
        handler = replaced_.value(path);
        isArchive = archives_.contains(path);
        isRelease = releases_.contains(path) || checksums_.contains(path);
    }
    if (handler) {
        handler(request, connection);
    } else if (isArchive) {
        connection.redirect(found, archiveServer_->url(path));
    } else if (isRelease) {
        connection.redirect(found, releaseServer_->url(path));
    } else {
        connection.respond(notFound, {}, QByteArrayLiteral("Not Found"));
    }
}

void ReleaseHost::answerBody(const HttpRequest &request, HttpConnection &connection,
                             bool withLength)
{
    const QString path = QString::fromUtf8(request.target);
    QByteArray list;
    QString file;
    qint64 speed = 0;
    {
        const std::lock_guard guard(lock_);
        list = checksums_.value(path);
        file = archives_.value(path, releases_.value(path));
        speed = speed_;
    }
    if (!list.isEmpty()) {
        connection.respond(200, {}, list);
    } else if (speed > 0) {
        sendSlowly(connection, file, withLength, speed);
    } else {
        connection.respondWithFile(file, withLength);
    }
}

void ReleaseHost::sendSlowly(HttpConnection &connection, const QString &file, bool withLength,
                             qint64 speed) const
{
    QFile content(file);
    if (!content.open(QIODevice::ReadOnly)) {
        connection.respond(notFound, {}, {});
        return;
    }
    QByteArray head = "HTTP/1.1 200 OK\r\nConnection: close\r\n";
    if (withLength) {
        head += "Content-Length: " + QByteArray::number(content.size()) + "\r\n";
    }
    connection.write(head + "\r\n");
    constexpr int stepsPerSecond = 20;
    constexpr std::chrono::milliseconds step(1000 / stepsPerSecond);
    while (!content.atEnd()) {
        if (!connection.write(content.read(std::max<qint64>(1, speed / stepsPerSecond)))
            || !connection.pause(step)) {
            return;
        }
    }
}

} // namespace brindle
