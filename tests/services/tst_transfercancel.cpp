// Tests cancellations. Each transfer waits for something that never comes, so a cancellation that
// waits too would hang the test.

#include "NetFixture.h"

#include <QTest>

#include <thread>

using namespace brindle;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

/// A server that sends the beginning of an answer, then nothing.
class SilentServer
{
public:
    explicit SilentServer(const QByteArray &beginning = {})
        : server_([this, beginning](const HttpRequest &, HttpConnection &connection) {
            connection.write(beginning);
            // The pause lets the client fall asleep. The test would pass without it, too.
            connection.pause(200ms);
            silent_.release();
            connection.waitUntilClosed();
            left_.release();
        })
    {}

    QUrl url() const { return server_.url(); }
    void awaitSilence() { silent_.acquire(); }
    /// Returns whether the client closes its connection before its time-out.
    bool clientLeaves() { return left_.try_acquire_for(30s); }

private:
    std::counting_semaphore<> silent_{0};
    std::counting_semaphore<> left_{0};
    HttpServer server_; // last, because its handlers use the semaphores
};

} // namespace

class TestTransferCancel : public NetFixture
{
    Q_OBJECT

private Q_SLOTS:
    void whileSilent_data()
    {
        QTest::addColumn<QByteArray>("beginning");
        QTest::newRow("before the headers") << QByteArray();
        QTest::newRow("in the headers") << QByteArray("HTTP/1.1 200 OK\r\nServer: x\r\n");
        QTest::newRow("in the body")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
    }
    void whileSilent()
    {
        QFETCH(const QByteArray, beginning);
        SilentServer server(beginning);
        std::stop_source stop;
        auto task = Transfer::toFile(server.url(), newFile(), {}, stop.get_token());
        // Request the stop from another thread.
        std::jthread other([&] {
            server.awaitSilence();
            stop.request_stop();
        });
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        QVERIFY(server.clientLeaves());
    }

    void duringALookUp()
    {
        std::stop_source stop;
        auto task = Transfer::toFile(StandIns::silentUrl(), newFile(), {}, stop.get_token());
        StandIns::lookUps.acquire();
        stop.request_stop();
        QVERIFY(outcomeOf(std::move(task)).cancelled());
    }

    void duringAWait()
    {
        const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
            connection.respond(503, {{"Retry-After", "60"}}, "busy");
        });
        std::binary_semaphore waits(0);
        const auto held = std::make_shared<int>(0);
        TransferOptions options;
        options.waiting = [&waits, held](Milliseconds) {
            waits.release();
            return Milliseconds(24h);
        };
        std::stop_source stop;
        auto task = Transfer::toFile(server.url(), newFile(), {}, stop.get_token(), options);
        options.waiting = nullptr;
        waits.acquire();
        stop.request_stop();
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        // The transfer's thread must end, too.
        spinUntil([&] { return held.use_count() == 1; });
        QCOMPARE(server.requestCount(), 1);
    }

    void fromTheProgressCallback()
    {
        SilentServer server("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
        std::stop_source stop;
        int calls = 0;
        const auto onProgress = [&](qint64, qint64, double) {
            ++calls;
            stop.request_stop();
        };
        auto task = Transfer::toFile(server.url(), newFile(), onProgress, stop.get_token());
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        QCOMPARE(calls, 1);
    }
};

QTEST_GUILESS_MAIN(TestTransferCancel)
#include "tst_transfercancel.moc"
