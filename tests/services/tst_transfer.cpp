// Tests transfers of one answer.

#include "NetFixture.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <limits>
#include <thread>

using namespace brindle;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

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
        QCOMPARE(outcome.value->body, QByteArray("hello"));
        QCOMPARE(seen.method, QByteArray("GET"));
        QCOMPARE(seen.target, QByteArray("/a%20b?c=d"));
        QCOMPARE(seen.headers.value("accept-encoding"), QByteArray("identity"));
        QCOMPARE(server.requestCount(), 1);
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
        const QString source = newPath();
        QFile file(source);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
        file.close();
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            connection.respondWithFile(source, withLength);
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
        QVERIFY(outcome.value->body.isEmpty());
        QVERIFY(contentOf(target) == content);
        QVERIFY(outcome.value->file->readAll() == content);
        QVERIFY(seen == content);
        const auto rights = QFileInfo(target).permissions() & ~(QFile::ReadUser | QFile::WriteUser);
        QCOMPARE(rights, QFile::ReadOwner | QFile::WriteOwner);
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
        bool isRight = true;
        const auto main = std::this_thread::get_id();
        std::optional<std::thread::id> thread;
        const auto onProgress = [&](qint64 bytes, qint64 expected, double rate) {
            written.push_back(bytes);
            const auto here = std::this_thread::get_id();
            // By SIGPIPE a server that leaves during the end of TLS would end the process.
            sigset_t blocked;
            isRight = isRight && (withLength ? expected == 1'000'000 : expected < 0) && rate > 0 &&
                      here != main && thread.value_or(here) == here &&
                      pthread_sigmask(SIG_BLOCK, nullptr, &blocked) == 0 &&
                      sigismember(&blocked, SIGPIPE);
            thread = here;
        };
        QVERIFY(store(server.url(), newPath(), {}, onProgress).value);
        QVERIFY(isRight);
        QVERIFY(std::is_sorted(written.begin(), written.end()));
        QCOMPARE(written.back(), 1'000'000);
    }

    void slowBytesAreNotHeldBack()
    {
        // The server sends a byte, and the next only after the report of the one before.
        constexpr int count = 5;
        std::counting_semaphore<> reported(0);
        std::atomic<bool> isInTime = true;
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {{"Content-Length", QByteArray::number(count)}}, {});
            for (int i = 0; i < count; ++i) {
                connection.write("x");
                isInTime = isInTime && reported.try_acquire_for(10s);
            }
        });
        const auto onProgress = [&](qint64, qint64, double) { reported.release(); };
        QVERIFY(store(server.url(), newPath(), {}, onProgress).value);
        QVERIFY(isInTime);
    }

    void rateCountsFromTheStart()
    {
        const StandIns::StoppedClock clock;
        std::binary_semaphore reported(0);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            clock.move(500us);
            connection.respond(200, {{"Content-Length", "1000"}}, "first");
            for (const auto time : {50ms, 2000ms, 4000ms}) {
                reported.acquire();
                clock.move(time);
                connection.write(QByteArray(time < 4s ? 100 : 795, 'x'));
            }
        });
        std::vector<std::pair<qint64, double>> reports;
        const auto onProgress = [&](qint64 done, qint64, double rate) {
            reports.emplace_back(done, rate);
            reported.release();
        };
        QVERIFY(store(server.url(), newPath(), {}, onProgress).value);
        // Within the first millisecond a millisecond counts.
        const std::vector<std::pair<qint64, double>> expected{
            {5, 5 / 0.001}, {105, 105 / 0.05}, {205, 205 / 2.0}, {1000, 1000 / 4.0}};
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
        // The first report and the last come in any case.
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
        QVERIFY(!QFileInfo::exists(target));
        QVERIFY(fetch(server.url()).value->body.isEmpty());
    }

    void oddAnswersAreTaken_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("interim one") << QByteArray("HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n"
                                                   "HTTP/1.1 200 OK\r\n\r\nfour");
        QTest::newRow("longer than announced")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nfour and more");
        QTest::newRow("bare line feeds") << QByteArray("HTTP/1.1 200 OK\nServer: x\n\nfour");
    }
    void oddAnswersAreTaken()
    {
        QFETCH(const QByteArray, answer);
        const HttpServer server(sending(answer));
        const auto outcome = fetch(server.url());
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->status, 200);
        QCOMPARE(outcome.value->body, QByteArray("four"));
    }

    void wrongAnswersFail_data()
    {
        QTest::addColumn<QByteArray>("answer");
        const QByteArray ok("HTTP/1.1 200 OK\r\n");
        const QByteArray chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("not HTTP") << QByteArray("hello\r\n\r\n");
        QTest::newRow("cut in the headers") << ok + "Server: x\r\n";
        QTest::newRow("cut before the body") << ok + "Content-Length: 10\r\n\r\n";
        QTest::newRow("cut in the body") << ok + "Content-Length: 10\r\n\r\nhalf";
        QTest::newRow("cut in a chunk") << chunked + "10\r\nhalf";
        QTest::newRow("no last chunk") << chunked + "4\r\nhalf\r\n";
        QTest::newRow("nonsense for a chunk") << chunked + "zz\r\nhalf\r\n";
        QTest::newRow("endless headers") << ok + "X-More: x\r\n";
        QTest::newRow("reset") << ok + "Content-Length: 1000\r\n\r\nhalf";
    }
    void wrongAnswersFail()
    {
        QFETCH(const QByteArray, answer);
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
        const auto outcome = store(server.url(), newPath());
        QVERIFY(outcome.transferError);
        QVERIFY(!outcome.text().isEmpty());
    }

    void unusableAddressesFail_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::newRow("empty") << QUrl();
        QTest::newRow("no host") << QUrl(u"http:///path"_s);
        QTest::newRow("file") << QUrl(u"file:///etc/hostname"_s);
        QTest::newRow("other scheme") << QUrl(u"ftp://127.0.0.1/x"_s);
    }
    void unusableAddressesFail()
    {
        QFETCH(const QUrl, url);
        const auto outcome = fetch(url);
        QVERIFY(outcome.transferError);
        QVERIFY(!outcome.text().isEmpty());
    }

    void codingsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<bool>("isRefused");
        const QByteArray content("Content-Encoding");
        QTest::newRow("gzip") << content << QByteArray("gzip") << true;
        QTest::newRow("upper case") << QByteArray("content-encoding") << QByteArray("GZIP") << true;
        QTest::newRow("two") << content << QByteArray("identity, br") << true;
        QTest::newRow("transfer") << QByteArray("Transfer-Encoding") << QByteArray("gzip") << true;
        QTest::newRow("identity") << content << QByteArray("identity") << false;
    }
    void codingsAreRefused()
    {
        QFETCH(const QByteArray, name);
        QFETCH(const QByteArray, value);
        QFETCH(const bool, isRefused);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {{name, value}}, "body");
        });
        const QString target = newPath();
        const auto outcome = store(server.url(), target);
        QCOMPARE(outcome.transferError.has_value(), isRefused);
        if (isRefused) {
            QCOMPARE(outcome.text(), u"The server sent the file in an encoding (%1) that it was "
                                     "not asked for."_s.arg(QString::fromLatin1(value.toLower())));
            QVERIFY(!QFileInfo::exists(target));
        } else {
            QCOMPARE(contentOf(target), QByteArray("body"));
        }
    }

    void silenceTimesOut_data()
    {
        QTest::addColumn<QByteArray>("beginning");
        QTest::newRow("nothing at all") << QByteArray();
        QTest::newRow("in the headers") << QByteArray("HTTP/1.1 200 OK\r\nServer: x\r\n");
        QTest::newRow("in the body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx");
    }
    void silenceTimesOut()
    {
        QFETCH(const QByteArray, beginning);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            connection.write(beginning);
            connection.waitUntilClosed();
        });
        const auto outcome = fetch(server.url(), {200ms, {}});
        QVERIFY(outcome.transferError);
        QCOMPARE(outcome.text(), u"The connection timed out: nothing arrived for 0.2 seconds."_s);
    }

    void onlyTheServersSilenceTimesOut_data()
    {
        QTest::addColumn<QString>("what");
        QTest::newRow("drip") << u"drip"_s;
        QTest::newRow("slow disk") << u"disk"_s;
        QTest::newRow("slow proxy settings") << u"proxy"_s;
    }
    void onlyTheServersSilenceTimesOut()
    {
        QFETCH(const QString, what);
        constexpr int count = 15;
        std::counting_semaphore<> arrived(0);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {{"Content-Length", QByteArray::number(count)}}, {});
            for (int i = 0; i < count; ++i) {
                connection.write("x");
                if (what == u"drip") {
                    connection.pause(100ms);
                } else if (what == u"disk" && i < 2) {
                    arrived.acquire();
                }
            }
        });
        int writes = 0;
        StandIns::beforeWrite = [&] {
            if (what == u"disk" && ++writes == 2) {
                std::this_thread::sleep_for(1500ms);
            }
            return 0;
        };
        StandIns::proxies = [&](const QUrl &) {
            std::this_thread::sleep_for(what == u"proxy" ? 1500ms : 0ms);
            return QList{QNetworkProxy(QNetworkProxy::NoProxy)};
        };
        const auto onProgress = [&](qint64, qint64, double) { arrived.release(); };
        const QString target = path(what + u".slow"_s);
        const auto outcome = store(server.url(), target, {1s, {}}, onProgress);
        StandIns::beforeWrite = nullptr;
        StandIns::proxies = nullptr;
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(contentOf(target), QByteArray(count, 'x'));
    }

    void limit_data()
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
        options.limit = 1000;
        const auto toFile = store(server.url(), target, options);
        const auto toMemory = fetch(server.url(), {}, 1000);
        QCOMPARE(toFile.value.has_value(), !isRefused);
        QCOMPARE(toMemory.value.has_value(), !isRefused);
        if (!isRefused) {
            QCOMPARE(QFileInfo(target).size(), 1000);
            QCOMPARE(toMemory.value->body.size(), 1000);
            return;
        }
        QVERIFY(toFile.setupError);
        QCOMPARE(toFile.text(), u"The download from 127.0.0.1 is larger than the 1 KB that this "
                                "app accepts, so it was stopped."_s);
        QVERIFY(QFileInfo(target).size() <= 1000);
        QVERIFY(toMemory.transferError);
        QCOMPARE(toMemory.text(), u"The server's answer is larger than the expected 1000 bytes."_s);
    }

    void moreThanTheDiskHasIsRefusedAtOnce()
    {
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            // Four exabytes, of which none comes.
            connection.write("HTTP/1.1 200 OK\r\nContent-Length: 4000000000000000000\r\n\r\n");
            connection.waitUntilClosed();
        });
        const QString target = newPath();
        TransferOptions options;
        options.limit = std::numeric_limits<qint64>::max();
        const auto outcome = store(server.url(), target, options);
        QVERIFY(outcome.systemError);
        QCOMPARE(outcome.systemError->code, ENOSPC);
        QCOMPARE(outcome.text(), target + u": No space left on device"_s);
        QVERIFY(!QFileInfo::exists(target));
    }

    void nothingIsReservedAheadOfWhatArrives()
    {
        const QString target = newPath();
        std::optional<blkcnt_t> blocks;
        std::stop_source stop;
        const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {{"Content-Length", "100000000"}}, "PK");
            connection.waitUntilClosed();
        });
        const auto onProgress = [&](qint64, qint64, double) {
            struct stat status = {};
            if (::stat(QFile::encodeName(target).constData(), &status) == 0) {
                blocks = status.st_blocks;
            }
            stop.request_stop();
        };
        auto task = Transfer::toFile(server.url(), target, onProgress, stop.get_token());
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        QVERIFY(blocks);
        QVERIFY2(*blocks <= 128, qPrintable(QString::number(*blocks)));
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
        QVERIFY(outcome.systemError);
        QCOMPARE(outcome.systemError->code, error);
        QCOMPARE(outcome.systemError->path, target);
        QCOMPARE(outcome.text(), target + u": "_s + qt_error_string(error));
        QCOMPARE(calls, 2);
    }

    void linkInTheFilesPlaceIsNotFollowed()
    {
        const HttpServer server(answering("hello"));
        const QString other = newPath();
        const QString target = newPath();
        QVERIFY(QFile::link(other, target));
        QVERIFY(store(server.url(), target).systemError);
        QVERIFY(!QFileInfo::exists(other));
    }

    void fileIsTheOneThatWasWritten()
    {
        const QString target = newPath();
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
        QVERIFY(QFile::remove(target));
        QFile another(target);
        QVERIFY(another.open(QIODevice::WriteOnly) && another.write("evil") == 4);
        goOn.release();
        QCOMPARE(outcomeOf(std::move(task)).value->file->readAll(), QByteArray("firstother"));
    }
};

QTEST_GUILESS_MAIN(TestTransfer)
#include "tst_transfer.moc"
