#include "NetFixture.h"
#include "files/Files.h"
#include "net/FileDownloader.h"
#include "support/TestFiles.h"
#include "support/WorkerHold.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <memory>
#include <thread>

using namespace brindle;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class TestFileDownloader : public NetFixture
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> own_;
    FileDownloader downloader_;

    QString destination() const { return own_->filePath(u"file"_s); }
    QByteArray content() const { return contentOf(destination()); }

    QStringList names() const
    {
        WorkerHold().open(); // waits for the deletion
        return Files::names(own_->path());
    }
    void putOldFile() const { writeFile(destination(), "old"); }

    void verifyOnlyTheOldFile() const
    {
        QCOMPARE(content(), QByteArray("old"));
        QCOMPARE(names(), QStringList{u"file"_s});
    }

    Outcome<std::shared_ptr<QFile>> download(const QUrl &url, const TransferOptions &options = {})
    {
        return outcomeOf(downloader_.download(url, destination(), {}, options));
    }

private Q_SLOTS:
    void init()
    {
        own_ = std::make_unique<QTemporaryDir>(path(u"own.slow-"_s));
        downloader_.onProgress = {};
    }

    void replacesWhatIsThere_data()
    {
        QTest::addColumn<QString>("before");
        for (const char *before : {"nothing", "a file", "a link", "a folder"}) {
            QTest::newRow(before) << QString::fromLatin1(before);
        }
    }
    void replacesWhatIsThere()
    {
        QFETCH(const QString, before);
        if (before == u"a file") {
            putOldFile();
        } else if (before == u"a link") {
            QVERIFY(QFile::link(own_->filePath(u"target"_s), destination()));
        } else if (before == u"a folder") {
            QVERIFY(QDir().mkpath(destination() + u"/with/folders"_s));
        }
        const HttpServer server(answering("new"));
        const auto outcome = download(server.url());
        QVERIFY2(outcome.value, qPrintable(outcome.text()));
        QCOMPARE(content(), QByteArray("new"));
        // The file behind the replaced link is unchanged.
        QCOMPARE(names(), QStringList{u"file"_s});
        QVERIFY(QFile::remove(destination()));
        QCOMPARE((*outcome.value)->readAll(), QByteArray("new"));
    }

    void otherStatusesAreErrors()
    {
        putOldFile();
        const HttpServer second([](const HttpRequest &request, HttpConnection &connection) {
            connection.respond(request.target.mid(1).toInt(), {}, {});
        });
        const HttpServer first([&](const HttpRequest &request, HttpConnection &connection) {
            connection.redirect(302,
                                second.url(QString::fromLatin1(request.target), u"localhost"_s));
        });
        for (const int status : {204, 206, 404}) {
            const auto outcome = download(first.url(u"/%1"_s.arg(status)));
            QVERIFY(outcome.as<SetupError>());
            QCOMPARE(outcome.text(),
                     u"The server answered with status %1 for localhost."_s.arg(status));
            verifyOnlyTheOldFile();
        }
        QCOMPARE(FileDownloader::statusText(404, {}),
                 u"The server answered with status 404 for the download."_s);
    }

    void failureLeavesTheDestination_data()
    {
        QTest::addColumn<QByteArray>("answer");
        const QByteArray ok("HTTP/1.1 200 OK\r\n");
        QTest::newRow("short") << ok + "Content-Length: 10\r\n\r\nhalf";
        QTest::newRow("too large") << ok + "\r\n" + QByteArray(1001, 'x');
    }
    void failureLeavesTheDestination()
    {
        QFETCH(const QByteArray, answer);
        const HttpServer server(sending(answer));
        TransferOptions options;
        options.limit = 1000;
        const auto first = download(server.url(), options);
        QVERIFY(first.as<TransferError>() || first.as<SetupError>());
        QVERIFY(!first.text().isEmpty());
        QCOMPARE(names(), QStringList());
        putOldFile();
        QCOMPARE(download(server.url(), options).text(), first.text());
        verifyOnlyTheOldFile();
    }

    void unusableDestinations_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("error");
        QTest::newRow("no folder") << u"missing/file.zip"_s << ENOENT;
        QTest::newRow("a file in its place") << u"file/inside"_s << ENOTDIR;
        QTest::newRow("too long") << QString(300, u'n') << ENAMETOOLONG;
    }
    void unusableDestinations()
    {
        QFETCH(const QString, path);
        QFETCH(const int, error);
        putOldFile();
        const HttpServer server(answering("new"));
        const QString target = own_->filePath(path);
        const auto outcome = outcomeOf(downloader_.download(server.url(), target, {}));
        QVERIFY(outcome.as<SystemError>());
        QCOMPARE(outcome.text(), target + u": "_s + qt_error_string(error));
        verifyOnlyTheOldFile();
        // The next download works.
        QVERIFY(download(server.url()).value);
        QCOMPARE(content(), QByteArray("new"));
    }

    void aFailedMoveIsReported()
    {
        const HttpServer server(answering("new"));
        downloader_.onProgress = [this](qint64, qint64, double) {
            QVERIFY(QFile::remove(own_->filePath(Files::names(own_->path()).value(0))));
        };
        const auto outcome = download(server.url());
        QVERIFY(outcome.as<SystemError>());
        QCOMPARE(outcome.text(), destination() + u": "_s + qt_error_string(ENOENT));
    }

    void cancelDuringTheTransfer()
    {
        putOldFile();
        const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {{"Content-Length", "10"}}, "half");
            connection.waitUntilClosed();
        });
        const auto arrived = std::make_shared<std::counting_semaphore<>>(0);
        downloader_.onProgress = [arrived](qint64, qint64, double) { arrived->release(); };
        std::stop_source stop;
        auto task = downloader_.download(server.url(), destination(), stop.get_token());
        acquire(*arrived);
        stop.request_stop();
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        verifyOnlyTheOldFile();
    }

    void cancelWhileTheDiskIsSlow()
    {
        const HttpServer server(answering("whole"));
        std::counting_semaphore<> slowWrites(0);
        const auto endOfSlowness = std::make_shared<std::binary_semaphore>(0);
        StandIns::beforeWrite = [&slowWrites, endOfSlowness] {
            slowWrites.release();
            endOfSlowness->acquire();
            return 0;
        };
        std::stop_source stop;
        auto task = downloader_.download(server.url(), destination(), stop.get_token());
        acquire(slowWrites);
        QCOMPARE(names().size(), 1);
        stop.request_stop();
        // The write still waits, but its file has no name.
        QVERIFY(outcomeOf(std::move(task)).cancelled());
        QCOMPARE(names(), QStringList());
        StandIns::beforeWrite = nullptr;
        endOfSlowness->release();
    }

    void cancelAtAnyTime()
    {
        const HttpServer server(answering("new"));
        for (int i = 0; i < 50; ++i) {
            // Result and disk must agree, whether the stop or the rename comes first.
            QFile::remove(destination());
            std::stop_source stop;
            const std::jthread other([&] { stop.request_stop(); });
            const auto outcome =
                outcomeOf(downloader_.download(server.url(), destination(), stop.get_token()));
            QVERIFY(outcome.value || outcome.cancelled());
            QCOMPARE(names().size(), outcome.value ? 1 : 0);
        }
    }
};

QTEST_GUILESS_MAIN(TestFileDownloader)
#include "tst_filedownloader.moc"
