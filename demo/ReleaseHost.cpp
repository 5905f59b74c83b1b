#include "demo/ReleaseHost.h"

#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <utility>

namespace brindle {

namespace {

constexpr int found = 302;
constexpr int notFound = 404;
constexpr int methodNotAllowed = 405;
constexpr quint16 httpPort = 80;
constexpr quint16 httpsPort = 443;
constexpr qint64 stepBytes = 262'144;
constexpr qint64 slowStepsPerSecond = 20;
constexpr qint64 millisecondsPerSecond = 1000;

const auto releasesPrefix = QStringLiteral("/godotengine/godot-builds/releases/download/");
const auto archiveMarker = QStringLiteral("/archive/");
const auto checksumName = QStringLiteral("SHA512-SUMS.txt");

/// A body that is sent in pieces, with a length in its head or in chunks without one.
class Body
{
public:
    Body(HttpConnection &connection, std::optional<qint64> length)
        : connection_(connection)
        , chunked_(!length)
        , head_("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n")
    {
        head_ += length ? "Content-Length: " + QByteArray::number(*length)
                        : QByteArrayLiteral("Transfer-Encoding: chunked");
        head_ += "\r\n\r\n";
    }

    bool begin() { return connection_.write(head_); }

    bool send(const QByteArray &bytes)
    {
        return connection_.write(
            chunked_ ? QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n" : bytes);
    }

    bool end() { return !chunked_ || connection_.write("0\r\n\r\n"); }

private:
    HttpConnection &connection_;
    const bool chunked_;
    QByteArray head_;
};

/// Keeps a body down to a speed that may change on the way.
class Pace
{
public:
    bool wait(HttpConnection &connection, qint64 speed, qint64 justSent)
    {
        if (speed != speed_) {
            speed_ = speed;
            sent_ = 0;
            running_.start();
        }
        if (speed == 0) {
            return true;
        }
        sent_ += justSent;
        const qint64 due = sent_ * millisecondsPerSecond / speed;
        const qint64 ahead = due - running_.elapsed();
        return ahead <= 0 || connection.pause(std::chrono::milliseconds(ahead));
    }

private:
    qint64 speed_ = 0;
    qint64 sent_ = 0;
    QElapsedTimer running_;
};

} // namespace

ReleaseHost::ReleaseHost() : ReleaseHost(Options{}) {}

ReleaseHost::ReleaseHost(Options options) : options_(std::move(options))
{
    if (options_.port != 0) {
        servers_.append(
            makeServer([this](const HttpRequest &request) { return roleByName(request); }));
    } else {
        for (const Role role : {Role::code, Role::archives, Role::releases}) {
            servers_.append(makeServer([role](const HttpRequest & /*request*/) { return role; }));
        }
    }
    const std::lock_guard guard(lock_);
    const std::array names{options_.codeHost, options_.archiveHost, options_.releaseHost};
    for (std::size_t role = 0; role < names.size(); ++role) {
        const auto server = std::min(static_cast<qsizetype>(role), servers_.size() - 1);
        bases_.at(role) = servers_.at(server)->url({}, names.at(role));
        if (options_.port == (options_.tls ? httpsPort : httpPort)) {
            bases_.at(role).setPort(-1);
        }
    }
}

ReleaseHost::~ReleaseHost() = default;

std::shared_ptr<HttpServer> ReleaseHost::makeServer(std::function<Role(const HttpRequest &)> role)
{
    return std::make_shared<HttpServer>(
        [this, role = std::move(role)](const HttpRequest &request, HttpConnection &connection) {
            answer(role(request), request, connection);
        },
        options_.port, options_.tls ? &*options_.tls : nullptr);
}

QUrl ReleaseHost::url() const
{
    return address(Role::code, {});
}

void ReleaseHost::offerGame(const ReleaseContent &zip)
{
    const std::lock_guard guard(lock_);
    archives_[gamePath()] = zip;
    asked_[bodyPath(gamePath())] = gamePath();
}

void ReleaseHost::offerAddon(const QString &repository, const ReleaseContent &zip)
{
    const QString path = addonPath(repository);
    const std::lock_guard guard(lock_);
    archives_[path] = zip;
    asked_[bodyPath(path)] = path;
}

void ReleaseHost::offerEngine(const QString &tag, const QString &name, const ReleaseContent &zip)
{
    const QByteArray digest = zip.sha512();
    const QString path = enginePath(tag, name);
    const QString listPath = checksumPath(tag);
    const std::lock_guard guard(lock_);
    releases_[path] = zip;
    asked_[bodyPath(path)] = path;
    auto &digests = digests_[tag];
    digests[name] = digest;
    QByteArray list;
    for (auto entry = digests.cbegin(); entry != digests.cend(); ++entry) {
        list += entry.value() + "  " + entry.key().toUtf8() + '\n';
    }
    releases_[listPath] = list;
    asked_[bodyPath(listPath)] = listPath;
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
    body.replace(archiveMarker, QStringLiteral("/zip/"));
    if (body.endsWith(QStringLiteral(".zip"))) {
        body.chop(4);
    }
    return body;
}

void ReleaseHost::replace(const QString &path, Handler handler)
{
    const std::lock_guard guard(lock_);
    exceptions_[path].handler = std::move(handler);
}

void ReleaseHost::fail(const QString &path, int status)
{
    replace(path, [status](const HttpRequest & /*request*/, HttpConnection &connection) {
        connection.respond(status, {}, "No luck\n");
    });
}

void ReleaseHost::silence(const QString &path)
{
    replace(path, [](const HttpRequest & /*request*/, HttpConnection &connection) {
        connection.waitUntilClosed();
    });
}

void ReleaseHost::tamper(const QString &path)
{
    const std::lock_guard guard(lock_);
    exceptions_[path].tampered = true;
}

std::shared_ptr<ReleaseGate> ReleaseHost::hold(const QString &path, qint64 afterBytes)
{
    auto gate = std::make_shared<ReleaseGate>(afterBytes);
    const std::lock_guard guard(lock_);
    exceptions_[path].gate = gate;
    return gate;
}

void ReleaseHost::restore(const QString &path)
{
    const std::lock_guard guard(lock_);
    exceptions_.remove(path);
}

void ReleaseHost::setSpeed(qint64 bytesPerSecond)
{
    speed_ = bytesPerSecond;
}

QStringList ReleaseHost::requests() const
{
    const std::lock_guard guard(lock_);
    QStringList paths;
    for (const auto &[role, path] : requests_) {
        if (role == Role::code) {
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

int ReleaseHost::connectionCount() const
{
    int count = 0;
    for (const auto &server : servers_) {
        count += server->connectionCount();
    }
    return count;
}

void ReleaseHost::forgetRequests()
{
    const std::lock_guard guard(lock_);
    requests_.clear();
}

void ReleaseHost::answer(Role role, const HttpRequest &request, HttpConnection &connection)
{
    const QString path = QString::fromUtf8(request.target);
    Handler handler;
    bool isArchive = false;
    bool isRelease = false;
    {
        const std::lock_guard guard(lock_);
        requests_.append({role, path});
        handler = exceptions_.value(path).handler;
        isArchive = archives_.contains(path);
        isRelease = releases_.contains(path);
    }
    if (handler) {
        handler(request, connection);
        return;
    }
    if (request.headers.value("connection").toLower() != "close") {
        connection.keepOpen();
    }
    if (request.method != "GET") {
        connection.respond(methodNotAllowed, {}, {});
    } else if (role != Role::code) {
        answerBody(role, path, connection);
    } else if (isArchive) {
        connection.redirect(found, address(Role::archives, bodyPath(path)));
    } else if (isRelease) {
        connection.redirect(found, address(Role::releases, bodyPath(path)));
    } else {
        connection.respond(notFound, {}, "Not Found");
    }
}

void ReleaseHost::answerBody(Role role, const QString &path, HttpConnection &connection)
{
    const bool withLength = role == Role::releases;
    QString asked;
    std::optional<ReleaseContent> content;
    Exception exception;
    {
        const std::lock_guard guard(lock_);
        asked = asked_.value(path);
        const auto &offers = withLength ? releases_ : archives_;
        if (const auto offer = offers.find(asked); offer != offers.end()) {
            content = *offer;
        }
        exception = exceptions_.value(asked, exceptions_.value(path));
    }
    const auto device = content ? content->open() : nullptr;
    if (!content || !device) {
        connection.respond(notFound, {}, "Not Found");
        return;
    }
    const bool isList = asked.endsWith(checksumName);
    const bool plain = !exception.tampered && !exception.gate && (speed_ == 0 || isList);
    if (plain && !content->file().isEmpty()) {
        connection.respondWithFile(content->file(), withLength);
    } else if (!sendInSteps(connection, *device, withLength, !isList, exception)) {
        // Not an end that could pass for the body's.
        connection.reset();
    }
}

bool ReleaseHost::sendInSteps(HttpConnection &connection, QIODevice &content, bool withLength,
                              bool paced, const Exception &exception) const
{
    const qint64 size = content.size();
    const qint64 gateAt = exception.gate ? std::min(exception.gate->afterBytes(), size) : -1;
    if (gateAt == 0 && !exception.gate->pass(connection)) {
        return false;
    }
    Body body(connection, withLength ? std::optional(size) : std::nullopt);
    if (!body.begin()) {
        return false;
    }
    Pace pace;
    for (qint64 sent = 0; sent < size;) {
        const qint64 speed = paced ? speed_.load() : 0;
        qint64 step =
            speed > 0 ? std::clamp<qint64>(speed / slowStepsPerSecond, 1, stepBytes) : stepBytes;
        if (gateAt > sent) {
            step = std::min(step, gateAt - sent);
        }
        QByteArray bytes = content.read(step);
        if (bytes.isEmpty()) {
            return false;
        }
        const qint64 middle = size / 2 - sent;
        if (exception.tampered && middle >= 0 && middle < bytes.size()) {
            bytes[middle] = static_cast<char>(bytes.at(middle) ^ 1);
        }
        if (!body.send(bytes)) {
            return false;
        }
        sent += bytes.size();
        if (sent == gateAt && !exception.gate->pass(connection)) {
            return false;
        }
        if (!pace.wait(connection, speed, bytes.size())) {
            return false;
        }
    }
    return body.end();
}

ReleaseHost::Role ReleaseHost::roleByName(const HttpRequest &request) const
{
    const QString name = QString::fromLatin1(request.headers.value("host").split(':').first());
    if (name == options_.archiveHost) {
        return Role::archives;
    }
    return name == options_.releaseHost ? Role::releases : Role::code;
}

QUrl ReleaseHost::address(Role role, const QString &path) const
{
    QUrl base;
    {
        const std::lock_guard guard(lock_);
        base = bases_.at(static_cast<std::size_t>(role));
    }
    return QUrl(base.toString() + path);
}

} // namespace brindle
