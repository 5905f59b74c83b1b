#include "http/HttpServer.h"
#include "net/Transfer.h"

#include "Outcome.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <limits>
#include <semaphore>
#include <thread>
#include <vector>

using namespace brindle;
using namespace std::chrono_literals;

namespace {

const TransferOptions impatient{200ms, {}};

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("(no file)");
}

/// Bytes in which every place is different enough to show a mix-up.
QByteArray pattern(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>((i * 7 + (i >> 8) * 13 + (i >> 16) * 29) & 0xff);
    }
    return bytes;
}

Outcome<TransferResult> fetch(const QUrl &url, qint64 limit = 1 << 20,
                              const TransferOptions &options = {})
{
    return outcomeOf(Transfer::toMemory(url, limit, {}, options));
}

} // namespace

/// One answer of a server, as it comes, and what becomes of it.
class TestTransfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void sendsAPlainGet();
    void storesTheBody_data();
    void storesTheBody();
    void anEmptyBodyMakesAnEmptyFile();
    void overwritesAnOlderFile();
    void progressOnItsOwnThread();
    void progressWithoutALength();
    void slowBytesAreNotHeldBack();
    void rateUsesAtLeastAMillisecond();
    void otherStatusesAreResults_data();
    void otherStatusesAreResults();
    void statusDoesNotWaitForItsBody();
    void interimAnswersAreSkipped();
    void wrongAnswersFail_data();
    void wrongAnswersFail();
    void resetFails();
    void refusedConnectionFails();
    void unusableAddressesFail_data();
    void unusableAddressesFail();
    void endlessHeadersFail();
    void longerBodyEndsAtItsLength();
    void contentCodingIsRefused_data();
    void contentCodingIsRefused();
    void silenceTimesOut_data();
    void silenceTimesOut();
    void dripIsNoTimeOut();
    void memoryLimit();
    void fileLimit_data();
    void fileLimit();
    void moreThanTheDiskHasIsRefusedAtOnce();
    void withoutAThreadItFails();
    void fullDiskNamesTheFile();
    void missingFolderNamesTheFile();
    void linkInTheFilesPlaceIsNotFollowed();
    void fileIsTheOneThatWasWritten_data();
    void fileIsTheOneThatWasWritten();
    void manyAtOnce();

private:
    QTemporaryDir folder_;
};

void TestTransfer::initTestCase()
{
    qunsetenv("http_proxy");
    qunsetenv("https_proxy");
    qunsetenv("all_proxy");
    QVERIFY(folder_.isValid());
}

void TestTransfer::sendsAPlainGet()
{
    HttpRequest seen;
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        seen = request;
        connection.respond(200, {}, "hello");
    });
    const auto outcome = fetch(server.url(QStringLiteral("/a%20b?c=d#e")));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, 200);
    QCOMPARE(outcome.value->host, QStringLiteral("127.0.0.1"));
    QCOMPARE(outcome.value->body, QByteArray("hello"));
    QCOMPARE(seen.method, QByteArray("GET"));
    QCOMPARE(seen.target, QByteArray("/a%20b?c=d"));
    QCOMPARE(seen.headers.value("accept-encoding"), QByteArray("identity"));
    QCOMPARE(server.requestCount(), 1);
}

void TestTransfer::storesTheBody_data()
{
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<bool>("withLength");
    for (const qsizetype size : {1, 16384, 262144, 262145, 5000000}) {
        for (const bool withLength : {true, false}) {
            QTest::addRow("%lld %s", static_cast<long long>(size), withLength ? "length" : "chunks")
                << size << withLength;
        }
    }
}

void TestTransfer::storesTheBody()
{
    QFETCH(const qsizetype, size);
    QFETCH(const bool, withLength);
    const QByteArray content = pattern(size);
    const QString source = folder_.filePath(QStringLiteral("source"));
    QFile file(source);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
    file.close();
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.respondWithFile(source, withLength);
    });
    const QString target = folder_.filePath(QStringLiteral("target"));
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, {}, {}));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, 200);
    QVERIFY(outcome.value->body.isEmpty());
    QVERIFY(contentOf(target) == content);
}

