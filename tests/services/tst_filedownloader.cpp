#include "http/HttpServer.h"
#include "net/FileDownloader.h"

#include "Outcome.h"
#include "TestCertificate.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <semaphore>
#include <stop_token>
#include <thread>
#include <vector>

using namespace brindle;

namespace {

/// As long as it lives, no file of this process grows beyond that.
class SmallFilesOnly
{
public:
    explicit SmallFilesOnly(rlim_t bytes)
    {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SmallFilesOnly() { ::setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_{};
};

void sendNew(const HttpRequest &, HttpConnection &connection)
{
    connection.respond(200, {}, "new");
}

} // namespace

class TestFileDownloader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void replacesWhatIsThere_data();
    void replacesWhatIsThere();
    void noneSeesAHalfOfIt();
    void otherStatusesAreErrors_data();
    void otherStatusesAreErrors();
    void statusNamesTheHostThatAnswered();
    void failureLeavesTheDestination_data();
    void failureLeavesTheDestination();
    void fullDiskNamesTheDestination();
    void missingFolderNamesTheDestination();
    void unwritableDestination();
    void renamesThatFailForGood();
    void progressHasANegativeTotalWithoutLength();
    void progressWithLength();
    void rateCountsFromTheStart();
    void progressOverTls();
    void atMostSixtyReportsASecond();
    void stopsAtTheLimit();
    void renameThatFailsForGood();
    void folderThatGoesAway();
    void cancelDuringTheTransfer();
    void cancelBeforeTheAnswer_data();
    void cancelBeforeTheAnswer();
    void stopAfterTheEnd();
    void cancelBetweenStoringAndStarting();
    void cancelOfACompletedOne();
    void cancelOfNone();
    void servesOneAfterAnother();
    void instancesAreIndependent();
    void objectMayGo();

private:
    QString destination() const { return folder_->filePath(QStringLiteral("file.zip")); }
    QByteArray content() const;
    QStringList names() const;
    void putOldFile() const;

    std::unique_ptr<QTemporaryDir> folder_;
};

void TestFileDownloader::initTestCase()
{
    qunsetenv("http_proxy");
    qunsetenv("https_proxy");
    qunsetenv("all_proxy");
}

void TestFileDownloader::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    QVERIFY(folder_->isValid());
}

QByteArray TestFileDownloader::content() const
{
    QFile file(destination());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("(no file)");
}

QStringList TestFileDownloader::names() const
{
    return QDir(folder_->path())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

void TestFileDownloader::putOldFile() const
{
    QFile file(destination());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write("old"), 3);
}

void TestFileDownloader::replacesWhatIsThere_data()
{
    QTest::addColumn<QString>("before");
    for (const char *before : {"nothing", "a file", "a link", "a folder"}) {
        QTest::newRow(before) << QString::fromLatin1(before);
    }
}

void TestFileDownloader::replacesWhatIsThere()
{
    QFETCH(const QString, before);
    if (before == u"a file") {
        putOldFile();
    } else if (before == u"a link") {
        QVERIFY(QFile::link(folder_->filePath(QStringLiteral("target")), destination()));
    } else if (before == u"a folder") {
        QVERIFY(QDir().mkpath(destination() + QStringLiteral("/with/folders")));
    }
    const HttpServer server(sendNew);
    FileDownloader downloader;
    const auto outcome = outcomeOf(downloader.download(server.url(), destination(), {}));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(content(), QByteArray("new"));
    // The link's target is not touched.
    QCOMPARE(names(), QStringList{QStringLiteral("file.zip")});
}

void TestFileDownloader::noneSeesAHalfOfIt()
{
    putOldFile();
    std::binary_semaphore halfArrived(0);
    std::binary_semaphore goOn(0);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", "8"}}, "half");
        goOn.acquire();
        connection.write("rest");
    });
    FileDownloader downloader;
    std::atomic<bool> told = false;
    downloader.setOnProgress([&](qint64, qint64, double) {
        if (!told.exchange(true)) {
            halfArrived.release();
        }
    });
    auto task = downloader.download(server.url(), destination(), {});
    halfArrived.acquire();
    QCOMPARE(content(), QByteArray("old"));
    // What is there of the new one is hidden, and in the same folder.
    QCOMPARE(names().size(), 2);
    QVERIFY(names().constFirst().startsWith(u'.'));
    goOn.release();
    QVERIFY(outcomeOf(std::move(task)).value);
    QCOMPARE(content(), QByteArray("halfrest"));
}

