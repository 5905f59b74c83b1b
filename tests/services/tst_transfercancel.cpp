#include "http/HttpServer.h"
#include "net/FileDownloader.h"

#include "Outcome.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>

#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <semaphore>
#include <stop_token>
#include <thread>

using namespace brindle;

namespace {

constexpr const char *silentName = "silent.invalid";
std::counting_semaphore<8> lookUps(0);

} // namespace

/// Stands in for the system's look-up in libcurl: one name is never answered.
extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                           addrinfo **result)
{
    if (node && std::strcmp(node, silentName) == 0) {
        lookUps.release();
        static std::binary_semaphore never(0);
        never.acquire();
    }
    using Function = int (*)(const char *, const char *, const addrinfo *, addrinfo **);
    static const auto real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, result);
}

namespace {

// While set, writes to files with such a name wait, as on a disk that is busy or hangs.
std::atomic<bool> isDiskSlow = false;
std::counting_semaphore<8> slowWrites(0);
std::counting_semaphore<8> endOfSlowness(0);

bool isPart(int descriptor)
{
    const QString link = QStringLiteral("/proc/self/fd/%1").arg(descriptor);
    return QFile::symLinkTarget(link).endsWith(QStringLiteral(".part"));
}

} // namespace

extern "C" ssize_t write(int descriptor, const void *bytes, size_t count)
{
    if (isDiskSlow && isPart(descriptor)) {
        slowWrites.release();
        endOfSlowness.acquire();
    }
    using Function = ssize_t (*)(int, const void *, size_t);
    static const auto real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "write"));
    return real(descriptor, bytes, count);
}

namespace {

QUrl silentUrl()
{
    return QUrl(QStringLiteral("https://%1/file").arg(QString::fromLatin1(silentName)));
}

/// A server that sends a beginning and then nothing, and says when it has.
class SilentServer
{
public:
    explicit SilentServer(QByteArray beginning = {})
        : server_([this, beginning](const HttpRequest &, HttpConnection &connection) {
            connection.write(beginning);
            // Nothing depends on it, but by then the client is most likely asleep.
            connection.pause(std::chrono::milliseconds(400));
            silent_.release();
            connection.waitUntilClosed();
            left_.release();
        })
    {}

    QUrl url() const { return server_.url(); }
    int requestCount() const { return server_.requestCount(); }
    void awaitSilence() { silent_.acquire(); }
    /// Whether the client closes its connection before its own time-out does.
    bool clientLeaves() { return left_.try_acquire_for(std::chrono::seconds(30)); }

private:
    std::counting_semaphore<8> silent_{0};
    std::counting_semaphore<8> left_{0};
    HttpServer server_; // last: its handlers use the semaphores
};

/// The rest of the program runs when a transfer is left alone in the middle of its work.
int exitInTheMiddle(const QString &how)
{
    if (how == QStringLiteral("lookup")) {
        auto task = Transfer::toMemory(silentUrl(), 100, {});
        lookUps.acquire();
        return 0;
    }
    if (how == QStringLiteral("silence")) {
        SilentServer server("HTTP/1.1 200 OK\r\n");
        auto task = Transfer::toMemory(server.url(), 100, {});
        server.awaitSilence();
        return 0;
    }
    // Static, so that bytes flow for as long as there is a process.
    static const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        bool open = connection.respond(200, {{"Content-Length", ""}}, {});
        while (open) {
            open = connection.write(QByteArray(100000, 'x'));
        }
    });
    static std::counting_semaphore<> reported(0);
    const auto onProgress = [](qint64, qint64, double) { reported.release(); };
    auto task = Transfer::toFile(server.url(), QStringLiteral("/dev/zero"), onProgress, {});
    reported.acquire();
    return 0;
}

} // namespace

/// Transfers that are not wanted any more. What they wait for never comes, so that a cancellation
/// that waits for it hangs the test.
class TestTransferCancel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void whileSilent_data();
    void whileSilent();
    void duringALookUp();
    void lookUpTimesOut();
    void fromAnotherThread();
    void beforeTheStart();
    void afterTheEnd();
    void fromTheProgressCallback();
    void whileBytesFlow();
    void whileTheDiskIsSlow();
    void noProgressAfterTheEnd();
    void droppedTaskEndsAtExit_data();
    void droppedTaskEndsAtExit();

private:
    QTemporaryDir folder_;
};

void TestTransferCancel::initTestCase()
{
    qunsetenv("http_proxy");
    qunsetenv("https_proxy");
    qunsetenv("all_proxy");
}