void TestTransfer::anEmptyBodyMakesAnEmptyFile()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, {}); });
    const QString target = folder_.filePath(QStringLiteral("empty"));
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, {}, {}));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QVERIFY(QFileInfo::exists(target));
    QCOMPARE(QFileInfo(target).size(), 0);
}

void TestTransfer::overwritesAnOlderFile()
{
    const HttpServer server(
        [](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, "new"); });
    const QString target = folder_.filePath(QStringLiteral("older"));
    QFile file(target);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("much older content");
    file.close();
    QVERIFY(outcomeOf(Transfer::toFile(server.url(), target, {}, {})).value);
    QCOMPARE(contentOf(target), QByteArray("new"));
}

void TestTransfer::progressOnItsOwnThread()
{
    const QByteArray content = pattern(1000000);
    const HttpServer server(
        [&](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, content); });
    std::vector<qint64> written;
    bool right = true;
    const auto main = std::this_thread::get_id();
    std::optional<std::thread::id> thread;
    bool isSafe = false;
    const auto onProgress = [&](qint64 bytes, qint64 expected, double rate) {
        written.push_back(bytes);
        const auto here = std::this_thread::get_id();
        right = right && expected == 1000000 && rate > 0 && here != main &&
                thread.value_or(here) == here;
        thread = here;
        // By which a server that leaves during the end of TLS would end the process.
        sigset_t blocked;
        isSafe =
            pthread_sigmask(SIG_BLOCK, nullptr, &blocked) == 0 && sigismember(&blocked, SIGPIPE);
    };
    const QString target = folder_.filePath(QStringLiteral("progress"));
    QVERIFY(outcomeOf(Transfer::toFile(server.url(), target, onProgress, {})).value);
    QVERIFY(right);
    QVERIFY(isSafe);
    QVERIFY(written.size() > 1);
    QVERIFY(std::is_sorted(written.begin(), written.end()));
    QCOMPARE(written.back(), 1000000);
}

void TestTransfer::progressWithoutALength()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", ""}}, "until the end");
    });
    qint64 last = 0;
    bool negative = true;
    const auto onProgress = [&](qint64 bytes, qint64 expected, double) {
        last = bytes;
        negative = negative && expected < 0;
    };
    const QString target = folder_.filePath(QStringLiteral("nolength"));
    QVERIFY(outcomeOf(Transfer::toFile(server.url(), target, onProgress, {})).value);
    QVERIFY(negative);
    QCOMPARE(last, 13);
    QCOMPARE(contentOf(target), QByteArray("until the end"));
}

void TestTransfer::slowBytesAreNotHeldBack()
{
    // The server sends a byte, and the next only when the one before has been reported.
    constexpr int count = 5;
    std::counting_semaphore<> reported(0);
    std::atomic<bool> inTime = true;
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", QByteArray::number(count)}}, {});
        for (int i = 0; i < count; ++i) {
            connection.write("x");
            inTime = inTime && reported.try_acquire_for(10s);
        }
    });
    const auto onProgress = [&](qint64, qint64, double) { reported.release(); };
    const QString target = folder_.filePath(QStringLiteral("slow"));
    QVERIFY(outcomeOf(Transfer::toFile(server.url(), target, onProgress, {})).value);
    QVERIFY(inTime);
}

void TestTransfer::rateUsesAtLeastAMillisecond()
{
    QCOMPARE(Transfer::rate(5000, 0s), 5000000.0);
    QCOMPARE(Transfer::rate(5000, 10us), 5000000.0);
    QCOMPARE(Transfer::rate(5000, 1ms), 5000000.0);
    QCOMPARE(Transfer::rate(5000, 2ms), 2500000.0);
    QCOMPARE(Transfer::rate(5000, 2s), 2500.0);
}

void TestTransfer::otherStatusesAreResults_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {201, 204, 206, 302, 304, 404, 500, 503}) {
        QTest::addRow("%d", status) << status;
    }
}

void TestTransfer::otherStatusesAreResults()
{
    QFETCH(const int, status);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.respond(status, {}, status == 204 || status == 304 ? "" : "an explanation");
    });
    const QString target = folder_.filePath(QString::number(status));
    bool reported = false;
    const auto onProgress = [&](qint64, qint64, double) { reported = true; };
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, onProgress, {}));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, status);
    QVERIFY(!reported);
    QVERIFY(!QFileInfo::exists(target));
    QVERIFY(fetch(server.url()).value->body.isEmpty());
}