void TestFileDownloader::otherStatusesAreErrors_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {201, 204, 206, 304, 404, 500}) {
        QTest::addRow("%d", status) << status;
    }
}

void TestFileDownloader::otherStatusesAreErrors()
{
    QFETCH(const int, status);
    putOldFile();
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.respond(status, {}, status == 204 || status == 304 ? "" : "not the file");
    });
    FileDownloader downloader;
    const auto outcome = outcomeOf(downloader.download(server.url(), destination(), {}));
    QVERIFY(outcome.setupError);
    QCOMPARE(outcome.text(),
             QStringLiteral("The server answered with status %1 for 127.0.0.1.").arg(status));
    QCOMPARE(content(), QByteArray("old"));
    QCOMPARE(names(), QStringList{QStringLiteral("file.zip")});
}

void TestFileDownloader::statusNamesTheHostThatAnswered()
{
    const HttpServer second(
        [](const HttpRequest &, HttpConnection &c) { c.respond(404, {}, "gone"); });
    const HttpServer first([&](const HttpRequest &, HttpConnection &connection) {
        connection.redirect(302, second.url(QStringLiteral("/x"), QStringLiteral("localhost")));
    });
    FileDownloader downloader;
    const auto outcome = outcomeOf(downloader.download(first.url(), destination(), {}));
    QVERIFY(outcome.setupError);
    QCOMPARE(outcome.text(), QStringLiteral("The server answered with status 404 for localhost."));
}

void TestFileDownloader::failureLeavesTheDestination_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("reset");
    QTest::newRow("nothing") << QByteArray() << false;
    QTest::newRow("short") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf")
                           << false;
    QTest::newRow("reset") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf")
                           << true;
    QTest::newRow("gzip") << QByteArray("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n"
                                        "Content-Length: 4\r\n\r\nhalf")
                          << false;
}

void TestFileDownloader::failureLeavesTheDestination()
{
    QFETCH(const QByteArray, answer);
    QFETCH(const bool, reset);
    putOldFile();
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.write(answer);
        if (reset) {
            connection.reset();
        }
    });
    FileDownloader downloader;
    const auto outcome = outcomeOf(downloader.download(server.url(), destination(), {}));
    QVERIFY(outcome.transferError);
    QVERIFY(!outcome.text().isEmpty());
    QCOMPARE(content(), QByteArray("old"));
    QCOMPARE(names(), QStringList{QStringLiteral("file.zip")});
}

void TestFileDownloader::fullDiskNamesTheDestination()
{
    putOldFile();
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {}, QByteArray(3000000, 'x'));
    });
    FileDownloader downloader;
    const SmallFilesOnly limit(1000000);
    const auto outcome = outcomeOf(downloader.download(server.url(), destination(), {}));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.text(), destination() + QStringLiteral(": File too large"));
    QCOMPARE(content(), QByteArray("old"));
    QCOMPARE(names(), QStringList{QStringLiteral("file.zip")});
}

void TestFileDownloader::missingFolderNamesTheDestination()
{
    const HttpServer server(sendNew);
    const QString missing = folder_->filePath(QStringLiteral("missing/file.zip"));
    FileDownloader downloader;
    const auto outcome = outcomeOf(downloader.download(server.url(), missing, {}));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.text(), missing + QStringLiteral(": No such file or directory"));
    QVERIFY(names().isEmpty());
}

void TestFileDownloader::unwritableDestination()
{
    // A file where the folder should be stops everybody, also those whom permissions don't.
    putOldFile();
    const HttpServer server(sendNew);
    const QString inside = destination() + QStringLiteral("/inside");
    FileDownloader downloader;
    const auto outcome = outcomeOf(downloader.download(server.url(), inside, {}));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.text(), inside + QStringLiteral(": Not a directory"));
    QCOMPARE(content(), QByteArray("old"));
}

void TestFileDownloader::renamesThatFailForGood()
{
    // Longer than a name may be on any file system of ours, while the hidden one beside it fits.
    const HttpServer server(sendNew);
    const QString tooLong = folder_->filePath(QString(300, QLatin1Char('n')));
    FileDownloader downloader;
    const auto outcome = outcomeOf(downloader.download(server.url(), tooLong, {}));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.text(), tooLong + QStringLiteral(": File name too long"));
    QVERIFY(names().isEmpty());
}

