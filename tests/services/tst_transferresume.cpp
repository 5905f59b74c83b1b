// Transfers whose connection breaks, and servers that want to be left alone for a while.

#include "http/HttpServer.h"
#include "net/Resumption.h"
#include "net/Transfer.h"

#include "Outcome.h"
#include "support/CutFile.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <semaphore>
#include <vector>

using namespace brindle;
using namespace std::chrono_literals;

namespace {

using Milliseconds = std::chrono::milliseconds;

QByteArray pattern(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>((i * 7 + (i >> 8) * 13 + (i >> 16) * 29) & 0xff);
    }
    return bytes;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("(no file)");
}

QByteArray httpDate(const QDateTime &time)
{
    return QLocale::c()
        .toString(time.toUTC(), QStringLiteral("ddd, dd MMM yyyy HH:mm:ss 'GMT'"))
        .toLatin1();
}

/// Options by which no wait takes time; what was waited for stands here.
class Waits
{
public:
    TransferOptions options()
    {
        TransferOptions options;
        options.waiting = [this](Milliseconds time) {
            const std::lock_guard guard(lock_);
            all_.push_back(time);
            return 0ms;
        };
        return options;
    }

    std::vector<Milliseconds> all() const
    {
        const std::lock_guard guard(lock_);
        return all_;
    }

private:
    mutable std::mutex lock_;
    std::vector<Milliseconds> all_;
};

HttpServer::Handler serving(CutFile &file)
{
    return [&file](const HttpRequest &request, HttpConnection &connection) {
        file.answer(request, connection);
    };
}

Outcome<TransferResult> fetch(const QUrl &url, const TransferOptions &options)
{
    return outcomeOf(Transfer::toMemory(url, 10'000'000, {}, options));
}

/// A port that nothing listens on.
quint16 closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

const std::vector allWaits{500ms, 1000ms, 2000ms, 4000ms, 8000ms};

} // namespace

class TestTransferResume : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void goesOnWhereItBroke_data();
    void goesOnWhereItBroke();
    void goesOnAfterAStall();
    void goesOnByTheTimeOfTheLastChange();
    void asksTheAddressAgain();
    void isNotContinued_data();
    void isNotContinued();
    void otherAnswersStartOver_data();
    void otherAnswersStartOver();
    void refusedRangeThenRefusedFileIsAResult();
    void givesUpAfterSixFruitlessAttempts_data();
    void givesUpAfterSixFruitlessAttempts();
    void aByteStartsTheCountAnew();
    void nextToNothingEachTimeIsGivenUp_data();
    void nextToNothingEachTimeIsGivenUp();
    void unreachableForAWhile();
    void theSameBytesAgainAreFruitless();
    void progressNeverJumpsBack_data();
    void progressNeverJumpsBack();
    void rateIsOfWhatArrivesNow();
    void silenceIsToldAsWell_data();
    void silenceIsToldAsWell();
    void limitCountsAllAttempts();
    void busyServerIsLeftAlone_data();
    void busyServerIsLeftAlone();
    void busyServerInTheMiddle();
    void cancelEndsAWait();
    void validators_data();
    void validators();
    void delays_data();
    void delays();

private:
    QTemporaryDir folder_;
};

void TestTransferResume::initTestCase()
{
    qunsetenv("http_proxy");
    qunsetenv("https_proxy");
    qunsetenv("all_proxy");
}

