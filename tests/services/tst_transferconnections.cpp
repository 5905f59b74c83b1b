// Tests which connections are kept for the next request.

#include "NetFixture.h"
#include "support/ConnectionsTo.h"

#include <QTest>

#include <fcntl.h>

using namespace brindle;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class TestTransferConnections : public NetFixture
{
    Q_OBJECT

    std::shared_ptr<void> kept_;

    Outcome<TransferResult> fetch(const QUrl &url) const
    {
        return NetFixture::fetch(url, trusting_, 1'000'000);
    }

private Q_SLOTS:
    void init() { kept_ = Transfer::keepConnections(); }
    void cleanup() { kept_.reset(); }

    void threadsShareNoConnection()
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
                const QUrl url = server.url(u"/%1/%2"_s.arg(round).arg(i));
                tasks.push_back(Transfer::toMemory(url, 100, {}, trusting_));
            }
            for (int i = 0; i < count; ++i) {
                arrived.acquire();
            }
            go.release(count);
            for (int i = 0; i < count; ++i) {
                const auto outcome = outcomeOf(std::move(tasks.at(static_cast<std::size_t>(i))));
                QVERIFY2(outcome.value, qPrintable(outcome.text()));
                QCOMPARE(outcome.value->body, u"/%1/%2"_s.arg(round).arg(i).toLatin1());
            }
        }
        QCOMPARE(server.requestCount(), 3 * count);
        QCOMPARE(server.connectionCount(), count);
    }

    void oneThatTheServerCloses_data()
    {
        QTest::addColumn<bool>("isIdle");
        QTest::addColumn<bool>("isReset");
        QTest::newRow("idle, in order") << true << false;
        QTest::newRow("idle, with a reset") << true << true;
        QTest::newRow("asked, in order") << false << false;
        QTest::newRow("asked, with a reset") << false << true;
    }
    void oneThatTheServerCloses()
    {
        QFETCH(const bool, isIdle);
        QFETCH(const bool, isReset);
        const HttpServer server(
            [&](const HttpRequest &, HttpConnection &connection) {
                const int which = server.requestCount();
                const bool isKept = which > 2 || (which == 1 && !isIdle);
                if (isKept) {
                    connection.keepOpen();
                }
                if (which != 2 || isIdle) {
                    // The answer does not announce the close.
                    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello");
                }
                if (!isKept && isReset) {
                    connection.reset();
                }
            },
            0, &tls_);
        for (int i = 0; i < 2; ++i) {
            const auto outcome = fetch(server.url());
            QVERIFY2(outcome.value, qPrintable(outcome.text()));
            QCOMPARE(outcome.value->body, QByteArray("hello"));
        }
        QCOMPARE(server.requestCount(), isIdle ? 2 : 3);
        QCOMPARE(server.connectionCount(), 2);
    }

    /// Redirects and chunks included.
    void theNextRequestFindsTheConnection()
    {
        const HttpServer server(
            [&](const HttpRequest &request, HttpConnection &connection) {
                connection.keepOpen();
                if (request.target == "/start") {
                    connection.redirect(302, QUrl(u"/end"_s));
                } else {
                    connection.respond(200, {{"Transfer-Encoding", "chunked"}},
                                       "5\r\nhello\r\n0\r\n\r\n");
                }
            },
            0, &tls_);
        for (int i = 0; i < 50; ++i) {
            const auto outcome = fetch(server.url(u"/start"_s));
            QVERIFY2(outcome.value, qPrintable(outcome.text()));
        }
        QCOMPARE(server.connectionCount(), 1);
    }

    void onesOfOtherCertificatesAreNotUsed()
    {
        const HttpServer server(answering("hello"), 0, &tls_);
        QVERIFY(fetch(server.url()).value);
        QVERIFY(NetFixture::fetch(server.url()).as<TransferError>());
        QCOMPARE(server.requestCount(), 1);
    }

    void childrenGetNone()
    {
        const HttpServer server(answering("hello"), 0, &tls_);
        QVERIFY(fetch(server.url()).value);
        const QList<int> kept = connectionsTo(server.port());
        QCOMPARE(kept.size(), 1);
        QVERIFY((::fcntl(kept.first(), F_GETFD) & FD_CLOEXEC) != 0);
    }

    void theyCloseWhenNobodyKeepsThem()
    {
        std::binary_semaphore closed(0);
        const HttpServer server(
            [&](const HttpRequest &, HttpConnection &connection) {
                connection.keepOpen();
                connection.respond(200, {}, "hello");
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
        // From then on no connection is kept.
        QVERIFY(fetch(server.url()).value);
        QVERIFY(closed.try_acquire_for(30s));
    }
};

QTEST_GUILESS_MAIN(TestTransferConnections)
#include "tst_transferconnections.moc"