void TestFileDownloader::progressHasANegativeTotalWithoutLength()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", ""}}, "who knows how much");
    });
    FileDownloader downloader;
    std::vector<qint64> totals;
    downloader.setOnProgress([&](qint64, qint64 expected, double) { totals.push_back(expected); });
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
    QVERIFY(!totals.empty());
    QVERIFY(std::all_of(totals.begin(), totals.end(), [](qint64 total) { return total < 0; }));
}

void TestFileDownloader::progressWithLength()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {}, QByteArray(700000, 'x'));
    });
    FileDownloader downloader;
    qint64 last = 0;
    bool right = true;
    downloader.setOnProgress([&](qint64 written, qint64 expected, double rate) {
        right = right && written > last && expected == 700000 &&
                rate <= static_cast<double>(written) / 0.001 && rate > 0;
        last = written;
    });
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
    QVERIFY(right);
    QCOMPARE(last, 700000);
}

void TestFileDownloader::rateCountsFromTheStart()
{
    using Clock = std::chrono::steady_clock;
    constexpr int first = 300'000;
    constexpr int second = 600'000;
    std::binary_semaphore firstArrived(0);
    std::atomic<Clock::time_point> asked;
    std::atomic<Clock::time_point> firstSent;
    std::atomic<Clock::time_point> secondSent;
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        asked = Clock::now();
        connection.pause(std::chrono::milliseconds(50)); // or the bounds would be too wide
        firstSent = Clock::now();
        connection.respond(200, {{"Content-Length", QByteArray::number(first + second)}},
                           QByteArray(first, 'x'));
        firstArrived.acquire();
        connection.pause(std::chrono::milliseconds(50));
        secondSent = Clock::now();
        connection.write(QByteArray(second, 'x'));
    });
    FileDownloader downloader;
    const auto begun = Clock::now();
    int calls = 0;
    bool right = true;
    qint64 last = 0;
    downloader.setOnProgress([&](qint64 written, qint64, double rate) {
        // No less time than the server kept it waiting, and no more than has gone by.
        const auto since = written > first ? secondSent.load() : firstSent.load();
        const std::chrono::duration<double> least = since - asked.load();
        const std::chrono::duration<double> most = Clock::now() - begun;
        const auto bytes = static_cast<double>(written);
        right = right && rate <= bytes / least.count() && rate >= bytes / most.count();
        ++calls;
        if (last < first && written >= first) {
            firstArrived.release();
        }
        last = written;
    });
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
    QVERIFY(right);
    QVERIFY(calls > 1);
    QCOMPARE(last, first + second);
}

void TestFileDownloader::progressOverTls()
{
    const auto certificate = TestCertificate::make();
    const QString authority = folder_->filePath(QStringLiteral("ca.pem"));
    certificate.save(authority);
    QByteArray sent(5'000'000, Qt::Uninitialized);
    for (qsizetype i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<char>((i * 7 + (i >> 8) * 13 + (i >> 16) * 29) & 0xff);
    }
    const QSslConfiguration tls = certificate.serverConfiguration();
    const HttpServer server(
        [&](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, sent); }, 0, &tls);
    FileDownloader downloader;
    qint64 last = 0;
    bool right = true;
    downloader.setOnProgress([&](qint64 written, qint64 expected, double rate) {
        right = right && written > last && expected == 5'000'000 && rate > 0;
        last = written;
    });
    // Nobody trusts it yet.
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).transferError);
    QCOMPARE(names(), QStringList{QStringLiteral("ca.pem")});
    TransferOptions options;
    options.caFile = authority;
    double batches = 0;
    qint64 stored = 0;
    bool inOrder = true;
    options.onBytes = [&](qint64 offset, std::string_view bytes) {
        inOrder = inOrder && offset == stored;
        stored += static_cast<qint64>(bytes.size());
        ++batches;
    };
    const auto begun = std::chrono::steady_clock::now();
    const auto outcome = outcomeOf(downloader.download(server.url(), destination(), {}, options));
    const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - begun;
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QVERIFY(right);
    QCOMPARE(last, 5'000'000);
    // TLS brings at most 16 KiB at a time.
    QVERIFY(inOrder && stored == 5'000'000);
    QVERIFY2(batches <= 5'000'000 / 262'144.0 + 60 * whole.count() + 3,
             qPrintable(QString::number(batches)));
    QVERIFY(content() == sent);
    QCOMPARE(names().size(), 2);
}