void TestTransferResume::goesOnWhereItBroke_data()
{
    QTest::addColumn<QList<qint64>>("cuts");
    QTest::addColumn<QByteArrayList>("ranges");
    QTest::newRow("once") << QList<qint64>{400'000} << QByteArrayList{"", "bytes=400000-"};
    QTest::newRow("at the first byte") << QList<qint64>{1} << QByteArrayList{"", "bytes=1-"};
    QTest::newRow("before the last byte")
        << QList<qint64>{999'999} << QByteArrayList{"", "bytes=999999-"};
    QTest::newRow("thrice") << QList<qint64>{10, 300'000, 5}
                            << QByteArrayList{"", "bytes=10-", "bytes=300010-", "bytes=300015-"};
    QTest::newRow("before any byte") << QList<qint64>{0, 7} << QByteArrayList{"", "", "bytes=7-"};
}

void TestTransferResume::goesOnWhereItBroke()
{
    QFETCH(const QList<qint64>, cuts);
    QFETCH(const QByteArrayList, ranges);
    const QByteArray content = pattern(1'000'000);
    for (const bool isReset : {false, true}) {
        CutFile file(content, cuts);
        if (isReset && cuts.size() == 1) {
            // Slowly enough that what was sent before has arrived.
            file.atTheCut = [](HttpConnection &connection) {
                connection.pause(200ms);
                connection.reset();
            };
        }
        const HttpServer server(serving(file));
        Waits waits;
        const QString target = folder_.filePath(QStringLiteral("target"));
        const auto outcome =
            outcomeOf(Transfer::toFile(server.url(), target, {}, {}, waits.options()));
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->status, 200);
        QVERIFY(contentOf(target) == content);
        QCOMPARE(file.ranges(), ranges);
        QCOMPARE(file.sent(), content.size());
        for (const HttpRequest &request : file.requests()) {
            const bool isRanged = request.headers.contains("range");
            QCOMPARE(request.headers.value("if-range"), isRanged ? file.version : QByteArray());
        }
        QCOMPARE(waits.all().size(), cuts.first() == 0 ? 1U : 0U);
    }
    CutFile file(content, cuts);
    const HttpServer server(serving(file));
    Waits waits;
    const auto outcome = fetch(server.url(), waits.options());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QVERIFY(outcome.value->body == content);
}

void TestTransferResume::goesOnAfterAStall()
{
    const QByteArray content = pattern(1000);
    CutFile file(content, {300});
    file.atTheCut = [](HttpConnection &connection) { connection.waitUntilClosed(); };
    const HttpServer server(serving(file));
    TransferOptions impatient;
    impatient.idleTimeout = 300ms;
    const auto outcome = fetch(server.url(), impatient);
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, content);
    QCOMPARE(file.ranges(), (QByteArrayList{"", "bytes=300-"}));
}

void TestTransferResume::goesOnByTheTimeOfTheLastChange()
{
    const QByteArray content = pattern(1000);
    CutFile file(content, {300});
    file.version = "Sun, 06 Nov 1994 08:49:37 GMT";
    file.headers = {{"Accept-Ranges", "bytes"},
                    {"Last-Modified", file.version},
                    {"Date", "Sun, 06 Nov 1994 08:49:38 GMT"}};
    const HttpServer server(serving(file));
    const auto outcome = fetch(server.url(), {});
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, content);
    QCOMPARE(file.requests().constLast().headers.value("if-range"), file.version);
}

void TestTransferResume::asksTheAddressAgain()
{
    const QByteArray content = pattern(1000);
    CutFile file(content, {300, 300});
    const HttpServer second([&](const HttpRequest &request, HttpConnection &connection) {
        // Each signature is good once.
        static int expected = 0;
        if (request.target != "/signed?" + QByteArray::number(expected++)) {
            connection.respond(403, {}, "expired");
            return;
        }
        file.answer(request, connection);
    });
    std::atomic<int> signature = 0;
    const HttpServer first([&](const HttpRequest &, HttpConnection &connection) {
        connection.redirect(302, second.url(QStringLiteral("/signed?%1").arg(signature++)));
    });
    const auto outcome = fetch(first.url(), {});
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, 200);
    QCOMPARE(outcome.value->body, content);
    QCOMPARE(file.ranges(), (QByteArrayList{"", "bytes=300-", "bytes=600-"}));
    QCOMPARE(first.requestCount(), 3);
}

void TestTransferResume::isNotContinued_data()
{
    QTest::addColumn<CutFile::Headers>("headers");
    QTest::newRow("no ranges") << CutFile::Headers{{"ETag", "\"one\""}};
    QTest::newRow("other ranges") << CutFile::Headers{{"Accept-Ranges", "none"},
                                                      {"ETag", "\"one\""}};
    QTest::newRow("nothing to know it by") << CutFile::Headers{{"Accept-Ranges", "bytes"}};
    QTest::newRow("weak") << CutFile::Headers{{"Accept-Ranges", "bytes"}, {"ETag", "W/\"one\""}};
}

void TestTransferResume::isNotContinued()
{
    QFETCH(const CutFile::Headers, headers);
    CutFile file(pattern(1000), {300});
    file.headers = headers;
    const HttpServer server(serving(file));
    QVERIFY(fetch(server.url(), {}).transferError);
    QCOMPARE(file.requests().size(), 1);
}

