// Tests cancellations. Each transfer waits for something that never comes, so a cancellation that
// waits as well hangs the test.

#include "NetFixture.h"

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTest>

#include <thread>

using namespace brindle;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

void sendForEver(const HttpRequest &, HttpConnection &connection)
{
    bool isOpen = connection.respond(200, {{"Content-Length", ""}}, {});
    while (isOpen) {
        isOpen = connection.write(QByteArray(100'000, 'x'));
    }
}

/// A server that sends a beginning and then nothing.
class SilentServer
{
public:
    explicit SilentServer(const QByteArray &beginning = {})
        : server_([this, beginning](const HttpRequest &, HttpConnection &connection) {
            connection.write(beginning);
            // The test also passes without this time, in which the client falls asleep.
            connection.pause(200ms);
            silent_.release();
            connection.waitUntilClosed();
            left_.release();
        })
    {}

    QUrl url() const { return server_.url(); }
    int requestCount() const { return server_.requestCount(); }
    void awaitSilence() { silent_.acquire(); }
    /// Returns whether the client closes its connection before its time-out.
    bool clientLeaves() { return left_.try_acquire_for(30s); }

private:
    std::counting_semaphore<> silent_{0};
    std::counting_semaphore<> left_{0};
    HttpServer server_; // last: its handlers use the semaphores
};

/// Leaves a transfer alone in the middle of its work. The program ends meanwhile.
void leave(const QString &how)
{
    if (how == u"lookup") {
        auto task = Transfer::toMemory(StandIns::silentUrl(), 100, {});
        StandIns::lookUps.acquire();
        return;
    }
    if (how == u"silence") {
        SilentServer server("HTTP/1.1 200 OK\r\n");
        auto task = Transfer::toMemory(server.url(), 100, {});
        server.awaitSilence();
        return;
    }
    // Static, so that bytes flow for as long as there is a process.
    static const QTemporaryDir folder;
    static const HttpServer server(sendForEver);
    static std::counting_semaphore<> reported(0);
    const auto onProgress = [](qint64, qint64, double) { reported.release(); };
    auto task = Transfer::toFile(
        server.url(), std::make_shared<OutputFile>(folder.filePath(u"flow"_s)), onProgress, {});
    reported.acquire();
}

} // namespace

class TestTransferCancel : public NetFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // This process is the child of `droppedTaskEndsAtExit`.
        const QString how = qEnvironmentVariable("BRINDLE_TEST_LEAVE");
        if (!how.isEmpty()) {
            leave(how);
            QSKIP("The program ends in the middle of a transfer.");
        }
    }

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
        // From another thread.
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
        auto task = Transfer::toMemory(StandIns::silentUrl(), 100, stop.get_token());
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
        auto task = Transfer::toMemory(server.url(), 1000, stop.get_token(), options);
        options.waiting = nullptr;
        waits.acquire();
        stop.request_stop();
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        // The thread has ended as well.
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

    void droppedTaskEndsAtExit_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("in a look-up") << u"lookup"_s;
        QTest::newRow("in silence") << u"silence"_s;
        QTest::newRow("while bytes flow") << u"flow"_s;
    }
    void droppedTaskEndsAtExit()
    {
        QFETCH(const QString, how);
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"BRINDLE_TEST_LEAVE"_s, how);
        // The child leaks memory on purpose.
        environment.insert(u"ASAN_OPTIONS"_s, u"detect_leaks=0"_s);
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QCoreApplication::applicationFilePath(), {u"tst_transfercancel"_s});
        QVERIFY(process.waitForFinished());
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
                 process.readAll().constData());
    }
};

QTEST_GUILESS_MAIN(TestTransferCancel)
#include "tst_transfercancel.moc"