void TestFileDownloader::atMostSixtyReportsASecond()
{
    using Clock = std::chrono::steady_clock;
    constexpr int pieces = 400;
    constexpr int pieceBytes = 10'000;
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", QByteArray::number(pieces * pieceBytes)}}, {});
        for (int i = 0; i < pieces; ++i) {
            connection.write(QByteArray(pieceBytes, 'x'));
            connection.pause(std::chrono::milliseconds(2));
        }
    });
    FileDownloader downloader;
    std::vector<Clock::time_point> times;
    qint64 last = 0;
    downloader.setOnProgress([&](qint64 written, qint64, double) {
        times.push_back(Clock::now());
        last = written;
    });
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
    QCOMPARE(last, qint64{pieces} * pieceBytes);
    QVERIFY(times.size() > 2);
    const std::chrono::duration<double> whole = times.back() - times.front();
    // The first one and the last one come in any case.
    QVERIFY2(static_cast<double>(times.size()) <= whole.count() * 60 + 2,
             qPrintable(QStringLiteral("%1 in %2 s").arg(times.size()).arg(whole.count())));
}

void TestFileDownloader::stopsAtTheLimit()
{
    putOldFile();
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        bool isOpen = connection.respond(200, {{"Content-Length", ""}}, {});
        while (isOpen) {
            isOpen = connection.write(QByteArray(100'000, 'x'));
        }
    });
    TransferOptions options;
    options.limit = 2'000'000;
    FileDownloader downloader;
    qint64 most = 0;
    downloader.setOnProgress([&](qint64 written, qint64, double) { most = written; });
    const auto outcome = outcomeOf(downloader.download(server.url(), destination(), {}, options));
    QVERIFY(outcome.setupError);
    QCOMPARE(outcome.text(), QStringLiteral("The download from 127.0.0.1 is larger than the 2 MB "
                                            "that this app accepts, so it was stopped."));
    QVERIFY(most > 0 && most <= 2'000'000);
    QCOMPARE(content(), QByteArray("old"));
    QCOMPARE(names(), QStringList{QStringLiteral("file.zip")});
}

void TestFileDownloader::renameThatFailsForGood()
{
    // The hidden name is a short one, so only the last step is too much.
    const QString tooLong = folder_->filePath(QString(300, u'x'));
    const HttpServer server(sendNew);
    FileDownloader downloader;
    qint64 last = 0;
    downloader.setOnProgress([&](qint64 written, qint64, double) { last = written; });
    const auto outcome = outcomeOf(downloader.download(server.url(), tooLong, {}));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.systemError->code, ENAMETOOLONG);
    QCOMPARE(outcome.text(), tooLong + QStringLiteral(": File name too long"));
    QCOMPARE(last, 3);
    QCOMPARE(names(), QStringList());
    // The next one is not concerned.
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
    QCOMPARE(content(), QByteArray("new"));
}

void TestFileDownloader::folderThatGoesAway()
{
    const QString folder = folder_->filePath(QStringLiteral("folder"));
    const QString away = folder_->filePath(QStringLiteral("away"));
    QVERIFY(QDir().mkpath(folder));
    std::binary_semaphore arrived(0);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", "8"}}, "half");
        arrived.acquire();
        QVERIFY(QFile::rename(folder, away));
        connection.write("rest");
    });
    FileDownloader downloader;
    std::atomic<bool> told = false;
    downloader.setOnProgress([&](qint64, qint64, double) {
        if (!told.exchange(true)) {
            arrived.release();
        }
    });
    const QString inside = folder + QStringLiteral("/file.zip");
    const auto outcome = outcomeOf(downloader.download(server.url(), inside, {}));
    QVERIFY(outcome.systemError);
    QCOMPARE(outcome.text(), inside + QStringLiteral(": No such file or directory"));
    QVERIFY(!QFile::exists(folder));
}

void TestFileDownloader::cancelDuringTheTransfer()
{
    putOldFile();
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", "10"}}, "half");
        connection.waitUntilClosed();
    });
    FileDownloader downloader;
    std::counting_semaphore<8> arrived(0);
    downloader.setOnProgress([&](qint64, qint64, double) { arrived.release(); });
    auto task = downloader.download(server.url(), destination(), {});
    arrived.acquire();
    downloader.cancelTask();
    QVERIFY(outcomeOf(std::move(task)).cancelled());
    QCOMPARE(content(), QByteArray("old"));
    QCOMPARE(names(), QStringList{QStringLiteral("file.zip")});
}

void TestFileDownloader::cancelBeforeTheAnswer_data()
{
    QTest::addColumn<bool>("byTask");
    QTest::addColumn<bool>("byToken");
    QTest::newRow("the task") << true << false;
    QTest::newRow("the stop token") << false << true;
    QTest::newRow("both") << true << true;
}