void TestTransferResume::otherAnswersStartOver_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isWhole");
    const QByteArray tail(700, 'x');
    const auto partial = [&](const QByteArray &headers) {
        return "HTTP/1.1 206 Partial Content\r\nContent-Length: 700\r\n" + headers + "\r\n" + tail;
    };
    const auto range = [&](const QByteArray &value) {
        return partial("Content-Range: " + value + "\r\n");
    };
    QTest::newRow("whole") << "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + pattern(1000)
                           << true;
    QTest::newRow("without a range") << partial({}) << false;
    QTest::newRow("from elsewhere") << range("bytes 301-999/1000") << false;
    QTest::newRow("from the start") << range("bytes 0-999/1000") << false;
    QTest::newRow("not to the end") << range("bytes 300-998/1000") << false;
    QTest::newRow("of another length") << range("bytes 300-1999/2000") << false;
    QTest::newRow("of unknown length") << range("bytes 300-999/*") << false;
    QTest::newRow("lines") << range("lines 300-999/1000") << false;
    QTest::newRow("nonsense") << range("bytes 300-") << false;
    QTest::newRow("416") << QByteArray("HTTP/1.1 416 Range Not Satisfiable\r\n"
                                       "Content-Range: bytes */1000\r\nContent-Length: 0\r\n\r\n")
                         << false;
    QTest::newRow("500") << QByteArray("HTTP/1.1 500 Oh\r\nContent-Length: 0\r\n\r\n") << false;
}

void TestTransferResume::otherAnswersStartOver()
{
    QFETCH(const QByteArray, answer);
    QFETCH(const bool, isWhole);
    const QByteArray content = pattern(1000);
    CutFile file(content, {300});
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        if (request.headers.contains("range")) {
            connection.write(answer);
        } else {
            file.answer(request, connection);
        }
    });
    Waits waits;
    const QString target = folder_.filePath(QStringLiteral("again"));
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, {}, {}, waits.options()));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, 200);
    QVERIFY(contentOf(target) == content);
    QCOMPARE(server.requestCount(), isWhole ? 2 : 3);
    QCOMPARE(waits.all().size(), isWhole ? 0U : 1U);
}

void TestTransferResume::refusedRangeThenRefusedFileIsAResult()
{
    CutFile file(pattern(1000), {300});
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        if (file.requests().isEmpty()) {
            file.answer(request, connection);
        } else {
            connection.respond(404, {}, "gone");
        }
    });
    Waits waits;
    const auto outcome = fetch(server.url(), waits.options());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, 404);
    QVERIFY(outcome.value->body.isEmpty());
    QCOMPARE(server.requestCount(), 3);
}

void TestTransferResume::givesUpAfterSixFruitlessAttempts_data()
{
    QTest::addColumn<qint64>("first");
    QTest::newRow("nothing ever") << qint64{0};
    QTest::newRow("after some bytes") << qint64{300};
}

void TestTransferResume::givesUpAfterSixFruitlessAttempts()
{
    QFETCH(const qint64, first);
    CutFile file(pattern(1000), {first, 0, 0, 0, 0, 0, 0, 0, 0});
    const HttpServer server(serving(file));
    Waits waits;
    const auto outcome = fetch(server.url(), waits.options());
    QVERIFY(outcome.transferError);
    // The network layer's own words.
    QVERIFY2(outcome.text().contains(QString::number(1000 - first)), qPrintable(outcome.text()));
    QCOMPARE(waits.all(), allWaits);
    QCOMPARE(file.requests().size(), first == 0 ? 6 : 7);
}

void TestTransferResume::aByteStartsTheCountAnew()
{
    const QByteArray content = pattern(1000);
    CutFile file(content, {300, 0, 0, 0, 0, 0, 1, 0, 0});
    const HttpServer server(serving(file));
    Waits waits;
    const auto outcome = fetch(server.url(), waits.options());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, content);
    std::vector<Milliseconds> expected = allWaits;
    expected.insert(expected.end(), {500ms, 1000ms});
    QCOMPARE(waits.all(), expected);
}