void TestTransfer::statusDoesNotWaitForItsBody()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(500, {{"Content-Length", "1000"}}, "then nothing more");
        connection.waitUntilClosed();
    });
    const auto outcome = fetch(server.url());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, 500);
}

void TestTransfer::interimAnswersAreSkipped()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.write("HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n");
        connection.respond(200, {}, "final");
    });
    const auto outcome = fetch(server.url());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, 200);
    QCOMPARE(outcome.value->body, QByteArray("final"));
}

void TestTransfer::wrongAnswersFail_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("not HTTP") << QByteArray("hello\r\n\r\n");
    QTest::newRow("cut in the headers") << QByteArray("HTTP/1.1 200 OK\r\nServer: x\r\n");
    QTest::newRow("cut before the body")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
    QTest::newRow("cut in the body")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
    QTest::newRow("cut in a chunk")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10\r\nhalf");
    QTest::newRow("no last chunk")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nhalf\r\n");
    QTest::newRow("nonsense for a chunk")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nhalf\r\n");
}

void TestTransfer::wrongAnswersFail()
{
    QFETCH(const QByteArray, answer);
    const HttpServer server(
        [&](const HttpRequest &, HttpConnection &connection) { connection.write(answer); });
    const QString target = folder_.filePath(QStringLiteral("wrong"));
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, {}, {}));
    QVERIFY(outcome.transferError);
    QVERIFY(!outcome.text().isEmpty());
}

void TestTransfer::resetFails()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", "1000"}}, "half");
        connection.reset();
    });
    QVERIFY(fetch(server.url()).transferError);
}

void TestTransfer::refusedConnectionFails()
{
    QUrl url;
    {
        const HttpServer server([](const HttpRequest &, HttpConnection &) {});
        url = server.url();
    }
    const auto outcome = fetch(url);
    QVERIFY(outcome.transferError);
    // libcurl's own text, with the address in it.
    QVERIFY2(outcome.text().contains(QString::number(url.port())), qPrintable(outcome.text()));
}

void TestTransfer::unusableAddressesFail_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("empty") << QUrl();
    QTest::newRow("no host") << QUrl(QStringLiteral("http:///path"));
    QTest::newRow("file") << QUrl(QStringLiteral("file:///etc/hostname"));
    QTest::newRow("other scheme") << QUrl(QStringLiteral("ftp://127.0.0.1/x"));
}

void TestTransfer::unusableAddressesFail()
{
    QFETCH(const QUrl, url);
    const auto outcome = fetch(url);
    QVERIFY(outcome.transferError);
    QVERIFY(!outcome.text().isEmpty());
}

void TestTransfer::endlessHeadersFail()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        bool open = connection.write("HTTP/1.1 200 OK\r\n");
        while (open) {
            open = connection.write("X-More: " + QByteArray(1000, 'x') + "\r\n");
        }
    });
    QVERIFY(fetch(server.url()).transferError);
}

void TestTransfer::longerBodyEndsAtItsLength()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", "4"}}, "four and more");
    });
    const auto outcome = fetch(server.url());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, QByteArray("four"));
}

void TestTransfer::contentCodingIsRefused_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("refused");
    QTest::newRow("gzip") << QByteArray("Content-Encoding") << QByteArray("gzip") << true;
    QTest::newRow("upper case") << QByteArray("content-encoding") << QByteArray("GZIP") << true;
    QTest::newRow("two") << QByteArray("Content-Encoding") << QByteArray("identity, br") << true;
    QTest::newRow("identity") << QByteArray("Content-Encoding") << QByteArray("identity") << false;
    QTest::newRow("transfer") << QByteArray("Transfer-Encoding") << QByteArray("gzip") << true;
}

void TestTransfer::contentCodingIsRefused()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, value);
    QFETCH(const bool, refused);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{name, value}}, "body");
    });
    const QString target = folder_.filePath(QString::fromLatin1(QTest::currentDataTag()));
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, {}, {}));
    QCOMPARE(outcome.transferError.has_value(), refused);
    if (refused) {
        QVERIFY2(outcome.text().contains(QString::fromLatin1(value.toLower())),
                 qPrintable(outcome.text()));
        QVERIFY(!QFileInfo::exists(target));
    } else {
        QCOMPARE(contentOf(target), QByteArray("body"));
    }
}

