// Connections that are kept for the next request, and those that are not.

#include "http/HttpServer.h"
#include "net/Transfer.h"

#include "Outcome.h"
#include "TestCertificate.h"
#include "support/ConnectionsTo.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>

#include <chrono>
#include <semaphore>
#include <vector>

using namespace brindle;
using namespace std::chrono_literals;

namespace {

void hello(const HttpRequest &, HttpConnection &connection)
{
    connection.keepOpen();
    connection.respond(200, {}, "hello");
}

} // namespace

class TestTransferConnections : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { kept_ = Transfer::keepConnections(); }
    void cleanup() { kept_.reset(); }
    void asManyHandshakesAsHosts();
    void threadsShareNoConnection();
    void oneThatTheServerCloses_data();
    void oneThatTheServerCloses();
    void oneThatWasLeftInTheMiddleIsNotKept_data();
    void oneThatWasLeftInTheMiddleIsNotKept();
    void theNextRequestFindsTheConnection();
    void onesOfOtherCertificatesAreNotUsed();
    void childrenGetNone();
    void theyCloseWhenNobodyKeepsThem();

private:
    Outcome<TransferResult> fetch(const QUrl &url) const
    {
        return outcomeOf(Transfer::toMemory(url, 1'000'000, {}, trusting_));
    }

    QTemporaryDir folder_;
    QSslConfiguration tls_;
    TransferOptions trusting_;
    std::shared_ptr<void> kept_;
};

void TestTransferConnections::initTestCase()
{
    qunsetenv("http_proxy");
    qunsetenv("https_proxy");
    qunsetenv("all_proxy");
    const auto certificate = TestCertificate::make();
    tls_ = certificate.serverConfiguration();
    trusting_.caFile = folder_.filePath(QStringLiteral("ca.pem"));
    certificate.save(trusting_.caFile);
}

void TestTransferConnections::asManyHandshakesAsHosts()
{
    // As in a first Play: each file is asked for at one host, which names another.
    const HttpServer archives(
        [](const HttpRequest &request, HttpConnection &connection) {
            connection.keepOpen();
            // Made as it goes.
            connection.respond(200, {{"Transfer-Encoding", "chunked"}},
                               "5\r\n" + request.target.leftJustified(5) + "\r\n0\r\n\r\n");
        },
        0, &tls_);
    const HttpServer releases(
        [](const HttpRequest &request, HttpConnection &connection) {
            connection.keepOpen();
            connection.respond(200, {}, request.target.leftJustified(5));
        },
        0, &tls_);
    const HttpServer code(
        [&](const HttpRequest &request, HttpConnection &connection) {
            connection.keepOpen();
            const auto &other = request.target.startsWith("/a") ? archives : releases;
            connection.redirect(302, other.url(QString::fromLatin1(request.target)));
        },
        0, &tls_);
    for (const char *path : {"/a1", "/a2", "/r1", "/r2"}) {
        const auto outcome = fetch(code.url(QString::fromLatin1(path)));
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->body, QByteArray(path).leftJustified(5));
    }
    QCOMPARE(code.requestCount() + archives.requestCount() + releases.requestCount(), 8);
    QCOMPARE(code.connectionCount(), 1);
    QCOMPARE(archives.connectionCount(), 1);
    QCOMPARE(releases.connectionCount(), 1);
}

void TestTransferConnections::threadsShareNoConnection()
{
    constexpr int count = 8;
    std::counting_semaphore<count> arrived(0);
    std::counting_semaphore<count> go(0);
    const HttpServer server(
        [&](const HttpRequest &request, HttpConnection &connection) {
            connection.keepOpen();
            arrived.release();
            go.acquire();
            connection.respond(200, {}, request.target);
        },
        0, &tls_);
    for (int round = 0; round < 3; ++round) {
        std::vector<QCoro::Task<TransferResult>> tasks;
        for (int i = 0; i < count; ++i) {
            const QUrl url = server.url(QStringLiteral("/%1/%2").arg(round).arg(i));
            tasks.push_back(Transfer::toMemory(url, 100, {}, trusting_));
        }
        for (int i = 0; i < count; ++i) {
            arrived.acquire();
        }
        go.release(count);
        for (int i = 0; i < count; ++i) {
            const auto outcome = outcomeOf(std::move(tasks.at(static_cast<std::size_t>(i))));
            QVERIFY2(outcome.value, qPrintable(outcome.text()));
            QCOMPARE(outcome.value->body, QStringLiteral("/%1/%2").arg(round).arg(i).toLatin1());
        }
    }
    QCOMPARE(server.requestCount(), 3 * count);
    QCOMPARE(server.connectionCount(), count);
}

