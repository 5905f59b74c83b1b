// Tests which connections are kept for the next request.

#include "NetFixture.h"

#include <QTest>

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
};

QTEST_GUILESS_MAIN(TestTransferConnections)
#include "tst_transferconnections.moc"
