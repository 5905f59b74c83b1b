// Tests transfers that need one answer only.

#include "NetFixture.h"

#include <QFile>
#include <QFileInfo>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <limits>
#include <thread>

using namespace brindle;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

void ignore(int /*signal*/) {}

} // namespace

class TestTransfer : public NetFixture
{
    Q_OBJECT

private Q_SLOTS:
    void sendsAPlainGet()
    {
        HttpRequest seen;
        const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
            seen = request;
            connection.respond(200, {}, "hello");
        });
        const auto outcome = fetch(server.url(u"/a%20b?c=d#e"_s));
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->status, 200);
        QCOMPARE(outcome.value->host, u"127.0.0.1"_s);
        QCOMPARE(bodyOf(outcome), QByteArray("hello"));
        QCOMPARE(seen.method, QByteArray("GET"));
        QCOMPARE(seen.target, QByteArray("/a%20b?c=d"));
        QCOMPARE(seen.headers.value("accept-encoding"), QByteArray("identity"));
        QCOMPARE(seen.headers.value("user-agent"), QByteArray("Brindle"));
        QCOMPARE(server.requestCount(), 1);
    }

    void offersNoHttp2()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const QUrl url(u"https://127.0.0.1:%1/"_s.arg(server.serverPort()));
        auto task = Transfer::toFile(url, newFile(), {}, {});
        spinUntil([&] { return server.hasPendingConnections(); });
        QTcpSocket *const socket = server.nextPendingConnection();
        spinUntil([&] { return socket->bytesAvailable() > 100; });
        QVERIFY(!socket->readAll().contains("\x02h2"));
        socket->abort();
        QVERIFY(outcomeOf(std::move(task)).error);
    }

    void storesTheBody_data()
    {
        QTest::addColumn<qsizetype>("size");
        QTest::addColumn<bool>("withLength");
        for (const qsizetype size : {0, 1, 16384, 16385, 5000000}) {
            for (const bool withLength : {true, false}) {
                QTest::addRow("%lld %s", static_cast<long long>(size),
                              withLength ? "length" : "chunks")
                    << size << withLength;
            }
        }
    }
    void storesTheBody()
    {
        QFETCH(const qsizetype, size);
        QFETCH(const bool, withLength);
        const QByteArray content = pattern(size);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            if (withLength) {
                connection.respond(200, {}, content);
            } else {
                const QByteArray last = "0\r\n\r\n";
                const QByteArray chunk = QByteArray::number(size, 16) + "\r\n" + content + "\r\n";
                connection.respond(200, {{"Transfer-Encoding", "chunked"}},
                                   size == 0 ? last : chunk + last);
            }
        });
        const QString target = newPath();
        TransferOptions options;
        QByteArray seen;
        options.onBytes = [&](qint64 offset, std::string_view bytes) {
            QCOMPARE(offset, seen.size());
            seen += QByteArrayView(bytes);
        };
        const auto outcome = store(server.url(), target, options);
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->status, 200);
        QVERIFY(contentOf(target) == content);
        QVERIFY(bodyOf(outcome) == content);
        QVERIFY(seen == content);
    }

    void progressOnItsOwnThread_data()
    {
        QTest::addColumn<bool>("withLength");
        QTest::newRow("length") << true;
        QTest::newRow("no length") << false;
    }
    void progressOnItsOwnThread()
    {
        QFETCH(const bool, withLength);
        const QByteArray content = pattern(1'000'000);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            const QByteArray length = withLength ? "1000000" : "";
            connection.respond(200, {{"Content-Length", length}}, content);
        });
        std::vector<qint64> written;
        bool isRight = std::signal(SIGPIPE, ignore) != SIG_ERR;
        const auto main = std::this_thread::get_id();
        std::optional<std::thread::id> thread;
        const auto onProgress = [&](qint64 bytes, qint64 expected, double rate) {
            written.push_back(bytes);
            const auto here = std::this_thread::get_id();
            // Closing TLS to a server that has gone raises SIGPIPE, which ends a process. libcurl
            // itself would ignore the signal in the whole process.
            sigset_t blocked;
            struct sigaction action = {};
            isRight = isRight && (withLength ? expected == 1'000'000 : expected < 0) && rate > 0 &&
                      here != main && thread.value_or(here) == here &&
                      pthread_sigmask(SIG_BLOCK, nullptr, &blocked) == 0 &&
                      sigismember(&blocked, SIGPIPE) && sigaction(SIGPIPE, nullptr, &action) == 0 &&
                      action.sa_handler == ignore;
            thread = here;
        };
        QVERIFY(store(server.url(), newPath(), {}, onProgress).value);
        QVERIFY(isRight);
        QVERIFY(std::is_sorted(written.begin(), written.end()));
        QCOMPARE(written.back(), 1'000'000);
    }

    void rateCountsFromTheStart()
    {
        const StandIns::StoppedClock clock;
        std::binary_semaphore reported(0);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            clock.move(500us);
            connection.respond(200, {{"Content-Length", "1000"}}, "first");
            for (const auto time : {50ms, 900ms, 1700ms}) { // never a second without bytes
                reported.acquire();
                clock.move(time);
                connection.write(QByteArray(time < 1s ? 100 : 795, 'x'));
            }
        });
        std::vector<std::pair<qint64, double>> reports;
        const auto onProgress = [&](qint64 done, qint64, double rate) {
            reports.emplace_back(done, rate);
            reported.release();
        };
        QVERIFY(store(server.url(), newPath(), {}, onProgress).value);
        // The rate counts at least a millisecond.
        const std::vector<std::pair<qint64, double>> expected{
            {5, 5 / 0.001}, {105, 105 / 0.05}, {205, 205 / 0.9}, {1000, 1000 / 1.7}};
        QCOMPARE(reports, expected);
    }

    void atMostFiftyReportsASecond()
    {
        const StandIns::StoppedClock clock;
        const HttpServer server(answering(pattern(3'000'000)));
        int reports = 0;
        const auto onProgress = [&](qint64, qint64, double) { ++reports; };
        TransferOptions options;
        options.onBytes = [&](qint64, std::string_view) { clock.move(clock.time() + 1ms); };
        QVERIFY(store(server.url(), newPath(), options, onProgress).value);
        const auto passed = std::chrono::duration<double>(clock.time());
        QVERIFY(passed > 100ms);
        // The first and the last report always come.
        QVERIFY(reports > 2 && reports <= passed.count() * 50 + 2);
    }

    void otherStatusesAreResults_data()
    {
        QTest::addColumn<int>("status");
        for (const int status : {201, 204, 206, 302, 304, 404, 500, 503}) {
            QTest::addRow("%d", status) << status;
        }
    }
    void otherStatusesAreResults()
    {
        QFETCH(const int, status);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            connection.respond(status, {{"Content-Range", "bytes 0-13/14"}},
                               status == 204 || status == 304 ? "" : "an explanation");
        });
        const QString target = newPath();
        bool isReported = false;
        const auto onProgress = [&](qint64, qint64, double) { isReported = true; };
        const auto outcome = store(server.url(), target, {}, onProgress);
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->status, status);
        QVERIFY(!isReported);
        QCOMPARE(QFileInfo(target).size(), 0);
    }

    void oddAnswers_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<bool>("isTaken");
        const QByteArray ok("HTTP/1.1 200 OK\r\n");
        const QByteArray chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
        const auto taken = [](const char *name, const QByteArray &answer) {
            QTest::newRow(name) << answer << true;
        };
        taken("interim one", "HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n" + ok + "\r\nfour");
        taken("longer than announced", ok + "Content-Length: 4\r\n\r\nfour and more");
        taken("bare line feeds", "HTTP/1.1 200 OK\nServer: x\n\nfour");
        const auto wrong = [](const char *name, const QByteArray &answer) {
            QTest::newRow(name) << answer << false;
        };
        wrong("nothing", {});
        wrong("not HTTP", "hello\r\n\r\n");
        wrong("cut in the headers", ok + "Server: x\r\n");
        wrong("cut before the body", ok + "Content-Length: 10\r\n\r\n");
        wrong("cut in the body", ok + "Content-Length: 10\r\n\r\nhalf");
        wrong("cut in a chunk", chunked + "10\r\nhalf");
        wrong("no last chunk", chunked + "4\r\nhalf\r\n");
        wrong("nonsense for a chunk", chunked + "zz\r\nhalf\r\n");
        wrong("endless headers", ok + "X-More: x\r\n");
        wrong("reset", ok + "Content-Length: 1000\r\n\r\nhalf");
    }
    void oddAnswers()
    {
        QFETCH(const QByteArray, answer);
        QFETCH(const bool, isTaken);
        const QByteArray row = QTest::currentDataTag();
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            bool isOpen = connection.write(answer);
            while (isOpen && row == "endless headers") {
                isOpen = connection.write("X-More: " + QByteArray(1000, 'x') + "\r\n");
            }
            if (row == "reset") {
                connection.reset();
            }
        });
        const auto outcome = fetch(server.url());
        QCOMPARE(outcome.value.has_value(), isTaken);
        QCOMPARE(outcome.as<TransferError>() && !outcome.text().isEmpty(), !isTaken);
        if (isTaken) {
            QCOMPARE(bodyOf(outcome), QByteArray("four"));
        }
    }

    void unusableAddressesFail_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QString>("reason"); // in libcurl's words
        QTest::newRow("empty") << QUrl() << QString();
        QTest::newRow("no host") << QUrl(u"http:///path"_s) << QString();
        QTest::newRow("file") << QUrl(u"file:///etc/hostname"_s) << u"rotocol"_s;
        QTest::newRow("other scheme") << QUrl(u"ftp://127.0.0.1/x"_s) << u"rotocol"_s;
    }
    void unusableAddressesFail()
    {
        QFETCH(const QUrl, url);
        QFETCH(const QString, reason);
        const auto outcome = fetch(url);
        QVERIFY(outcome.as<TransferError>());
        QVERIFY2(!outcome.text().isEmpty() && outcome.text().contains(reason),
                 qPrintable(outcome.text()));
    }

    void silenceTimesOut_data()
    {
        QTest::addColumn<std::optional<QByteArray>>("beginning");
        using Beginning = std::optional<QByteArray>;
        QTest::newRow("nothing at all") << Beginning("");
        QTest::newRow("in the headers") << Beginning("HTTP/1.1 200 OK\r\nServer: x\r\n");
        QTest::newRow("in the body") << Beginning("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx");
        QTest::newRow("of a name look-up") << Beginning();
    }
    void silenceTimesOut()
    {
        QFETCH(const std::optional<QByteArray>, beginning);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            connection.write(*beginning);
            connection.waitUntilClosed();
        });
        const QUrl url = beginning ? server.url() : StandIns::silentUrl();
        QCOMPARE(TransferOptions().idleTimeout, 60s); // the players' value
        const auto outcome = fetch(url, {200ms, {}});
        QVERIFY(outcome.as<TransferError>());
        QCOMPARE(outcome.text(), u"The connection timed out: nothing arrived for 0.2 seconds."_s);
        if (!beginning) {
            StandIns::lookUps.acquire();
        }
    }

    void onlyTheServersSilenceTimesOut_data()
    {
        QTest::addColumn<QString>("slow");
        for (const char *slow : {"server", "disk", "proxy settings"}) {
            QTest::newRow(slow) << QString::fromLatin1(slow);
        }
    }
    /// Together the waits exceed the time-out; each alone does not.
    void onlyTheServersSilenceTimesOut()
    {
        QFETCH(const QString, slow);
        const StandIns::StoppedClock clock;
        const auto pass = [&](const QString &part, std::chrono::seconds time) {
            if (slow == part) {
                clock.move(clock.time() + time);
            }
        };
        std::counting_semaphore<> reported(0);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {{"Content-Length", "5"}}, {});
            for (int i = 0; i < 5; ++i) {
                pass(u"server"_s, 2s);
                connection.write("x");
                reported.acquire();
            }
        });
        StandIns::beforeWrite = [&] {
            pass(u"disk"_s, 4s);
            return 0;
        };
        StandIns::proxies = [&](const QUrl &) {
            pass(u"proxy settings"_s, 4s);
            return QList{QNetworkProxy(QNetworkProxy::NoProxy)};
        };
        TransferOptions options;
        options.idleTimeout = 3s;
        options.onBytes = [&](qint64, std::string_view) { reported.release(); };
        const QString target = path(slow + u".slow"_s);
        const auto outcome = store(server.url(), target, options);
        StandIns::beforeWrite = nullptr;
        StandIns::proxies = nullptr;
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(contentOf(target), QByteArray(5, 'x'));
    }

    void limit_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<bool>("isEndless");
        QTest::addColumn<bool>("isRefused");
        const QByteArray ok("HTTP/1.1 200 OK\r\n");
        const QByteArray body(1000, 'x');
        QTest::newRow("exactly") << ok + "Content-Length: 1000\r\n\r\n" + body << false << false;
        // These servers send no byte of a body.
        QTest::newRow("announced") << ok + "Content-Length: 1001\r\n\r\n" << false << true;
        QTest::newRow("announced much") << ok + "Content-Length: 9000000000000000000\r\n\r\n"
                                        << false << true;
        QTest::newRow("one more") << ok + "\r\n" + body + "x" << false << true;
        QTest::newRow("without end") << ok + "\r\n" << true << true;
        QTest::newRow("chunks without end") << ok + "Transfer-Encoding: chunked\r\n\r\n"
                                            << true << true;
    }
    void limit()
    {
        QFETCH(const QByteArray, answer);
        QFETCH(const bool, isEndless);
        QFETCH(const bool, isRefused);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            const QByteArray more(100, 'x');
            bool isOpen = connection.write(answer);
            while (isOpen && isEndless) {
                isOpen =
                    connection.write(answer.contains("chunked") ? "64\r\n" + more + "\r\n" : more);
            }
            if (answer.contains("Content-Length") && isRefused) {
                connection.waitUntilClosed();
            }
        });
        const QString target = newPath();
        TransferOptions options;
        QCOMPARE(options.limit, 8LL * 1024 * 1024 * 1024); // the players' value
        options.limit = 1000;
        const auto outcome = store(server.url(), target, options);
        QCOMPARE(outcome.value.has_value(), !isRefused);
        if (!isRefused) {
            QCOMPARE(QFileInfo(target).size(), 1000);
            return;
        }
        QVERIFY(outcome.as<SetupError>());
        QCOMPARE(outcome.text(), u"The download from 127.0.0.1 is larger than the 1 KB that this "
                                 "app accepts, so it was stopped."_s);
        QVERIFY(QFileInfo(target).size() <= 1000);
    }

    void someDisksDoNotKnowTheirRoom()
    {
        const HttpServer server(answering("hello"));
        // A download asks the disk of the shown path for its room, and /proc reports a size of 0.
        auto file = std::make_shared<OutputFile>(newPath(), u"/proc/file"_s);
        const auto outcome = outcomeOf(Transfer::toFile(server.url(), file, {}, {}));
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
    }

    void failedWritesNameTheFile_data()
    {
        QTest::addColumn<int>("error");
        for (const int error : {ENOSPC, EDQUOT, EIO}) {
            QTest::newRow(std::strerror(error)) << error;
        }
    }
    void failedWritesNameTheFile()
    {
        QFETCH(const int, error);
        const HttpServer server(answering("hello"));
        int calls = 0;
        StandIns::beforeWrite = [&] { return ++calls == 1 ? EINTR : error; };
        const QString target = newPath() + u".slow"_s;
        const auto outcome = store(server.url(), target);
        StandIns::beforeWrite = nullptr;
        QVERIFY(outcome.as<SystemError>());
        QCOMPARE(outcome.text(), target + u": "_s + qt_error_string(error));
        QCOMPARE(calls, 2);
    }
};

QTEST_GUILESS_MAIN(TestTransfer)
#include "tst_transfer.moc"