void TestTransferResume::nextToNothingEachTimeIsGivenUp_data()
{
    QTest::addColumn<QList<qint64>>("cuts");
    QTest::addColumn<int>("requests");
    QTest::addColumn<bool>("isWhole");
    QTest::newRow("a byte") << QList<qint64>(300, 1) << 100 << false;
    QList<qint64> rarely(300, 0);
    for (qsizetype i = 0; i < rarely.size(); i += 5) {
        rarely[i] = 1;
    }
    QTest::newRow("a byte, and then nothing") << rarely << 100 << false;
    QTest::newRow("after a good beginning")
        << QList<qint64>{500'000} + QList<qint64>(300, 1) << 101 << false;
    QTest::newRow("a kilobyte") << QList<qint64>(300, 1000) << 301 << true;
}

void TestTransferResume::nextToNothingEachTimeIsGivenUp()
{
    QFETCH(const QList<qint64>, cuts);
    QFETCH(const int, requests);
    QFETCH(const bool, isWhole);
    CutFile file(pattern(1'000'000), cuts);
    const HttpServer server(serving(file));
    Waits waits;
    const auto outcome = fetch(server.url(), waits.options());
    QCOMPARE(outcome.value.has_value(), isWhole);
    QCOMPARE(outcome.transferError.has_value(), !isWhole);
    QCOMPARE(file.requests().size(), requests);
}

void TestTransferResume::unreachableForAWhile()
{
    const QByteArray content = pattern(1000);
    CutFile file(content, {300});
    const HttpServer second(serving(file));
    QUrl nowhere = second.url();
    nowhere.setPort(closedPort());
    std::atomic<int> asked = 0;
    const HttpServer first([&](const HttpRequest &, HttpConnection &connection) {
        const int which = asked++;
        if (which == 1) {
            return; // closes
        }
        connection.redirect(302, which == 2 ? nowhere : second.url());
    });
    Waits waits;
    const auto outcome = fetch(first.url(), waits.options());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, content);
    QCOMPARE(waits.all(), (std::vector{500ms, 1000ms}));
}

void TestTransferResume::theSameBytesAgainAreFruitless()
{
    CutFile file(pattern(1000), QList<qint64>(20, 300));
    const HttpServer server([&](HttpRequest request, HttpConnection &connection) {
        request.headers.remove("range"); // says that it serves ranges, and does not
        file.answer(request, connection);
    });
    Waits waits;
    QVERIFY(fetch(server.url(), waits.options()).transferError);
    QCOMPARE(waits.all(), allWaits);
    QCOMPARE(file.requests().size(), 7);
}

void TestTransferResume::progressNeverJumpsBack_data()
{
    QTest::addColumn<bool>("servesRanges");
    QTest::newRow("goes on") << true;
    QTest::newRow("starts over") << false;
}

void TestTransferResume::progressNeverJumpsBack()
{
    QFETCH(const bool, servesRanges);
    const QByteArray content = pattern(2'000'000);
    CutFile file(content, {900'000, 0, 200'000, 1'500'000});
    const HttpServer server([&](HttpRequest request, HttpConnection &connection) {
        if (!servesRanges) {
            request.headers.remove("range");
        }
        file.answer(request, connection);
    });
    std::vector<qint64> told;
    bool isRight = true;
    const auto onProgress = [&](qint64 done, qint64 total, double rate) {
        told.push_back(done);
        isRight = isRight && total == 2'000'000 && rate >= 0;
    };
    Waits waits;
    const QString target = folder_.filePath(QStringLiteral("progress"));
    const auto outcome =
        outcomeOf(Transfer::toFile(server.url(), target, onProgress, {}, waits.options()));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QVERIFY(contentOf(target) == content);
    QVERIFY(isRight);
    QVERIFY(std::is_sorted(told.begin(), told.end()));
    QCOMPARE(told.back(), 2'000'000);
}

void TestTransferResume::rateIsOfWhatArrivesNow()
{
    using Clock = std::chrono::steady_clock;
    constexpr qint64 first = 900'000;
    CutFile file(pattern(1'000'000), {first, 0});
    std::atomic<Clock::time_point> answered;
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        answered = Clock::now();
        file.answer(request, connection);
    });
    TransferOptions options;
    options.waiting = [](Milliseconds) { return 1000ms; };
    bool isRight = true;
    const auto onProgress = [&](qint64 done, qint64, double rate) {
        if (done <= first) {
            return;
        }
        // It took no longer than since the server began, and a millisecond counts in any case.
        const std::chrono::duration<double> most = Clock::now() - answered.load();
        const auto bytes = static_cast<double>(done - first);
        isRight = isRight && rate >= bytes / std::max(most.count(), 0.001) && rate <= bytes / 0.001;
    };
    const QString target = folder_.filePath(QStringLiteral("rate"));
    const auto outcome = outcomeOf(Transfer::toFile(server.url(), target, onProgress, {}, options));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(file.requests().size(), 3);
    QVERIFY(isRight);
}