void TestTransferConnections::oneThatTheServerCloses_data()
{
    QTest::addColumn<QString>("how");
    for (const char *how :
         {"idle, in order", "idle, with a reset", "asked, in order", "asked, with a reset"}) {
        QTest::newRow(how) << QString::fromLatin1(how);
    }
}

void TestTransferConnections::oneThatTheServerCloses()
{
    QFETCH(const QString, how);
    const HttpServer server(
        [&](const HttpRequest &, HttpConnection &connection) {
            const bool isIdle = how.startsWith(u"idle");
            const int which = server.requestCount();
            const bool isKept = which > 2 || (which == 1 && !isIdle);
            const bool isAnswered = which != 2 || isIdle;
            if (isKept) {
                connection.keepOpen();
            }
            if (isAnswered) {
                // Does not say that it will close.
                connection.write("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello");
            }
            if (!isKept && how.endsWith(u"with a reset")) {
                connection.reset();
            }
        },
        0, &tls_);
    for (int i = 0; i < 2; ++i) {
        const auto outcome = fetch(server.url());
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->body, QByteArray("hello"));
    }
    QCOMPARE(server.requestCount(), how.startsWith(u"idle") ? 2 : 3);
    QCOMPARE(server.connectionCount(), 2);
}

void TestTransferConnections::oneThatWasLeftInTheMiddleIsNotKept_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("of a body that is not wanted") << 404;
    QTest::newRow("of one that is too large") << 200;
}

void TestTransferConnections::oneThatWasLeftInTheMiddleIsNotKept()
{
    QFETCH(const int, status);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.keepOpen();
        const bool isFirst = server.requestCount() == 1;
        connection.respond(isFirst ? status : 200, {},
                           isFirst ? QByteArray(2'000'000, 'x') : QByteArray("hello"));
    });
    const auto first = fetch(server.url());
    QCOMPARE(first.value.has_value(), status == 404);
    QCOMPARE(first.transferError.has_value(), status == 200);
    const auto second = fetch(server.url());
    QVERIFY2(second.value, qPrintable(second.text()));
    QCOMPARE(second.value->body, QByteArray("hello"));
    QCOMPARE(server.connectionCount(), 2);
}

/// However soon it comes.
void TestTransferConnections::theNextRequestFindsTheConnection()
{
    const HttpServer server(hello, 0, &tls_);
    for (int i = 0; i < 300; ++i) {
        const auto outcome = fetch(server.url());
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
    }
    QCOMPARE(server.connectionCount(), 1);
}

void TestTransferConnections::onesOfOtherCertificatesAreNotUsed()
{
    const HttpServer server(hello, 0, &tls_);
    QVERIFY(fetch(server.url()).value);
    // Who does not trust the server gets nothing by way of those who do.
    QVERIFY(outcomeOf(Transfer::toMemory(server.url(), 100, {})).transferError);
    QCOMPARE(server.requestCount(), 1);
}

void TestTransferConnections::childrenGetNone()
{
    const HttpServer server(hello, 0, &tls_);
    QVERIFY(fetch(server.url()).value);
    const QList<int> kept = connectionsTo(server.port());
    QCOMPARE(kept.size(), 1);
    QVERIFY((::fcntl(kept.first(), F_GETFD) & FD_CLOEXEC) != 0);
}

void TestTransferConnections::theyCloseWhenNobodyKeepsThem()
{
    std::binary_semaphore closed(0);
    const HttpServer server(
        [&](const HttpRequest &request, HttpConnection &connection) {
            hello(request, connection);
            connection.waitUntilClosed();
            closed.release();
        },
        0, &tls_);
    QVERIFY(fetch(server.url()).value);
    auto another = Transfer::keepConnections();
    kept_.reset();
    QVERIFY(!closed.try_acquire());
    another.reset();
    QVERIFY(closed.try_acquire_for(30s));
    // Nor are they kept from then on.
    QVERIFY(fetch(server.url()).value);
    QVERIFY(closed.try_acquire_for(30s));
}

QTEST_GUILESS_MAIN(TestTransferConnections)
#include "tst_transferconnections.moc"
