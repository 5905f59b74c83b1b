#include "demo/ReleaseHost.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <stdexcept>

namespace brindle {

namespace {

const auto releasesPrefix = QStringLiteral("/godotengine/godot-builds/releases/download/");
const auto checksumName = QStringLiteral("SHA512-SUMS.txt");

std::unique_ptr<QIODevice> open(const ReleaseHost::Content &content)
{
    std::unique_ptr<QIODevice> device;
    if (const auto *const bytes = std::get_if<QByteArray>(&content)) {
        auto buffer = std::make_unique<QBuffer>();
        buffer->setData(*bytes);
        device = std::move(buffer);
    } else {
        device = std::make_unique<QFile>(std::get<QString>(content));
    }
    return device->open(QIODevice::ReadOnly) ? std::move(device) : nullptr;
}

/// Waits at the gate. False when the client is gone or the server stops.
bool pass(ReleaseGate &gate, HttpConnection &connection)
{
    gate.reached = true;
    while (!gate.opened) {
        // Not a condition variable: this also notices that the client has gone.
        if (!connection.pause(std::chrono::milliseconds(10))) {
            return false;
        }
    }
    return true;
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

void ReleaseHost::offer(const QString &path, Offer offer)
{
    const std::lock_guard guard(lock_);
    offers_[path] = std::move(offer);
    asked_[bodyPath(path)] = path;
}

void ReleaseHost::offerGame(const Content &zip)
{
    offer(gamePath(), {zip, archives});
}

void ReleaseHost::offerAddon(const QString &repository, const Content &zip)
{
    offer(addonPath(repository), {zip, archives});
}

void ReleaseHost::offerEngine(const QString &tag, const QString &name, const Content &zip)
{
    const auto device = open(zip);
    QCryptographicHash hash(QCryptographicHash::Sha512);
    if (!device || !hash.addData(device.get())) {
        throw std::runtime_error("can't read the archive of " + name.toStdString());
    }
    QByteArray list;
    {
        const std::lock_guard guard(lock_);
        auto &digests = digests_[tag];
        digests[name] = hash.result().toHex();
        for (auto entry = digests.cbegin(); entry != digests.cend(); ++entry) {
            list += entry.value() + "  " + entry.key().toUtf8() + '\n';
        }
    }
    offer(enginePath(tag, name), {zip, releases});
    offer(checksumPath(tag), {list, releases});
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
    return releasesPrefix + tag + QLatin1Char('/') + name;
}

QString ReleaseHost::checksumPath(const QString &tag)
{
    return enginePath(tag, checksumName);
}

QString ReleaseHost::bodyPath(const QString &path)
{
    // The forms of the real hosts' redirects: "/<owner>/<name>/zip/<ref>", and an asset's path with
    // a query.
    if (path.startsWith(releasesPrefix)) {
        const QString asset = path.mid(releasesPrefix.size());
        return QStringLiteral("/github-production-release-asset/%1?filename=%2")
            .arg(asset, asset.section(QLatin1Char('/'), -1));
    }
    QString body = path;
    body.replace(QStringLiteral("/archive/"), QStringLiteral("/zip/"));
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
    auto gate = std::make_shared<ReleaseGate>();
    gate->afterBytes = afterBytes;
    const std::lock_guard guard(lock_);
    gates_[path] = gate;
    return gate;
}

void ReleaseHost::restore(const QString &path)
{
    const std::lock_guard guard(lock_);
    handlers_.remove(path);
    gates_.remove(path);
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
    Handler handler;
    QString asked;
    std::optional<Offer> offer;
    std::shared_ptr<ReleaseGate> gate;
    {
        const std::lock_guard guard(lock_);
        requests_.append({role, path});
        handler = handlers_.value(path);
        asked = role == code ? path : asked_.value(path);
        if (const auto found = offers_.find(asked); found != offers_.end()) {
            offer = *found;
        }
        gate = gates_.value(asked, gates_.value(path));
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
    } else if (!offer || (role != code && role != offer->role)) {
        connection.respond(404, {}, "Not Found");
    } else if (role == code) {
        connection.redirect(302, QUrl(bases_[offer->role].toString() + bodyPath(path)));
    } else if (!sendBody(*offer, connection, asked.endsWith(checksumName) ? 0 : speed_.load(),
                         gate)) {
        // Not an end that could pass for the body's.
        connection.reset();
    }
}

bool ReleaseHost::sendBody(const Offer &offer, HttpConnection &connection, qint64 speed,
                           const std::shared_ptr<ReleaseGate> &gate) const
{
    const auto content = open(offer.content);
    if (!content) {
        return connection.respond(404, {}, "Not Found");
    }
    const qint64 size = content->size();
    const qint64 gateAt = gate ? std::min(gate->afterBytes, size) : -1;
    if (gateAt == 0 && !pass(*gate, connection)) {
        return false;
    }
    const bool isChunked = offer.role == archives;
    const QByteArray length = isChunked ? QByteArrayLiteral("Transfer-Encoding: chunked")
                                        : "Content-Length: " + QByteArray::number(size);
    if (!connection.write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n" + length +
                          "\r\n\r\n")) {
        return false;
    }
    QElapsedTimer running;
    running.start();
    for (qint64 sent = 0; sent < size;) {
        constexpr qint64 most = 262'144;
        qint64 step = speed > 0 ? std::clamp<qint64>(speed / 20, 1, most) : most;
        if (gateAt > sent) {
            step = std::min(step, gateAt - sent);
        }
        const QByteArray bytes = content->read(step);
        const QByteArray chunk =
            isChunked ? QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n" : bytes;
        if (bytes.isEmpty() || !connection.write(chunk)) {
            return false;
        }
        sent += bytes.size();
        if (sent == gateAt && !pass(*gate, connection)) {
            return false;
        }
        const qint64 ahead = speed > 0 ? sent * 1000 / speed - running.elapsed() : 0;
        if (ahead > 0 && !connection.pause(std::chrono::milliseconds(ahead))) {
            return false;
        }
    }
    return !isChunked || connection.write("0\r\n\r\n");
}

} // namespace brindle
