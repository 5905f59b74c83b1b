// Tests answers that break off, and busy servers.

#include "NetFixture.h"
#include "net/HttpRules.h"
#include "support/CutFile.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <optional>

using namespace brindle;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

HttpServer::Handler serving(CutFile &file)
{
    return [&file](const HttpRequest &request, HttpConnection &connection) {
        file.answer(request, connection);
    };
}

HttpServer::Handler servingNoRanges(CutFile &file)
{
    return [&file](HttpRequest request, HttpConnection &connection) {
        request.headers.remove("range");
        file.answer(request, connection);
    };
}

const std::vector<std::chrono::milliseconds> allWaits{500ms, 1000ms, 2000ms, 4000ms, 8000ms};

} // namespace

class TestTransferResume : public NetFixture
{
    Q_OBJECT

private Q_SLOTS:
    void goesOnWhereItBroke_data()
    {
        QTest::addColumn<QList<qint64>>("cuts");
        QTest::addColumn<QByteArrayList>("ranges");
        const auto row = [](const char *name, const QList<qint64> &cuts,
                            const QByteArrayList &ranges) {
            QTest::newRow(name) << cuts << ranges;
        };
        row("once", {400'000}, {"", "bytes=400000-"});
        row("with a reset", {400'000}, {"", "bytes=400000-"});
        row("with a stall", {400'000}, {"", "bytes=400000-"});
        row("at the first byte", {1}, {"", "bytes=1-"});
        row("before the last byte", {999'999}, {"", "bytes=999999-"});
        row("thrice", {10, 300'000, 5}, {"", "bytes=10-", "bytes=300010-", "bytes=300015-"});
        row("before any byte", {0, 7}, {"", "", "bytes=7-"});
    }
    void goesOnWhereItBroke()
    {
        QFETCH(const QList<qint64>, cuts);
        QFETCH(const QByteArrayList, ranges);
        const QByteArray content = pattern(1'000'000);
        CutFile file(content, cuts);
        TransferOptions options = withoutWaits();
        std::counting_semaphore<> arrived(0);
        options.onBytes = [&](qint64 offset, std::string_view bytes) {
            if (offset + static_cast<qint64>(bytes.size()) == cuts.first()) {
                arrived.release();
            }
        };
        std::optional<StandIns::StoppedClock> clock;
        if (QByteArray(QTest::currentDataTag()) == "with a reset") {
            file.atTheCut = [&](HttpConnection &connection) {
                arrived.acquire();
                connection.reset();
            };
        } else if (QByteArray(QTest::currentDataTag()) == "with a stall") {
            clock.emplace();
            file.atTheCut = [&](HttpConnection &connection) {
                arrived.acquire();
                clock->move(2s);
                connection.waitUntilClosed();
            };
            options.idleTimeout = 1s;
        }
        const HttpServer server(serving(file));
        const auto outcome = fetch(server.url(), options);
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->status, 200);
        QVERIFY(bodyOf(outcome) == content);
        QCOMPARE(file.ranges(), ranges);
        QCOMPARE(file.sent(), content.size());
        for (const HttpRequest &request : file.requests()) {
            const bool isRanged = request.headers.contains("range");
            QCOMPARE(request.headers.value("if-range"), isRanged ? file.version : QByteArray());
        }
    }

    void asksTheAddressAgain()
    {
        const QByteArray content = pattern(1000);
        CutFile file(content, {300, 300});
        std::atomic<int> expected = 0;
        const HttpServer second([&](const HttpRequest &request, HttpConnection &connection) {
            // Each signature is valid once.
            if (request.target != "/signed?" + QByteArray::number(expected++)) {
                connection.respond(403, {}, "expired");
                return;
            }
            file.answer(request, connection);
        });
        std::atomic<int> signature = 0;
        const HttpServer first([&](const HttpRequest &, HttpConnection &connection) {
            connection.redirect(302, second.url(u"/signed?%1"_s.arg(signature++)));
        });
        const auto outcome = fetch(first.url(), withoutWaits());
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(bodyOf(outcome), content);
        QCOMPARE(file.ranges(), (QByteArrayList{"", "bytes=300-", "bytes=600-"}));
        QCOMPARE(first.requestCount(), 3);
    }

    void isNotContinuedWithoutAVersion()
    {
        CutFile file(pattern(1000), {300});
        file.headers = {{"Accept-Ranges", "bytes"}};
        const HttpServer server(serving(file));
        QVERIFY(fetch(server.url()).as<TransferError>());
        QCOMPARE(file.requests().size(), 1);
    }

    /// A server's possible answers to a request for the rest of a body.
    void answersToTheRest_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QByteArrayList>("again");
        const QByteArray rest = pattern(1000).mid(300);
        const QByteArray other(700, 'x');
        const QByteArray tag("ETag: \"one\"\r\n");
        const QByteArray right("Content-Range: bytes 300-999/1000\r\n");
        const auto row = [](const char *name, const QByteArray &answer,
                            const QByteArrayList &again) {
            QTest::newRow(name) << answer << again;
        };
        const auto partial = [](const QByteArray &headers, const QByteArray &body) {
            return "HTTP/1.1 206 Partial Content\r\nContent-Length: 700\r\n" + headers + "\r\n" +
                   body;
        };
        const auto range = [&](const QByteArray &value) {
            return partial(tag + "Content-Range: " + value + "\r\n", other);
        };
        const QByteArrayList whole{""};
        row("the rest", partial(tag + right, rest), {});
        row("whole", "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + pattern(1000), {});
        row("short chunks",
            "HTTP/1.1 206 Partial Content\r\nTransfer-Encoding: chunked\r\n" + tag + right +
                "\r\n64\r\n" + rest.first(100) + "\r\n0\r\n\r\n",
            {"bytes=400-"});
        row("another tag", partial("ETag: \"two\"\r\n" + right, other), whole);
        row("weak tag", partial("ETag: W/\"one\"\r\n" + right, other), whole);
        row("no tag", partial(right, other), whole);
        row("without a range", partial(tag, other), whole);
        row("from elsewhere", range("bytes 301-999/1000"), whole);
        row("from the start", range("bytes 0-999/1000"), whole);
        row("not to the end", range("bytes 300-998/1000"), whole);
        row("of another length", range("bytes 300-1999/2000"), whole);
        row("of unknown length", range("bytes 300-999/*"), whole);
        row("lines", range("lines 300-999/1000"), whole);
        row("nonsense", range("bytes 300-"), whole);
        row("416",
            "HTTP/1.1 416 Range Not Satisfiable\r\nContent-Range: bytes */1000\r\n"
            "Content-Length: 0\r\n\r\n",
            whole);
        row("500", "HTTP/1.1 500 Oh\r\nContent-Length: 0\r\n\r\n", whole);
        row("redirect with a body and no length",
            "HTTP/1.1 302 Found\r\nLocation: /file\r\nContent-Length: 0\r\n"
            "Transfer-Encoding: chunked\r\n\r\n4\r\nevil\r\n0\r\n\r\n",
            {"bytes=300-"});
    }
    void answersToTheRest()
    {
        QFETCH(const QByteArray, answer);
        QFETCH(const QByteArrayList, again);
        const QByteArray content = pattern(1000);
        CutFile file(content, {300});
        QByteArray version;
        const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
            if (server.requestCount() == 2) {
                version = request.headers.value("if-range");
                connection.write(answer);
            } else {
                file.answer(request, connection);
            }
        });
        const auto outcome = fetch(server.url(), withoutWaits());
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->status, 200);
        QVERIFY(bodyOf(outcome) == content);
        QCOMPARE(version, file.version);
        QCOMPARE(file.ranges(), QByteArrayList{""} + again);
    }

    /// An attempt is fruitless if it brings less than 1 KiB.
    void givesUpAfterFruitlessAttempts_data()
    {
        QTest::addColumn<QList<qint64>>("cuts");
        QTest::addColumn<bool>("servesRanges");
        QTest::addColumn<int>("requests");
        QTest::addColumn<bool>("isWhole");
        using Cuts = QList<qint64>;
        const Cuts five(5, 0);
        QTest::newRow("nothing ever") << Cuts(9, 0) << true << 6 << false;
        QTest::newRow("after some bytes") << Cuts{3000} + Cuts(9, 0) << true << 7 << false;
        QTest::newRow("the same bytes again") << Cuts(9, 3000) << false << 7 << false;
        QTest::newRow("next to nothing") << Cuts(9, 1023) << true << 6 << false;
        QTest::newRow("a kilobyte each time") << Cuts(8, 1024) << true << 9 << true;
        QTest::newRow("a kilobyte in between") << five + Cuts{1024} + five << true << 12 << true;
    }
    void givesUpAfterFruitlessAttempts()
    {
        QFETCH(const QList<qint64>, cuts);
        QFETCH(const bool, servesRanges);
        QFETCH(const int, requests);
        QFETCH(const bool, isWhole);
        const QByteArray content = pattern(10'000);
        CutFile file(content, cuts);
        const HttpServer server(servesRanges ? serving(file) : servingNoRanges(file));
        const auto outcome = fetch(server.url(), withoutWaits());
        QCOMPARE(file.requests().size(), requests);
        QCOMPARE(outcome.value.has_value(), isWhole);
        if (isWhole) {
            QCOMPARE(bodyOf(outcome), content);
            return;
        }
        QVERIFY(outcome.as<TransferError>());
        // The text of libcurl 7.88, or of later versions.
        static const QRegularExpression rest(u"bytes (remaining|missing)"_s);
        QVERIFY2(outcome.text().contains(rest), qPrintable(outcome.text()));
        QCOMPARE(waits(), allWaits);
    }

    void progressNeverJumpsBack_data()
    {
        QTest::addColumn<bool>("servesRanges");
        QTest::newRow("goes on") << true;
        QTest::newRow("starts over") << false;
    }
    void progressNeverJumpsBack()
    {
        QFETCH(const bool, servesRanges);
        const QByteArray content = pattern(2'000'000);
        CutFile file(content, {900'000, 0, 200'000, 1'500'000});
        const HttpServer server(servesRanges ? serving(file) : servingNoRanges(file));
        std::vector<qint64> reports;
        bool isRight = true;
        const auto onProgress = [&](qint64 done, qint64 total, double rate) {
            reports.push_back(done);
            isRight = isRight && total == 2'000'000 && rate >= 0;
        };
        const QString target = newPath();
        const auto outcome = store(server.url(), target, withoutWaits(), onProgress);
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QVERIFY(contentOf(target) == content);
        QVERIFY(isRight);
        QVERIFY(std::is_sorted(reports.begin(), reports.end()));
        QCOMPARE(reports.back(), 2'000'000);
    }

    void aShorterVersionIsNoMoreThanWhole()
    {
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            const QByteArray length = server.requestCount() == 1 ? "1000" : "500";
            connection.respond(
                200, {{"Accept-Ranges", "bytes"}, {"ETag", "\"x\""}, {"Content-Length", length}},
                pattern(server.requestCount() == 1 ? 900 : 500));
        });
        std::vector<std::pair<qint64, qint64>> reports;
        const auto onProgress = [&](qint64 done, qint64 total, double) {
            reports.emplace_back(done, total);
        };
        const QString target = newPath();
        QVERIFY(store(server.url(), target, withoutWaits(), onProgress).value);
        QCOMPARE(contentOf(target), pattern(500));
        QCOMPARE(reports.front(), (std::pair<qint64, qint64>(900, 1000)));
        QCOMPARE(reports.back(), (std::pair<qint64, qint64>(500, 500)));
    }

    void silenceIsReportedAsWell_data()
    {
        QTest::addColumn<bool>("isBroken");
        QTest::newRow("of the server") << false;
        QTest::newRow("between attempts") << true;
    }
    void silenceIsReportedAsWell()
    {
        QFETCH(const bool, isBroken);
        CutFile file(pattern(1000), {300, 0});
        if (!isBroken) {
            file.atTheCut = [](HttpConnection &connection) { connection.waitUntilClosed(); };
        }
        const HttpServer server(serving(file));
        TransferOptions options;
        options.waiting = [](Milliseconds) { return Milliseconds(24h); };
        struct Seen
        {
            std::counting_semaphore<> silences{0};
            std::optional<double> last = {};
            std::atomic<bool> isRight = true;
        };
        const auto seen = std::make_shared<Seen>(); // a cancelled transfer may still report
        const auto onProgress = [seen](qint64 done, qint64 total, double rate) {
            if (seen->last) {
                seen->isRight =
                    seen->isRight && done == 300 && total == 1000 && rate <= *seen->last;
                seen->silences.release();
            }
            seen->last = rate;
        };
        std::stop_source stop;
        auto task =
            Transfer::toFile(server.url(), newFile(), onProgress, stop.get_token(), options);
        const bool isReported = seen->silences.try_acquire_for(30s);
        stop.request_stop();
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        QVERIFY(isReported);
        QVERIFY(seen->isRight);
    }

    void busyServerIsLeftAlone_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("retryAfter");
        QTest::addColumn<int>("times");
        QTest::addColumn<std::vector<Milliseconds>>("expected");
        QTest::addColumn<int>("end");
        const auto row = [](const char *name, int status, const QByteArray &retryAfter, int times,
                            const std::vector<Milliseconds> &expected, int end) {
            QTest::newRow(name) << status << retryAfter << times << expected << end;
        };
        row("seconds", 503, "7", 1, {7s}, 200);
        row("429, twice", 429, "60", 2, {60s, 60s}, 200);
        row("at once", 429, "0", 1, {0s}, 200);
        row("past date", 503, "Sun, 06 Nov 1994 08:49:37 GMT", 1, {0s}, 200);
        row("far date", 503, "Fri, 01 Jan 2100 00:00:00 GMT", 9, {}, 503);
        row("thrice", 503, "7", 3, {7s, 7s}, 503);
        row("too long", 503, "61", 9, {}, 503);
        row("does not say", 429, {}, 9, {}, 429);
        row("nonsense", 429, "soon", 9, {0s, 0s}, 429);
        row("another status", 500, "7", 9, {}, 500);
    }
    void busyServerIsLeftAlone()
    {
        QFETCH(const int, status);
        QFETCH(const QByteArray, retryAfter);
        QFETCH(const int, times);
        QFETCH(const std::vector<Milliseconds>, expected);
        QFETCH(const int, end);
        const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
            if (server.requestCount() > times) {
                connection.respond(200, {}, "at last");
                return;
            }
            CutFile::Headers headers;
            if (!retryAfter.isEmpty()) {
                headers.append({"Retry-After", retryAfter});
            }
            connection.respond(status, headers, "busy");
        });
        const auto outcome = fetch(server.url(), withoutWaits());
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(outcome.value->status, end);
        QCOMPARE(bodyOf(outcome), end == 200 ? QByteArray("at last") : QByteArray());
        QCOMPARE(waits(), expected);
        QCOMPARE(server.requestCount(), static_cast<int>(expected.size()) + 1);
    }

    void validators_data()
    {
        QTest::addColumn<QByteArray>("tag");
        QTest::addColumn<QByteArray>("validator");
        const QByteArray tag("\"a\"");
        QTest::newRow("tag") << tag << tag;
        QTest::newRow("weak tag") << "W/" + tag << QByteArray();
        QTest::newRow("no tag") << QByteArray("a") << QByteArray();
        QTest::newRow("half a tag") << QByteArray("\"") << QByteArray();
    }
    void validators()
    {
        QFETCH(const QByteArray, tag);
        QFETCH(const QByteArray, validator);
        QCOMPARE(HttpRules::validator("bytes", tag), validator);
        QCOMPARE(HttpRules::validator("Bytes", tag), validator);
        QCOMPARE(HttpRules::validator("none", tag), QByteArray());
        QCOMPARE(HttpRules::validator({}, tag), QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestTransferResume)
#include "tst_transferresume.moc"