void TestTransferResume::silenceIsToldAsWell_data()
{
    QTest::addColumn<bool>("isBroken");
    QTest::newRow("of the server") << false;
    QTest::newRow("between attempts") << true;
}

void TestTransferResume::silenceIsToldAsWell()
{
    QFETCH(const bool, isBroken);
    CutFile file(pattern(1000), {300, 0});
    if (!isBroken) {
        file.atTheCut = [](HttpConnection &connection) { connection.waitUntilClosed(); };
    }
    const HttpServer server(serving(file));
    TransferOptions options;
    options.waiting = [](Milliseconds) { return Milliseconds(24h); };
    std::counting_semaphore<> silences(0);
    std::optional<double> last;
    bool isRight = true;
    const auto onProgress = [&](qint64 done, qint64 total, double rate) {
        if (last) {
            // It is slower and slower.
            isRight = isRight && done == 300 && total == 1000 && (rate < *last || rate == 0);
            silences.release();
        }
        last = rate;
    };
    std::stop_source stop;
    auto task = Transfer::toFile(server.url(), folder_.filePath(QStringLiteral("silence")),
                                 onProgress, stop.get_token(), options);
    bool isTold = true;
    for (int i = 0; i < 3; ++i) {
        isTold = isTold && silences.try_acquire_for(30s);
    }
    stop.request_stop();
    QVERIFY(outcomeOf(std::move(task)).cancelled());
    QVERIFY(isTold);
    QVERIFY(isRight);
}

void TestTransferResume::limitCountsAllAttempts()
{
    // Chunks, so that no length is known until an answer goes on.
    std::atomic<int> asked = 0;
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        if (asked++ == 0) {
            connection.write("HTTP/1.1 200 OK\r\nAccept-Ranges: bytes\r\nETag: \"x\"\r\n"
                             "Transfer-Encoding: chunked\r\n\r\n64\r\n" +
                             QByteArray(100, 'x') + "\r\n");
            return;
        }
        connection.write("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 100-199/200\r\n"
                         "Transfer-Encoding: chunked\r\n\r\n");
        while (connection.write("64\r\n" + QByteArray(100, 'x') + "\r\n")) {
        }
    });
    const auto outcome = outcomeOf(Transfer::toMemory(server.url(), 1000, {}));
    QVERIFY(outcome.transferError);
    QCOMPARE(outcome.text(),
             QStringLiteral("The server's answer is larger than the expected 1000 bytes."));
}

void TestTransferResume::busyServerIsLeftAlone_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("retryAfter");
    QTest::addColumn<int>("times");
    QTest::addColumn<int>("requests");
    QTest::addColumn<int>("end");
    QTest::addColumn<qint64>("wait"); // ms
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QTest::newRow("seconds") << 503 << QByteArray("7") << 1 << 2 << 200 << qint64{7000};
    QTest::newRow("429, twice") << 429 << QByteArray("60") << 2 << 3 << 200 << qint64{60'000};
    QTest::newRow("at once") << 429 << QByteArray("0") << 1 << 2 << 200 << qint64{0};
    QTest::newRow("date") << 503 << QByteArray("Sun, 06 Nov 1994 08:49:37 GMT") << 2 << 3 << 200
                          << qint64{17'000};
    QTest::newRow("past date") << 503 << QByteArray("Sun, 06 Nov 1994 08:00:00 GMT") << 1 << 2
                               << 200 << qint64{0};
    QTest::newRow("far date") << 503 << httpDate(now.addDays(1)) << 9 << 1 << 503 << qint64{0};
    QTest::newRow("thrice") << 503 << QByteArray("7") << 3 << 3 << 503 << qint64{7000};
    QTest::newRow("too long") << 503 << QByteArray("61") << 9 << 1 << 503 << qint64{0};
    QTest::newRow("negative") << 503 << QByteArray("-1") << 9 << 1 << 503 << qint64{0};
    QTest::newRow("does not say") << 429 << QByteArray() << 9 << 1 << 429 << qint64{0};
    QTest::newRow("nonsense") << 429 << QByteArray("soon") << 9 << 1 << 429 << qint64{0};
    QTest::newRow("another status") << 500 << QByteArray("7") << 9 << 1 << 500 << qint64{0};
}

void TestTransferResume::busyServerIsLeftAlone()
{
    QFETCH(const int, status);
    QFETCH(const QByteArray, retryAfter);
    QFETCH(const int, times);
    QFETCH(const int, requests);
    QFETCH(const int, end);
    QFETCH(const qint64, wait);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        if (server.requestCount() > times) {
            connection.respond(200, {}, "at last");
            return;
        }
        CutFile::Headers headers{{"Date", "Sun, 06 Nov 1994 08:49:20 GMT"}};
        if (!retryAfter.isEmpty()) {
            headers.append({"Retry-After", retryAfter});
        }
        connection.respond(status, headers, "busy");
    });
    Waits waits;
    const auto outcome = fetch(server.url(), waits.options());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->status, end);
    QCOMPARE(outcome.value->body, end == 200 ? QByteArray("at last") : QByteArray());
    QCOMPARE(server.requestCount(), requests);
    QCOMPARE(waits.all(),
             std::vector<Milliseconds>(static_cast<std::size_t>(requests - 1), Milliseconds(wait)));
}