void TestTransferCancel::whileSilent_data()
{
    QTest::addColumn<QByteArray>("beginning");
    QTest::newRow("before the headers") << QByteArray();
    QTest::newRow("in the headers") << QByteArray("HTTP/1.1 200 OK\r\nServer: x\r\n");
    QTest::newRow("in the body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
}

void TestTransferCancel::whileSilent()
{
    QFETCH(const QByteArray, beginning);
    SilentServer server(beginning);
    std::stop_source stop;
    auto task = Transfer::toFile(server.url(), folder_.filePath(QStringLiteral("silent")), {},
                                 stop.get_token());
    server.awaitSilence();
    stop.request_stop();
    QVERIFY(outcomeOf(std::move(task)).cancelled());
    QVERIFY(server.clientLeaves());
}

void TestTransferCancel::duringALookUp()
{
    std::stop_source stop;
    auto task = Transfer::toMemory(silentUrl(), 100, stop.get_token());
    lookUps.acquire();
    stop.request_stop();
    QVERIFY(outcomeOf(std::move(task)).cancelled());
}

void TestTransferCancel::lookUpTimesOut()
{
    const auto outcome =
        outcomeOf(Transfer::toMemory(silentUrl(), 100, {}, {std::chrono::milliseconds(200), {}}));
    QVERIFY(outcome.transferError);
    QCOMPARE(outcome.text(),
             QStringLiteral("The connection timed out: nothing arrived for 0.2 seconds."));
    lookUps.acquire();
}

void TestTransferCancel::fromAnotherThread()
{
    SilentServer server;
    std::stop_source stop;
    auto task = Transfer::toMemory(server.url(), 100, stop.get_token());
    const std::jthread other([&] {
        server.awaitSilence();
        stop.request_stop();
    });
    QVERIFY(outcomeOf(std::move(task)).cancelled());
}

void TestTransferCancel::beforeTheStart()
{
    SilentServer server;
    std::stop_source stop;
    stop.request_stop();
    QVERIFY(outcomeOf(Transfer::toMemory(server.url(), 100, stop.get_token())).cancelled());
    QCOMPARE(server.requestCount(), 0);
}

void TestTransferCancel::afterTheEnd()
{
    const HttpServer server(
        [](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, "whole"); });
    std::stop_source stop;
    const auto outcome = outcomeOf(Transfer::toMemory(server.url(), 100, stop.get_token()));
    stop.request_stop();
    QVERIFY(outcome.value);
    QCOMPARE(outcome.value->body, QByteArray("whole"));
}

void TestTransferCancel::fromTheProgressCallback()
{
    SilentServer server("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
    std::stop_source stop;
    int calls = 0;
    const auto onProgress = [&](qint64, qint64, double) {
        ++calls;
        stop.request_stop();
    };
    const QString target = folder_.filePath(QStringLiteral("self"));
    auto task = Transfer::toFile(server.url(), target, onProgress, stop.get_token());
    QVERIFY(outcomeOf(std::move(task)).cancelled());
    QCOMPARE(calls, 1);
}

void TestTransferCancel::whileBytesFlow()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        bool open = connection.respond(200, {{"Content-Length", ""}}, {});
        while (open) {
            open = connection.write(QByteArray(100000, 'x'));
        }
    });
    std::counting_semaphore<> reported(0);
    const auto onProgress = [&](qint64, qint64, double) { reported.release(); };
    std::stop_source stop;
    auto task =
        Transfer::toFile(server.url(), QStringLiteral("/dev/zero"), onProgress, stop.get_token());
    reported.acquire();
    stop.request_stop();
    QVERIFY(outcomeOf(std::move(task)).cancelled());
}

void TestTransferCancel::whileTheDiskIsSlow()
{
    const HttpServer server(
        [](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, "whole"); });
    const QTemporaryDir folder;
    const auto names = [&folder] {
        return QDir(folder.path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    };
    FileDownloader downloader;
    isDiskSlow = true;
    auto task = downloader.download(server.url(), folder.filePath(QStringLiteral("file")), {});
    slowWrites.acquire();
    QCOMPARE(names().size(), 1);
    downloader.cancelTask();
    // The write is still under way, and goes to a file that has no name any more.
    QVERIFY(outcomeOf(std::move(task)).cancelled());
    QCOMPARE(names(), QStringList());
    isDiskSlow = false;
    endOfSlowness.release();
    // It does not come back either.
    QVERIFY(
        outcomeOf(downloader.download(server.url(), folder.filePath(QStringLiteral("file")), {}))
            .value);
    QCOMPARE(names(), QStringList{QStringLiteral("file")});
}

void TestTransferCancel::noProgressAfterTheEnd()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        bool open = connection.respond(200, {{"Content-Length", ""}}, {});
        while (open) {
            open = connection.write(QByteArray(100000, 'x'));
        }
    });
    // A callback that has begun when the cancellation comes delays its delivery, and is the last.
    for (int i = 0; i < 20; ++i) {
        const auto ended = std::make_shared<std::atomic<bool>>(false);
        const auto late = std::make_shared<std::atomic<bool>>(false);
        const auto inside = std::make_shared<std::binary_semaphore>(0);
        const auto goOn = std::make_shared<std::binary_semaphore>(0);
        const auto onProgress = [=](qint64, qint64, double) {
            *late = *late || *ended;
            inside->release();
            goOn->acquire();
        };
        std::stop_source stop;
        auto task = Transfer::toFile(server.url(), QStringLiteral("/dev/zero"), onProgress,
                                     stop.get_token());
        inside->acquire();
        stop.request_stop();
        QCoreApplication::processEvents();
        QVERIFY(!task.isReady());
        goOn->release();
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        *ended = true;
        goOn->release(); // for one that comes all the same
        QVERIFY(!*late);
    }
}

void TestTransferCancel::droppedTaskEndsAtExit_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("in a look-up") << QStringLiteral("lookup");
    QTest::newRow("in silence") << QStringLiteral("silence");
    QTest::newRow("while bytes flow") << QStringLiteral("flow");
}

void TestTransferCancel::droppedTaskEndsAtExit()
{
    QFETCH(const QString, how);
    QProcess process;
    // What it leaves in the middle it leaves on purpose.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("tst_transfercancel"), QStringLiteral("--exit"), how});
    QVERIFY(process.waitForFinished());
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
             process.readAll().constData());
}

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments.at(1) == QStringLiteral("--exit")) {
        return exitInTheMiddle(arguments.at(2));
    }
    TestTransferCancel test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_transfercancel.moc"