void TestFileDownloader::cancelBeforeTheAnswer()
{
    QFETCH(const bool, byTask);
    QFETCH(const bool, byToken);
    std::binary_semaphore asked(0);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        asked.release();
        connection.waitUntilClosed();
    });
    FileDownloader downloader;
    std::stop_source stop;
    auto task = downloader.download(server.url(), destination(), stop.get_token());
    asked.acquire();
    if (byTask) {
        downloader.cancelTask();
        downloader.cancelTask();
    }
    if (byToken) {
        stop.request_stop();
    }
    QVERIFY(outcomeOf(std::move(task)).cancelled());
    downloader.cancelTask();
    QVERIFY(names().isEmpty());
}

void TestFileDownloader::stopAfterTheEnd()
{
    const HttpServer server(sendNew);
    FileDownloader downloader;
    std::stop_source stop;
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), stop.get_token())).value);
    stop.request_stop();
    QCOMPARE(content(), QByteArray("new"));
    // Nor does it stay for the one that follows.
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
}

void TestFileDownloader::cancelBetweenStoringAndStarting()
{
    const HttpServer server(sendNew);
    for (int i = 0; i < 50; ++i) {
        // Whichever comes first, what is returned and what is on the disk agree.
        FileDownloader downloader;
        QFile::remove(destination());
        std::binary_semaphore go(0);
        const std::jthread other([&] {
            go.acquire();
            downloader.cancelTask();
        });
        go.release();
        const auto outcome = outcomeOf(downloader.download(server.url(), destination(), {}));
        QVERIFY(outcome.value || outcome.cancelled());
        QCOMPARE(names().size(), outcome.value ? 1 : 0);
    }
}

void TestFileDownloader::cancelOfACompletedOne()
{
    const HttpServer server(sendNew);
    FileDownloader downloader;
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
    downloader.cancelTask();
    QCOMPARE(content(), QByteArray("new"));
    // Nor on the one that follows.
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
}

void TestFileDownloader::cancelOfNone()
{
    FileDownloader downloader;
    downloader.cancelTask();
    const HttpServer server(sendNew);
    QVERIFY(outcomeOf(downloader.download(server.url(), destination(), {})).value);
}

void TestFileDownloader::servesOneAfterAnother()
{
    const HttpServer server([](const HttpRequest &request, HttpConnection &connection) {
        connection.respond(request.target == "/missing" ? 404 : 200, {}, request.target);
    });
    FileDownloader downloader;
    QVERIFY(
        outcomeOf(downloader.download(server.url(QStringLiteral("/missing")), destination(), {}))
            .setupError);
    for (const auto *path : {"/one", "/two"}) {
        const QUrl url = server.url(QString::fromLatin1(path));
        QVERIFY(outcomeOf(downloader.download(url, destination(), {})).value);
        QCOMPARE(content(), QByteArray(path));
    }
}

void TestFileDownloader::instancesAreIndependent()
{
    std::counting_semaphore<2> asked(0);
    std::counting_semaphore<2> goOn(0);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        asked.release();
        goOn.acquire();
        connection.respond(200, {}, "new");
    });
    FileDownloader kept;
    FileDownloader cancelled;
    auto keptTask = kept.download(server.url(), destination(), {});
    auto cancelledTask =
        cancelled.download(server.url(), folder_->filePath(QStringLiteral("other.zip")), {});
    asked.acquire();
    asked.acquire();
    cancelled.cancelTask();
    QVERIFY(outcomeOf(std::move(cancelledTask)).cancelled());
    goOn.release(2);
    QVERIFY(outcomeOf(std::move(keptTask)).value);
    QCOMPARE(names(), QStringList{QStringLiteral("file.zip")});
}

void TestFileDownloader::objectMayGo()
{
    std::binary_semaphore gone(0);
    const HttpServer server([&](const HttpRequest &, HttpConnection &connection) {
        gone.acquire();
        connection.respond(200, {}, "new");
    });
    auto downloader = std::make_unique<FileDownloader>();
    auto task = downloader->download(server.url(), destination(), {});
    downloader.reset();
    gone.release();
    QVERIFY(outcomeOf(std::move(task)).value);
    QCOMPARE(content(), QByteArray("new"));
}

QTEST_GUILESS_MAIN(TestFileDownloader)
#include "tst_filedownloader.moc"