void TestTransfer::silenceTimesOut_data()
{
    QTest::addColumn<QByteArray>("beginning");
    QTest::newRow("nothing at all") << QByteArray();
    QTest::newRow("in the headers") << QByteArray("HTTP/1.1 200 OK\r\nServer: x\r\n");
    QTest::newRow("before the body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
    QTest::newRow("in the body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
}

void TestTransfer::silenceTimesOut()
{
    QFETCH(const QByteArray, beginning);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.write(beginning);
        connection.waitUntilClosed();
    });
    const auto outcome = fetch(server.url(), 100, impatient);
    QVERIFY(outcome.transferError);
    QCOMPARE(outcome.text(),
             QStringLiteral("The connection timed out: nothing arrived for 0.2 seconds."));
}

void TestTransfer::dripIsNoTimeOut()
{
    constexpr int count = 15;
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", QByteArray::number(count)}}, {});
        for (int i = 0; i < count; ++i) {
            connection.write("x");
            connection.pause(100ms);
        }
    });
    // The whole takes longer than that, no gap comes near it.
    const auto outcome = fetch(server.url(), 100, {1s, {}});
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, QByteArray(count, 'x'));
}

void TestTransfer::memoryLimit()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", ""}}, QByteArray(1000, 'x'));
    });
    QCOMPARE(fetch(server.url(), 1000).value->body.size(), 1000);
    const auto over = fetch(server.url(), 999);
    QVERIFY(over.transferError);
    QCOMPARE(over.text(),
             QStringLiteral("The server's answer is larger than the expected 999 bytes."));
}

void TestTransfer::fileLimit_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isEndless");
    QTest::addColumn<bool>("isRefused");
    const QByteArray ok("HTTP/1.1 200 OK\r\n");
    const QByteArray body(1000, 'x');
    QTest::newRow("exactly") << ok + "Content-Length: 1000\r\n\r\n" + body << false << false;
    // Of these, no byte of a body comes.
    QTest::newRow("announced") << ok + "Content-Length: 1001\r\n\r\n" << false << true;
    QTest::newRow("announced much") << ok + "Content-Length: 9000000000000000000\r\n\r\n"
                                    << false << true;
    QTest::newRow("one more") << ok + "\r\n" + body + "x" << false << true;
    QTest::newRow("without end") << ok + "\r\n" << true << true;
    QTest::newRow("chunks without end") << ok + "Transfer-Encoding: chunked\r\n\r\n"
                                        << true << true;
}

void TestTransfer::fileLimit()
{
    QFETCH(const QByteArray, answer);
    QFETCH(const bool, isEndless);
    QFETCH(const bool, isRefused);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        const bool chunked = answer.contains("chunked");
        bool isOpen = connection.write(answer);
        while (isOpen && isEndless) {
            isOpen = connection.write(chunked ? "64\r\n" + QByteArray(100, 'x') + "\r\n"
                                              : QByteArray(100, 'x'));
        }
        if (answer.contains("Content-Length") && isRefused) {
            connection.waitUntilClosed();
        }
    });
    const QString target = folder_.filePath(QStringLiteral("limited"));
    QFile::remove(target);
    TransferOptions options;
    options.limit = 1000;
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, {}, {}, options));
    QCOMPARE(outcome.value.has_value(), !isRefused);
    if (!isRefused) {
        QCOMPARE(QFileInfo(target).size(), 1000);
        return;
    }
    QVERIFY(outcome.setupError);
    QCOMPARE(outcome.text(), QStringLiteral("The download from 127.0.0.1 is larger than the 1 KB "
                                            "that this app accepts, so it was stopped."));
    QVERIFY(QFileInfo(target).size() <= 1000);
}

void TestTransfer::moreThanTheDiskHasIsRefusedAtOnce()
{
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        // Four exabytes, of which none comes.
        connection.write("HTTP/1.1 200 OK\r\nContent-Length: 4000000000000000000\r\n\r\n");
        connection.waitUntilClosed();
    });
    const QString target = folder_.filePath(QStringLiteral("huge"));
    TransferOptions options;
    options.limit = std::numeric_limits<qint64>::max();
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, {}, {}, options));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.systemError->code, ENOSPC);
    QCOMPARE(outcome.text(), target + QStringLiteral(": No space left on device"));
    QVERIFY(!QFileInfo::exists(target));
}