void TestTransferResume::busyServerInTheMiddle()
{
    const QByteArray content = pattern(1000);
    CutFile file(content, {300, 300});
    std::atomic<int> asked = 0;
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        if (asked++ % 2 == 1) {
            connection.respond(503, {{"Retry-After", "7"}}, "busy");
        } else {
            file.answer(request, connection);
        }
    });
    Waits waits;
    const auto outcome = fetch(server.url(), waits.options());
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, content);
    QCOMPARE(file.ranges(), (QByteArrayList{"", "bytes=300-", "bytes=600-"}));
    QCOMPARE(waits.all(), (std::vector<Milliseconds>{7000ms, 7000ms}));
}

void TestTransferResume::cancelEndsAWait()
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
    // And the thread ends, with what it held.
    spinUntil([&] { return held.use_count() == 1; });
    QCOMPARE(server.requestCount(), 1);
}

void TestTransferResume::validators_data()
{
    QTest::addColumn<QByteArray>("tag");
    QTest::addColumn<QByteArray>("changed");
    QTest::addColumn<QByteArray>("validator");
    const QByteArray before("Sun, 06 Nov 1994 08:49:37 GMT");
    const QByteArray now("Sun, 06 Nov 1994 08:49:38 GMT");
    QTest::newRow("tag") << QByteArray("\"a\"") << QByteArray() << QByteArray("\"a\"");
    QTest::newRow("tag and time") << QByteArray("\"a\"") << before << QByteArray("\"a\"");
    QTest::newRow("time") << QByteArray() << before << before;
    QTest::newRow("time of now") << QByteArray() << now << QByteArray();
    QTest::newRow("no time") << QByteArray() << QByteArray("yesterday") << QByteArray();
    QTest::newRow("weak tag") << QByteArray("W/\"a\"") << before << QByteArray();
    QTest::newRow("no tag") << QByteArray("a") << before << QByteArray();
    QTest::newRow("half a tag") << QByteArray("\"") << before << QByteArray();
}

void TestTransferResume::validators()
{
    QFETCH(const QByteArray, tag);
    QFETCH(const QByteArray, changed);
    QFETCH(const QByteArray, validator);
    const QByteArray now("Sun, 06 Nov 1994 08:49:38 GMT");
    QCOMPARE(Resumption::validator({"bytes", tag, changed, now}), validator);
    QCOMPARE(Resumption::validator({" Bytes ", tag, changed, now}), validator);
    QCOMPARE(Resumption::validator({"none", tag, changed, now}), QByteArray());
    QCOMPARE(Resumption::validator({{}, tag, changed, now}), QByteArray());
}

void TestTransferResume::delays_data()
{
    QTest::addColumn<QByteArray>("date");
    QTest::addColumn<bool>("isSoon");
    const QDateTime soon = QDateTime::currentDateTimeUtc().addSecs(100);
    // Without a date of the answer's own, that of this machine counts.
    QTest::newRow("soon") << httpDate(soon) << true;
    QTest::newRow("late") << httpDate(soon.addDays(2)) << false;
}

void TestTransferResume::delays()
{
    QFETCH(const QByteArray, date);
    QFETCH(const bool, isSoon);
    const auto delay = Resumption::retryAfter(date, {});
    QVERIFY(delay);
    QCOMPARE(*delay <= 100s, isSoon);
    QVERIFY(*delay > 0s || !isSoon);
}

QTEST_GUILESS_MAIN(TestTransferResume)
#include "tst_transferresume.moc"
