// An engine's install step by step, with stand-ins for the tools: order, failures, cancelling.

#include "engine/EngineManager.h"
#include "files/Files.h"
#include "http/HttpServer.h"
#include "support/AfterRename.h"
#include "support/Await.h"
#include "support/Cancelled.h"
#include "support/CutFile.h"
#include "support/Thrown.h"

#include <QCryptographicHash>
#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

using namespace brindle;

namespace {

const EngineSpec spec{QStringLiteral("4.3-stable"), false};
const QByteArray release = "/godotengine/godot-builds/releases/download/4.3-stable/";
const QByteArray listTarget = release + "SHA512-SUMS.txt";
const QByteArray archiveTarget = release + "Godot_v4.3-stable_macos.universal.zip";
const QByteArray archive = "the stand-in tools never look inside";

void writeScript(const QString &path, const QByteArray &script)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\n" + script);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A manager on the macOS row. Its tools are scripts that write down how they were called; what
/// the server answers can be replaced for each target.
struct Setup
{
    using Answer = std::function<void(HttpConnection &)>;

    Setup()
    {
        platform.archiveTool = folder.filePath(QStringLiteral("ditto"));
        platform.quarantineStep.program = folder.filePath(QStringLiteral("xattr"));
        setArchiveTool("mkdir -p \"$4/Godot.app/Contents/MacOS\"\n"
                       "printf '#!/bin/sh\\n' > \"$4/Godot.app/Contents/MacOS/Godot\"\n"
                       "chmod 755 \"$4/Godot.app/Contents/MacOS/Godot\"\n");
        setQuarantineTool("");
        const QByteArray digest =
            QCryptographicHash::hash(archive, QCryptographicHash::Sha512).toHex();
        answers[listTarget] = [digest](HttpConnection &connection) {
            connection.respond(200, {}, digest + "  Godot_v4.3-stable_macos.universal.zip\n");
        };
        answers[archiveTarget] = [](HttpConnection &connection) {
            connection.respond(200, {}, archive);
        };
        Files::createFolder(temporary());
    }

    QString root() const { return folder.filePath(QStringLiteral("root")); }
    QString temporary() const { return folder.filePath(QStringLiteral("tmp")); }
    QString record() const { return folder.filePath(QStringLiteral("record")); }
    QString program() const
    {
        return spec.folder(root()) + QStringLiteral("/Godot.app/Contents/MacOS/Godot");
    }
    void setArchiveTool(const QByteArray &script) const
    {
        // The hidden folder's name differs each time.
        writeScript(platform.archiveTool, "name=${4##*/}\narchive=$3\necho ditto $1 $2 "
                                          "\"${archive%%[0-9]*}\" \"${name%%-*}\" >> '" +
                                              record().toUtf8() + "'\n" + script);
    }
    void setQuarantineTool(const QByteArray &script) const
    {
        writeScript(platform.quarantineStep.program,
                    "echo xattr $1 $2 \"${3##*/}\" >> '" + record().toUtf8() + "'\n" + script);
    }
    void note(const QString &line) const
    {
        QFile file(record());
        QVERIFY(file.open(QIODevice::Append));
        file.write(line.left(20).toUtf8() + '\n');
    }

    EngineManager manager() const { return {server.url(), root(), temporary(), platform}; }
    QCoro::Task<QString> install(EngineManager &engines)
    {
        return engines.install(
            spec, progress,
            [this](const QString &text) {
                note(text);
                if (onStatus) {
                    onStatus(text);
                }
            },
            [this](const QString &text) { note(text); }, stop.get_token());
    }
    std::optional<QString> failure()
    {
        EngineManager engines = manager();
        return thrownBy(install(engines));
    }
    bool isCancelled()
    {
        EngineManager engines = manager();
        return endsCancelled(install(engines));
    }

    QTemporaryDir folder;
    Platform platform = Platform::macOS(folder.path());
    QMap<QByteArray, Answer> answers;
    std::stop_source stop;
    ProgressCallback progress = [](qint64, qint64, double) {};
    std::function<void(QString)> onStatus;
    HttpRequest lastRequest;
    HttpServer server{[this](const HttpRequest &request, HttpConnection &connection) {
        lastRequest = request;
        const Answer answer = answers.value(request.target);
        if (answer) {
            answer(connection);
        } else {
            connection.respond(404, {}, {});
        }
    }};
};

} // namespace

