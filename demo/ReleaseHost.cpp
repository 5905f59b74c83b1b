#include "demo/ReleaseHost.h"

#include <QCryptographicHash>
#include <QElapsedTimer>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

const auto releasesPrefix = u"/godotengine/godot-builds/releases/download/"_s;
const auto checksumName = u"SHA512-SUMS.txt"_s;

/// Waits until the gate opens. Returns false when the client has left or the server stops.
bool pass(ReleaseGate &gate, HttpConnection &connection)
{
    gate.reached = true;
    bool isOpen = true;
    while (!gate.opened && isOpen) {
        isOpen = connection.pause(std::chrono::milliseconds(10));
    }
    return isOpen;
}

} // namespace

ReleaseHost::ReleaseHost(Options options) : options_(std::move(options))
{
    const QSslConfiguration *const tls = options_.tls ? &*options_.tls : nullptr;
    const QString names[] = {options_.codeHost, options_.archiveHost, options_.releaseHost};
    for (const Role role : {code, archives, releases}) {
        if (role == code || options_.port == 0) {
            const auto handler = [this, role](const HttpRequest &request,
                                              HttpConnection &connection) {
                const QString name =
                    QString::fromLatin1(request.headers.value("host").split(':').first());
                const bool isShared = options_.port != 0;
                answer(isShared && name == options_.archiveHost   ? archives
                       : isShared && name == options_.releaseHost ? releases
                                                                  : role,
                       request, connection);
            };
            servers_.push_back(std::make_unique<HttpServer>(handler, options_.port, tls));
        }
        bases_[role] = servers_.back()->url({}, names[role]);
        if (options_.port == (tls ? 443 : 80)) {
            bases_[role].setPort(-1);
        }
    }
}

ReleaseHost::Role ReleaseHost::roleOf(const QString &path)
{
    return path.startsWith(releasesPrefix) ? releases : archives;
}

void ReleaseHost::offer(const QString &path, const QByteArray &content)
{
    const std::lock_guard guard(lock_);
    offers_[bodyPath(path)] = content;
}

void ReleaseHost::offerGame(const QByteArray &zip)
{
    offer(gamePath(), zip);
}

void ReleaseHost::offerAddon(const QString &repository, const QByteArray &zip)
{
    offer(addonPath(repository), zip);
}

void ReleaseHost::offerEngine(const QString &tag, const QString &name, const QByteArray &zip)
{
    QByteArray list;
    {
        const std::lock_guard guard(lock_);
        auto &digests = digests_[tag];
        digests[name] = QCryptographicHash::hash(zip, QCryptographicHash::Sha512).toHex();
        for (auto entry = digests.cbegin(); entry != digests.cend(); ++entry) {
            list += entry.value() + "  " + entry.key().toUtf8() + '\n';
        }
    }
    offer(enginePath(tag, name), zip);
    offer(checksumPath(tag), list);
}

QString ReleaseHost::gamePath()
{
    return u"/tessel-works/godot-brindle/archive/refs/heads/main.zip"_s;
}

QString ReleaseHost::addonPath(const QString &repository)
{
    return u"/%1/archive/HEAD.zip"_s.arg(repository);
}

QString ReleaseHost::enginePath(const QString &tag, const QString &name)
{
    return releasesPrefix + tag + u'/' + name;
}

QString ReleaseHost::checksumPath(const QString &tag)
{
    return enginePath(tag, checksumName);
}

QString ReleaseHost::bodyPath(const QString &path)
{
    // Like the real hosts: "/<owner>/<name>/zip/<ref>", or an asset's path with a query.
    if (roleOf(path) == releases) {
        const QString asset = path.mid(releasesPrefix.size());
        return u"/github-production-release-asset/%1?filename=%2"_s.arg(asset,
                                                                        asset.section(u'/', -1));
    }
    QString body = path;
    body.replace(u"/archive/"_s, u"/zip/"_s);
    if (body.endsWith(u".zip")) {
        body.chop(4);
    }
    return body;
}

void ReleaseHost::replace(const QString &path, Handler handler)
{
    const std::lock_guard guard(lock_);
    handlers_[path] = std::move(handler);
}