void TestTransfer::withoutAThreadItFails()
{
    // A stack for which there is no room.
    pthread_attr_t before;
    QCOMPARE(::pthread_getattr_default_np(&before), 0);
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    QCOMPARE(::pthread_attr_setstacksize(&attributes, std::size_t{1} << 60), 0);
    QCOMPARE(::pthread_setattr_default_np(&attributes), 0);
    const auto outcome = fetch(QUrl(QStringLiteral("http://127.0.0.1:9/")));
    QCOMPARE(::pthread_setattr_default_np(&before), 0);
    ::pthread_attr_destroy(&attributes);
    ::pthread_attr_destroy(&before);
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.text(), QStringLiteral("The download could not be started: Resource "
                                            "temporarily unavailable"));
}

void TestTransfer::fullDiskNamesTheFile()
{
    const HttpServer server(
        [](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, pattern(1000000)); });
    const auto outcome =
        outcomeOf(Transfer::toFile(server.url(), QStringLiteral("/dev/full"), {}, {}));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.systemError->code, ENOSPC);
    QCOMPARE(outcome.text(), QStringLiteral("/dev/full: No space left on device"));
}

void TestTransfer::missingFolderNamesTheFile()
{
    const HttpServer server(
        [](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, "hello"); });
    const QString target = folder_.filePath(QStringLiteral("no/such/folder"));
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, {}, {}));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.text(), target + QStringLiteral(": No such file or directory"));
}

void TestTransfer::linkInTheFilesPlaceIsNotFollowed()
{
    const HttpServer server(
        [](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, "hello"); });
    const QString other = folder_.filePath(QStringLiteral("elsewhere"));
    const QString target = folder_.filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(other, target));
    QVERIFY(outcomeOf(Transfer::toFile(server.url(), target, {}, {})).systemError);
    QVERIFY(!QFileInfo::exists(other));
}

void TestTransfer::fileIsTheOneThatWasWritten_data()
{
    QTest::addColumn<bool>("isReplaced");
    QTest::newRow("as it was") << false;
    QTest::newRow("replaced on the way") << true;
}

void TestTransfer::fileIsTheOneThatWasWritten()
{
    QFETCH(const bool, isReplaced);
    const QString target = folder_.filePath(QStringLiteral("very"));
    std::binary_semaphore begun(0);
    std::binary_semaphore goOn(0);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", "10"}}, "first");
        goOn.acquire();
        connection.write("other");
    });
    const auto onProgress = [&](qint64 done, qint64, double) {
        if (done == 5) {
            begun.release();
        }
    };
    auto task = Transfer::toFile(server.url(), target, onProgress, {});
    begun.acquire();
    if (isReplaced) {
        QVERIFY(QFile::remove(target));
        QFile file(target);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("firstother");
    }
    goOn.release();
    const auto outcome = outcomeOf(std::move(task));
    if (isReplaced) {
        QVERIFY(outcome.systemError);
        QCOMPARE(outcome.systemError->code, ESTALE);
        return;
    }
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QVERIFY(QFile::remove(target));
    QCOMPARE(outcome.value->file->readAll(), QByteArray("firstother"));
}

void TestTransfer::manyAtOnce()
{
    constexpr int count = 12;
    std::counting_semaphore<count> arrived(0);
    std::counting_semaphore<count> go(0);
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        arrived.release();
        go.acquire();
        connection.respond(200, {}, request.target);
    });
    std::vector<QCoro::Task<TransferResult>> tasks;
    for (int i = 0; i < count; ++i) {
        tasks.push_back(Transfer::toMemory(server.url(QStringLiteral("/%1").arg(i)), 100, {}));
    }
    for (int i = 0; i < count; ++i) {
        arrived.acquire();
    }
    go.release(count);
    for (int i = 0; i < count; ++i) {
        const auto outcome = outcomeOf(std::move(tasks.at(static_cast<std::size_t>(i))));
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->body, '/' + QByteArray::number(i));
    }
}

QTEST_GUILESS_MAIN(TestTransfer)
#include "tst_transfer.moc"