class TestEngineInstall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theStepsComeInOrder()
    {
        Setup setup;
        EngineManager engines = setup.manager();
        QCOMPARE(await(setup.install(engines)), setup.program());
        QCOMPARE(read(setup.record()), QByteArray("Checking the downloa\n"
                                                  "Checksum (SHA-512) m\n"
                                                  "Unpacking the engine\n"
                                                  "ditto -x -k /dev/fd/ .brindle\n"
                                                  "Removing the macOS q\n"
                                                  "xattr -dr com.apple.quarantine 4.3-stable\n"));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void whereThereIsNoFlagTheOrderStays()
    {
        Setup setup;
        setup.platform.quarantineStep = {};
        EngineManager engines = setup.manager();
        QCOMPARE(await(setup.install(engines)), setup.program());
        QVERIFY(read(setup.record()).endsWith(".brindle\nRemoving the macOS q\n"));
    }

    void redirectsAreFollowed()
    {
        Setup setup;
        for (const QByteArray &target : {listTarget, archiveTarget}) {
            const QUrl elsewhere = setup.server.url(QStringLiteral("/elsewhere/") +
                                                    QString::fromLatin1(target.mid(1)));
            setup.answers["/elsewhere" + target] = setup.answers.value(target);
            setup.answers[target] = [elsewhere](HttpConnection &connection) {
                connection.redirect(302, elsewhere);
            };
        }
        EngineManager engines = setup.manager();
        QCOMPARE(await(setup.install(engines)), setup.program());
        QCOMPARE(setup.server.requestCount(), 4);
    }

    void progressIsPassedOn()
    {
        Setup setup;
        std::atomic<qint64> most = 0;
        std::atomic<qint64> expected = 0;
        setup.progress = [&](qint64 done, qint64 total, double) {
            most = std::max<qint64>(most, done);
            expected = total;
        };
        EngineManager engines = setup.manager();
        await(setup.install(engines));
        QCOMPARE(most.load(), qint64(archive.size()));
        QCOMPARE(expected.load(), qint64(archive.size()));
    }

    void onlyAnAnsweredListCounts_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("no content") << 204;
        QTest::newRow("forbidden") << 403;
        QTest::newRow("not found") << 404;
        QTest::newRow("broken") << 500;
    }

    void onlyAnAnsweredListCounts()
    {
        QFETCH(int, status);
        Setup setup;
        setup.answers[listTarget] = [status](HttpConnection &connection) {
            connection.respond(status, {}, {});
        };
        QCOMPARE(setup.failure(),
                 std::optional(QStringLiteral("Godot 4.3-stable was not found on the official "
                                              "download page (status %1).")
                                   .arg(status)));
        QCOMPARE(setup.server.requestCount(), 1);
        QVERIFY(!QFileInfo::exists(setup.record()));
    }

    void aServerThatHangsUpIsTheNetworksFailure_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("list") << listTarget;
        QTest::newRow("archive") << archiveTarget;
    }

    void aServerThatHangsUpIsTheNetworksFailure()
    {
        QFETCH(QByteArray, target);
        Setup setup;
        setup.answers[target] = [](HttpConnection &connection) { connection.reset(); };
        EngineManager engines = setup.manager();
        try {
            await(setup.install(engines));
            QFAIL("installed from nothing");
        } catch (const TransferError &) {
            // As it should be.
        }
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aStagingFolderThatCannotBeMade()
    {
        Setup setup;
        const QString file = setup.temporary();
        QVERIFY(QDir().rmdir(file));
        writeScript(file, "");
        const auto failure = setup.failure();
        QVERIFY(failure);
        QVERIFY2(failure->contains(file), qPrintable(*failure));
        QCOMPARE(setup.server.requestCount(archiveTarget), 0);
    }

    void aToolThatFails()
    {
        Setup setup;
        writeScript(setup.program(), "an older build\n");
        setup.setArchiveTool("exit 3\n");
        QCOMPARE(setup.failure(),
                 std::optional(QStringLiteral("Unzipping failed (ditto exit code 3). The download "
                                              "may be damaged.")));
        QVERIFY(!setup.manager().binary(spec));
        QVERIFY(!read(setup.record()).contains("xattr"));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aToolThatIsMissing()
    {
        Setup setup;
        setup.platform.archiveTool = QStringLiteral("/no/such/tool");
        const auto failure = setup.failure();
        QVERIFY(failure);
        QVERIFY2(failure->contains(QStringLiteral("/no/such/tool")), qPrintable(*failure));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void theQuarantineStepIsNotLookedAt_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::newRow("fails") << QByteArray("echo no such attribute >&2\nexit 1\n");
        QTest::newRow("dies") << QByteArray("kill -9 $$\n");
    }

    void theQuarantineStepIsNotLookedAt()
    {
        QFETCH(QByteArray, script);
        Setup setup;
        setup.setQuarantineTool(script);
        EngineManager engines = setup.manager();
        QCOMPARE(await(setup.install(engines)), setup.program());
        QVERIFY(read(setup.record()).contains("xattr"));
    }

    void aMismatchKeepsTheBuildThatIsThere()
    {
        Setup setup;
        writeScript(setup.program(), "an older build\n");
        setup.answers[archiveTarget] = [](HttpConnection &connection) {
            connection.respond(200, {}, "something else");
        };
        QVERIFY(setup.failure());
        QCOMPARE(setup.manager().binary(spec), std::optional(setup.program()));
        QCOMPARE(read(setup.record()), QByteArray("Checking the downloa\n"));
    }

    void leftoversOfAnInterruptedInstallAreCleared()
    {
        Setup setup;
        const QString engines = setup.root() + QStringLiteral("/Engine");
        writeScript(engines + QStringLiteral("/.brindle-removing-x/Godot"), "");
        writeScript(engines + QStringLiteral("/.brindle-moving-x/Godot"), "");
        EngineManager manager = setup.manager();
        await(setup.install(manager));
        QCOMPARE(Files::names(engines), QStringList{spec.tag()});
    }

    void aCancelEndsASilentServer_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<int>("requests");
        QTest::newRow("list") << listTarget << 1;
        QTest::newRow("archive") << archiveTarget << 2;
    }

    void aCancelEndsASilentServer()
    {
        QFETCH(QByteArray, target);
        QFETCH(int, requests);
        Setup setup;
        writeScript(setup.program(), "an older build\n");
        setup.answers[target] = [&](HttpConnection &connection) {
            setup.stop.request_stop();
            connection.waitUntilClosed();
        };
        QVERIFY(setup.isCancelled());
        QCOMPARE(setup.server.requestCount(), requests);
        QVERIFY(Files::names(setup.temporary()).isEmpty());
        QCOMPARE(setup.manager().binary(spec), std::optional(setup.program()));
        QVERIFY(!QFileInfo::exists(setup.record()));
    }

    void theDownloadersTaskCanBeCancelled()
    {
        Setup setup;
        EngineManager engines = setup.manager();
        setup.answers[archiveTarget] = [&](HttpConnection &connection) {
            connection.write("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nthe beginning");
            connection.waitUntilClosed();
        };
        setup.progress = [&](qint64, qint64, double) { engines.downloader.cancelTask(); };
        QVERIFY(endsCancelled(setup.install(engines)));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aCancelWhileCheckingCounts()
    {
        Setup setup;
        setup.onStatus = [&](const QString &) { setup.stop.request_stop(); };
        QVERIFY(setup.isCancelled());
        QVERIFY(!QFileInfo::exists(setup.root()));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aCancelAfterTheLastByteChecksNothing()
    {
        Setup setup;
        writeScript(setup.program(), "an older build\n");
        afterRename = [&](const QString &to) {
            if (to.endsWith(QStringLiteral("/godot.zip"))) {
                setup.stop.request_stop();
            }
        };
        QVERIFY(setup.isCancelled());
        afterRename = {};
        QVERIFY(!QFileInfo::exists(setup.record()));
        QCOMPARE(setup.manager().binary(spec), std::optional(setup.program()));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void whatWasCheckedIsUnpacked_data()
    {
        QTest::addColumn<QString>("moment");
        QTest::newRow("before the check") << QStringLiteral("Checking the download");
        QTest::newRow("after the check") << QStringLiteral("Unpacking the engine");
    }
    void whatWasCheckedIsUnpacked()
    {
        QFETCH(const QString, moment);
        if (!QFileInfo::exists(QStringLiteral("/dev/fd"))) {
            QSKIP("open files have no names here");
        }
        Setup setup;
        const QString unpacked = setup.folder.filePath(QStringLiteral("unpacked"));
        setup.setArchiveTool("cat \"$3\" > '" + unpacked.toUtf8() + "'\nexit 9\n");
        setup.onStatus = [&](const QString &text) {
            if (text == moment) {
                // Whoever can do this has another archive unpacked in place of the checked one.
                const QString staging =
                    setup.temporary() + u'/' + Files::names(setup.temporary()).value(0);
                QVERIFY(QFile::remove(staging + QStringLiteral("/godot.zip")));
                writeScript(staging + QStringLiteral("/godot.zip"), "not checked");
            }
        };
        QVERIFY(setup.failure());
        QCOMPARE(read(unpacked), archive);
    }

    /// A download whose connection breaks, on a server that then goes on or begins anew.
    void aBrokenDownloadIsHashedRight_data()
    {
        QTest::addColumn<bool>("servesRanges");
        QTest::newRow("goes on") << true;
        QTest::newRow("begins anew") << false;
    }
    void aBrokenDownloadIsHashedRight()
    {
        QFETCH(const bool, servesRanges);
        Setup setup;
        CutFile file(archive, {10, 5});
        setup.answers[archiveTarget] = [&](HttpConnection &connection) {
            HttpRequest request = setup.lastRequest;
            if (!servesRanges) {
                request.headers.remove("range");
            }
            file.answer(request, connection);
        };
        EngineManager engines = setup.manager();
        QCOMPARE(await(setup.install(engines)), setup.program());
        QCOMPARE(file.requests().size(), 3);
    }

    void whereOthersMayWriteNothingIsStaged()
    {
        Setup setup;
        QVERIFY(QFile::setPermissions(setup.temporary(), QFileDevice::Permissions(0x7777)));
        const QString data = setup.folder.filePath(QStringLiteral("data"));
        QStringList beside;
        QStringList shared;
        setup.onStatus = [&](const QString &) {
            beside = Files::names(data).filter(QStringLiteral("Brindle-"));
            shared = Files::names(setup.temporary());
        };
        EngineManager engines(setup.server.url(), data + QStringLiteral("/Brindle"),
                              setup.temporary(), setup.platform);
        await(setup.install(engines));
        QCOMPARE(shared, QStringList());
        QCOMPARE(beside.size(), 1);
        QCOMPARE(Files::names(data), QStringList{QStringLiteral("Brindle")});
    }

    void aHalfThatWasUnpackedIsNoEngine_data()
    {
        QTest::addColumn<QByteArray>("end");
        QTest::newRow("fails") << QByteArray("exit 1\n");
        QTest::newRow("dies") << QByteArray("kill -9 $$\n");
    }

    void aHalfThatWasUnpackedIsNoEngine()
    {
        QFETCH(const QByteArray, end);
        Setup setup;
        setup.setArchiveTool("mkdir -p \"$4/Godot.app/Contents/MacOS\"\n"
                             "printf '#!/bin/sh\\n' > \"$4/Godot.app/Contents/MacOS/Godot\"\n"
                             "chmod 755 \"$4/Godot.app/Contents/MacOS/Godot\"\n" +
                             end);
        QVERIFY(setup.failure());
        QVERIFY(!setup.manager().binary(spec));
        QCOMPARE(Files::names(spec.folder(setup.root())), QStringList());
        QCOMPARE(Files::names(QFileInfo(spec.folder(setup.root())).path()),
                 QStringList{spec.tag()});
    }

    void aCancelEndsTheUnpacking()
    {
        Setup setup;
        // Says that it runs and would go on for a minute.
        const QString started = setup.folder.filePath(QStringLiteral("started"));
        setup.setArchiveTool(": > '" + started.toUtf8() + "'\nexec sleep 60\n");
        EngineManager engines = setup.manager();
        const auto done = std::make_shared<bool>(false);
        const auto cancelled = std::make_shared<bool>(false);
        auto installing = setup.install(engines);
        watch(std::move(installing), done, cancelled);
        spinUntil([&] { return QFileInfo::exists(started); });
        setup.stop.request_stop();
        spinUntil([&] { return *done; }, 30);
        QVERIFY(*cancelled);
        QVERIFY(!setup.manager().binary(spec));
        QVERIFY(!read(setup.record()).contains("xattr"));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void programsAreFoundInBundles()
    {
        Setup setup;
        const EngineManager engines = setup.manager();
        const QString folder = spec.folder(setup.root());
        QVERIFY(!engines.binary(spec));
        writeScript(folder + QStringLiteral("/Godot/Contents/MacOS/Godot"), "");
        writeScript(folder + QStringLiteral("/Godot.app.old/Contents/MacOS/Godot"), "");
        writeScript(folder + QStringLiteral("/Godot.APP/Contents/MacOS/Godot"), "");
        QVERIFY(!engines.binary(spec));
        QDir().mkpath(folder + QStringLiteral("/A.app/Contents/MacOS/Godot")); // not a file
        writeScript(folder + QStringLiteral("/B.app/Contents/MacOS/Godot"), "");
        QVERIFY(QFile::setPermissions(folder + QStringLiteral("/B.app/Contents/MacOS/Godot"),
                                      QFile::ReadOwner));
        QVERIFY(!engines.binary(spec));
        const QString program = folder + QStringLiteral("/C.app/Contents/MacOS/Godot");
        writeScript(program, "");
        QCOMPARE(engines.binary(spec), std::optional(program));
        QVERIFY(!engines.binary({spec.version, true}));
    }

    void nothingIsInstalledOutsideTheEnginesFolder()
    {
        Setup setup;
        writeScript(setup.root() + QStringLiteral("/Game/Godot.app/Contents/MacOS/Godot"), "");
        QVERIFY(!setup.manager().binary({QStringLiteral("../Game"), false}));
    }

private:
    static QCoro::Task<> watch(QCoro::Task<QString> task, std::shared_ptr<bool> done,
                               std::shared_ptr<bool> cancelled)
    {
        try {
            co_await task;
        } catch (const CancellationError &) {
            *cancelled = true;
        } catch (...) {
        }
        *done = true;
    }
};

QTEST_GUILESS_MAIN(TestEngineInstall)
#include "tst_engineinstall.moc"