std::shared_ptr<ReleaseGate> ReleaseHost::hold(const QString &path, qint64 afterBytes)
{
    const std::lock_guard guard(lock_);
    auto &gate = gates_[bodyPath(path)] = std::make_shared<ReleaseGate>();
    gate->afterBytes = afterBytes;
    return gate;
}

void ReleaseHost::restore(const QString &path)
{
    const std::lock_guard guard(lock_);
    handlers_.remove(path);
    gates_.remove(bodyPath(path));
}

QStringList ReleaseHost::requests() const
{
    const std::lock_guard guard(lock_);
    QStringList paths;
    for (const auto &[role, path] : requests_) {
        if (role == code) {
            paths.append(path);
        }
    }
    return paths;
}

QStringList ReleaseHost::allRequests() const
{
    const std::lock_guard guard(lock_);
    QStringList paths;
    for (const auto &request : requests_) {
        paths.append(request.second);
    }
    return paths;
}

void ReleaseHost::forgetRequests()
{
    const std::lock_guard guard(lock_);
    requests_.clear();
}

int ReleaseHost::connectionCount() const
{
    int count = 0;
    for (const auto &server : servers_) {
        count += server->connectionCount();
    }
    return count;
}

void ReleaseHost::answer(Role role, const HttpRequest &request, HttpConnection &connection)
{
    const QString path = QString::fromUtf8(request.target);
    const QString body = role == code ? bodyPath(path) : path;
    Handler handler;
    std::optional<QByteArray> content;
    std::shared_ptr<ReleaseGate> gate;
    {
        const std::lock_guard guard(lock_);
        requests_.append({role, path});
        handler = handlers_.value(path);
        const auto found = offers_.find(body);
        if (found != offers_.end() && (role != code || path != body)) {
            content = *found;
        }
        gate = gates_.value(body);
    }
    if (handler) {
        handler(request, connection);
        return;
    }
    if (request.headers.value("connection").toLower() != "close") {
        connection.keepOpen();
    }
    if (request.method != "GET") {
        connection.respond(405, {}, {});
    } else if (!content) {
        connection.respond(404, {}, "Not Found");
    } else if (role == code) {
        connection.redirect(302, QUrl(bases_[roleOf(path)].toString() + body));
    } else if (!sendBody(role, *content, connection,
                         path.endsWith(checksumName) ? 0 : speed_.load(), gate.get())) {
        connection.reset(); // after an orderly end the body would seem complete
    }
}

bool ReleaseHost::sendBody(Role role, const QByteArray &content, HttpConnection &connection,
                           qint64 speed, ReleaseGate *gate)
{
    const qint64 size = content.size();
    const qint64 gateAt = gate ? std::min(gate->afterBytes, size) : -1;
    if (gateAt == 0 && !pass(*gate, connection)) {
        return false;
    }
    const bool isChunked = role == archives;
    const QByteArray length = isChunked ? QByteArrayLiteral("Transfer-Encoding: chunked")
                                        : "Content-Length: " + QByteArray::number(size);
    bool isOpen = connection.write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n" +
                                   length + "\r\n\r\n");
    QElapsedTimer running;
    running.start();
    for (qint64 sent = 0; isOpen && sent < size;) {
        constexpr qint64 most = 262'144;
        qint64 step = speed > 0 ? std::clamp<qint64>(speed / 20, 1, most) : most;
        if (gateAt > sent) {
            step = std::min(step, gateAt - sent);
        }
        const QByteArray bytes = content.mid(sent, step);
        const QByteArray chunk =
            isChunked ? QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n" : bytes;
        isOpen = connection.write(chunk);
        sent += bytes.size();
        if (isOpen && gate && sent == gateAt) {
            isOpen = pass(*gate, connection);
        }
        const qint64 ahead = speed > 0 ? sent * 1000 / speed - running.elapsed() : 0;
        if (isOpen && ahead > 0) {
            isOpen = connection.pause(std::chrono::milliseconds(ahead));
        }
    }
    return isOpen && (!isChunked || connection.write("0\r\n\r\n"));
}

} // namespace brindle
