#include "NetFixture.h"

#include <QFile>

#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>

using namespace brindle;
using namespace Qt::StringLiterals;

std::counting_semaphore<> StandIns::lookUps(0);
std::function<QList<QNetworkProxy>(const QUrl &)> StandIns::proxies;
std::function<int()> StandIns::beforeWrite;

namespace {

using std::chrono::nanoseconds;

nanoseconds stoppedAt(0);
std::atomic<nanoseconds> fixedTime = nanoseconds(0); // 0: the clock runs

} // namespace

StandIns::StoppedClock::StoppedClock()
{
    stoppedAt = std::chrono::steady_clock::now().time_since_epoch();
    fixedTime = stoppedAt;
}

StandIns::StoppedClock::~StoppedClock()
{
    fixedTime = nanoseconds(0);
}

void StandIns::StoppedClock::move(nanoseconds time) const
{
    fixedTime = stoppedAt + time;
}

nanoseconds StandIns::StoppedClock::time() const
{
    return fixedTime.load() - stoppedAt;
}

QList<QNetworkProxy> QNetworkProxyFactory::systemProxyForQuery(const QNetworkProxyQuery &query)
{
    // Copy the function: a cancelled transfer may still call it when the next test sets another.
    if (const auto answer = StandIns::proxies) {
        return answer(query.url());
    }
    using Function = QList<QNetworkProxy> (*)(const QNetworkProxyQuery &);
    static const auto real = reinterpret_cast<Function>(::dlsym(
        RTLD_NEXT, "_ZN20QNetworkProxyFactory19systemProxyForQueryERK18QNetworkProxyQuery"));
    return real(query);
}

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept
{
    timespec real = {};
    ::clock_gettime(CLOCK_MONOTONIC, &real);
    const nanoseconds fixed = fixedTime;
    return time_point(fixed != nanoseconds(0) ? fixed
                                              : seconds(real.tv_sec) + nanoseconds(real.tv_nsec));
}

extern "C" {

int getaddrinfo(const char *node, const char *service, const addrinfo *hints, addrinfo **result)
{
    if (node && std::strcmp(node, StandIns::silentName) == 0) {
        StandIns::lookUps.release();
        static std::binary_semaphore never(0);
        never.acquire();
    }
    using Function = int (*)(const char *, const char *, const addrinfo *, addrinfo **);
    static const auto real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, result);
}

ssize_t write(int descriptor, const void *bytes, size_t count)
{
    if (const auto before = StandIns::beforeWrite) {
        const QString link = u"/proc/self/fd/%1"_s.arg(descriptor);
        const int error = QFile::symLinkTarget(link).contains(u".slow") ? before() : 0;
        if (error != 0) {
            errno = error;
            return -1;
        }
    }
    using Function = ssize_t (*)(int, const void *, size_t);
    static const auto real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "write"));
    return real(descriptor, bytes, count);
}
}

NetFixture::NetFixture()
{
    for (const char *name : {"http_proxy", "https_proxy", "all_proxy"}) {
        qunsetenv(name);
    }
    const auto certificate = TestCertificate::make();
    tls_ = certificate.serverConfiguration();
    trusting_.caFile = path(u"ca.pem"_s);
    certificate.save(trusting_.caFile);
}

NetFixture::~NetFixture()
{
    StandIns::proxies = nullptr;
    StandIns::beforeWrite = nullptr;
}

TransferOptions NetFixture::withoutWaits()
{
    waits_.clear();
    TransferOptions options;
    options.waiting = [this](Milliseconds time) {
        const std::lock_guard guard(lock_);
        waits_.push_back(time);
        return Milliseconds(0);
    };
    return options;
}

std::vector<NetFixture::Milliseconds> NetFixture::waits() const
{
    const std::lock_guard guard(lock_);
    return waits_;
}

QByteArray NetFixture::pattern(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>((i * 7 + (i >> 8) * 13 + (i >> 16) * 29) & 0xff);
    }
    return bytes;
}

QByteArray NetFixture::contentOf(const QString &file)
{
    QFile source(file);
    return source.open(QIODevice::ReadOnly) ? source.readAll() : QByteArrayLiteral("(no file)");
}

HttpServer::Handler NetFixture::sending(const QByteArray &bytes)
{
    return [bytes](const HttpRequest &, HttpConnection &connection) { connection.write(bytes); };
}

HttpServer::Handler NetFixture::answering(const QByteArray &body)
{
    return [body](const HttpRequest &, HttpConnection &connection) {
        connection.keepOpen();
        connection.respond(200, {}, body);
    };
}
