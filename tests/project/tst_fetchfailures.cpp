// Fetching the game and its add-ons when something fails, is cancelled or is odd.

#include "demo/ZipWriter.h"
#include "files/Files.h"
#include "http/HttpServer.h"
#include "project/RepoDownloader.h"
#include "support/AfterRename.h"
#include "support/Cancelled.h"
#include "support/Thrown.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

#include <sys/stat.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const QByteArray gameTarget = "/tessel-works/godot-brindle/archive/refs/heads/main.zip";
const QByteArray addonTarget = "/a/one/archive/HEAD.zip";

struct Entry
{
    QString name;
    QByteArray content;
    quint32 mode = 0;
};

QByteArray zipOf(const QList<Entry> &entries)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("made.zip"));
    ZipWriter writer(path);
    for (const Entry &entry : entries) {
        writer.add(entry.name, entry.content, entry.mode);
    }
    writer.close();
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A downloader with folders of its own; what the server answers is set for each target.
struct Setup
{
    using Answer = std::function<void(HttpConnection &)>;

    Setup() { Files::createFolder(temporary()); }

    QString path(const char *name) const { return folder.filePath(QLatin1String(name)); }
    QString root() const { return path("root"); }
    QString temporary() const { return path("tmp"); }
    QString addon(const char *name) const
    {
        return path("repository") + QLatin1Char('/') + QLatin1String(name);
    }
    void put(const QByteArray &target, const QByteArray &body)
    {
        answers[target] = [body](HttpConnection &connection) { connection.respond(200, {}, body); };
    }
    /// Makes the archive tool a script.
    void setTool(const QByteArray &script)
    {
        const QString tool = path("ditto");
        write(tool, "#!/bin/sh\n" + script);
        QFile::setPermissions(tool, QFile::ReadOwner | QFile::ExeOwner);
        repo = std::make_unique<RepoDownloader>(server.url(), root(), temporary(), tool);
    }

    QCoro::Task<QString> install() { return repo->installGame(progress, stop.get_token()); }
    QCoro::Task<> fetch(const QString &where = QStringLiteral("addons/one"))
    {
        return fetch(where, server.url().toString() + QStringLiteral("/a/one.git"));
    }
    QCoro::Task<> fetch(const QString &where, const QString &url, const QString &repository = {})
    {
        ProjectInfo info;
        info.repoRoot = repository.isEmpty() ? path("repository") : repository;
        info.submodules = {{where, url}};
        return repo->fetchSubmodules(
            info, progress,
            [this](const QString &line) {
                log << line;
                requestsAtLog = server.requestCount();
                stagedAtLog = Files::names(temporary());
            },
            stop.get_token());
    }

    QTemporaryDir folder;
    QMap<QByteArray, Answer> answers;
    std::stop_source stop;
    ProgressCallback progress = [](qint64, qint64, double) {};
    QStringList log;
    int requestsAtLog = -1;
    QStringList stagedAtLog;
    HttpServer server{[this](const HttpRequest &request, HttpConnection &connection) {
        const Answer answer = answers.value(request.target);
        if (answer) {
            answer(connection);
        } else {
            connection.respond(404, {}, {});
        }
    }};
    std::unique_ptr<RepoDownloader> repo = std::make_unique<RepoDownloader>(
        server.url(), root(), temporary(), QStringLiteral(BRINDLE_DITTO));
};

} // namespace

class TestFetchFailures : public QObject
{
    Q_OBJECT

    /// Nothing of a download is missing any more, and nothing has been done with it yet.
    static void cancelAtArrivalOf(Setup &setup, const QString &archive)
    {
        afterRename = [&setup, archive](const QString &to) {
            if (to.endsWith(u'/' + archive)) {
                setup.stop.request_stop();
            }
        };
    }

private Q_SLOTS:
    void cleanup() { afterRename = {}; }

    void theRepositoryHasAPage()
    {
        QCOMPARE(RepoDownloader::repositoryPage(QUrl(QStringLiteral("https://code.example"))),
                 QUrl(QStringLiteral("https://code.example/tessel-works/godot-brindle")));
    }

    void plainHttpIsRefused()
    {
        Setup setup;
        const QUrl insecure(QStringLiteral("http://code.invalid"));
        setup.repo = std::make_unique<RepoDownloader>(insecure, setup.root(), setup.temporary(),
                                                      QStringLiteral(BRINDLE_DITTO));
        QCOMPARE(thrownBy(setup.install()),
                 QStringLiteral("The address http://code.invalid%1 is not secure (plain http), so "
                                "nothing was downloaded from it.")
                     .arg(QString::fromLatin1(gameTarget)));
        // The game came safely, but its list of add-ons names another way.
        setup.repo = std::make_unique<RepoDownloader>(QUrl(QStringLiteral("https://code.invalid")),
                                                      setup.root(), setup.temporary(),
                                                      QStringLiteral(BRINDLE_DITTO));
        QCOMPARE(thrownBy(setup.fetch(QStringLiteral("addons/one"),
                                      QStringLiteral("http://code.invalid/a/one.git"))),
                 QStringLiteral("The address http://code.invalid%1 is not secure (plain http), so "
                                "nothing was downloaded from it.")
                     .arg(QString::fromLatin1(addonTarget)));
        QVERIFY(!QFileInfo::exists(setup.addon("addons/one")));
        QCOMPARE(Files::names(setup.temporary()), QStringList());
    }

    void progressIsPassedOn()
    {
        Setup setup;
        std::atomic<qint64> most = 0;
        setup.progress = [&](qint64 done, qint64, double) { most = std::max<qint64>(most, done); };
        const QByteArray game = zipOf({{QStringLiteral("g/project.godot"), "x"}});
        setup.put(gameTarget, game);
        await(setup.install());
        QCOMPARE(most.load(), qint64(game.size()));
        most = 0;
        const QByteArray one = zipOf({{QStringLiteral("t/longer-name"), "x"}});
        setup.put(addonTarget, one);
        await(setup.fetch());
        QCOMPARE(most.load(), qint64(one.size()));
    }

    void aCancelLeavesTheGameAlone_data()
    {
        QTest::addColumn<bool>("byTask");
        QTest::newRow("stop request") << false;
        QTest::newRow("the downloader's task") << true;
    }

    void aCancelLeavesTheGameAlone()
    {
        QFETCH(bool, byTask);
        Setup setup;
        const QString old = setup.root() + QStringLiteral("/Game/g/project.godot");
        write(old, "old");
        setup.answers[gameTarget] = [&](HttpConnection &connection) {
            connection.write("HTTP/1.1 200 OK\r\n\r\nthe beginning");
            connection.waitUntilClosed();
        };
        setup.progress = [&](qint64, qint64, double) {
            if (byTask) {
                setup.repo->downloader.cancelTask();
            } else {
                setup.stop.request_stop();
            }
        };
        QVERIFY(endsCancelled(setup.install()));
        QCOMPARE(read(old), QByteArray("old"));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aCancelDuringAnAddonLeavesItsFolder()
    {
        Setup setup;
        QDir().mkpath(setup.addon("addons/one"));
        setup.answers[addonTarget] = [&](HttpConnection &connection) {
            setup.stop.request_stop();
            connection.waitUntilClosed();
        };
        QVERIFY(endsCancelled(setup.fetch()));
        QVERIFY(QFileInfo(setup.addon("addons/one")).isDir());
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aCancelAlsoEndsTheLookAtAddonsThatAreThere()
    {
        Setup setup;
        write(setup.addon("addons/one/plugin.cfg"), "x");
        setup.stop.request_stop();
        QVERIFY(endsCancelled(setup.fetch()));
    }

    void aCancelAfterTheLastByteLeavesTheGameAlone()
    {
        Setup setup;
        const QString old = setup.root() + QStringLiteral("/Game/g/project.godot");
        write(old, "old");
        setup.put(gameTarget, zipOf({{QStringLiteral("g/project.godot"), "new"}}));
        cancelAtArrivalOf(setup, QStringLiteral("game.zip"));
        QVERIFY(endsCancelled(setup.install()));
        QCOMPARE(read(old), QByteArray("old"));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aCancelAfterTheLastByteOfAnAddonUnpacksNothing()
    {
        Setup setup;
        setup.put(addonTarget, "x");
        setup.setTool("touch '" + setup.path("called").toUtf8() + "'\n");
        cancelAtArrivalOf(setup, QStringLiteral("sub.zip"));
        QVERIFY(endsCancelled(setup.fetch()));
        QVERIFY(!QFileInfo::exists(setup.path("called")));
        QVERIFY(!QFileInfo::exists(setup.addon("addons")));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void otherWaysToTheHostAreRefused_data()
    {
        QTest::addColumn<QString>("scheme");
        QTest::newRow("ssh") << QStringLiteral("ssh://git@");
        QTest::newRow("git") << QStringLiteral("git://");
        QTest::newRow("ftp") << QStringLiteral("ftp://");
    }

    void otherWaysToTheHostAreRefused()
    {
        QFETCH(const QString, scheme);
        Setup setup;
        const QString url = scheme + setup.server.url().host() + QStringLiteral("/a/one.git");
        QCOMPARE(thrownBy(setup.fetch(QStringLiteral("addons/one"), url)),
                 std::optional(QStringLiteral("The game needs the add-on \"addons/one\" from %1, "
                                              "which this app can only fetch from GitHub.")
                                   .arg(url)));
        QCOMPARE(setup.log, QStringList());
        QCOMPARE(setup.server.requestCount(), 0);
    }

    void aToolThatFailsOnTheGame()
    {
        Setup setup;
        setup.put(gameTarget, "x");
        setup.setTool("echo half > \"$4/half\"\nexit 7\n");
        write(setup.root() + QStringLiteral("/Game/old/project.godot"), "old");
        QCOMPARE(thrownBy(setup.install()),
                 std::optional(QStringLiteral("Unzipping failed (ditto exit code 7). The download "
                                              "may be damaged.")));
        // The place is empty, and nothing is left beside it.
        QCOMPARE(Files::names(setup.root() + QStringLiteral("/Game")), QStringList());
        QCOMPARE(Files::names(setup.root()), QStringList{QStringLiteral("Game")});
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aDamagedAddonLeavesItsFolder()
    {
        Setup setup;
        QDir().mkpath(setup.addon("addons/one"));
        setup.put(addonTarget, zipOf({{QStringLiteral("t/x"), "x"}}).chopped(9));
        QCOMPARE(thrownBy(setup.fetch()),
                 std::optional(QStringLiteral("Unzipping failed (ditto exit code 1). The download "
                                              "may be damaged.")));
        QVERIFY(QFileInfo(setup.addon("addons/one")).isDir());
        QVERIFY(Files::names(setup.addon("addons")).contains(QStringLiteral("one")));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void anAddonIsUnpackedInItsStagingFolder()
    {
        Setup setup;
        setup.put(addonTarget, "x");
        const QString called = setup.path("called");
        setup.setTool("printf '%s %s' \"$3\" \"$4\" > '" + called.toUtf8() +
                      "'; mkdir \"$4/top\"\n");
        await(setup.fetch());
        const QRegularExpression form(QRegularExpression::anchoredPattern(
            QStringLiteral("/dev/fd/[0-9]+ %1/Brindle-[0-9A-F-]{36}/out")
                .arg(QRegularExpression::escape(setup.temporary()))));
        const QString arguments = QString::fromUtf8(read(called));
        QVERIFY2(form.match(arguments).hasMatch(), qPrintable(arguments));
        QVERIFY(QFileInfo(setup.addon("addons/one")).isDir());
    }

    void aToolThatUnpacksNothing()
    {
        Setup setup;
        QDir().mkpath(setup.addon("addons/one"));
        setup.put(addonTarget, "x");
        setup.setTool("exit 0\n");
        QCOMPARE(thrownBy(setup.fetch()),
                 std::optional(QStringLiteral("The add-on addons/one was empty.")));
        QVERIFY(QFileInfo(setup.addon("addons/one")).isDir());
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aStagingFolderThatCannotBeMade()
    {
        Setup setup;
        QVERIFY(QDir().rmdir(setup.temporary()));
        write(setup.temporary(), "a file");
        const auto thrown = thrownBy(setup.fetch());
        QVERIFY(thrown);
        QVERIFY2(thrown->contains(setup.temporary()), qPrintable(*thrown));
        QCOMPARE(setup.server.requestCount(), 0);
    }

    void aMoveThatFails()
    {
        Setup setup;
        setup.put(addonTarget, zipOf({{QStringLiteral("t/x"), "x"}}));
        // Longer than a name may be on any file system of ours.
        const QString name(300, QLatin1Char('n'));
        const auto thrown = thrownBy(setup.fetch(QStringLiteral("addons/") + name));
        QVERIFY(thrown);
        QVERIFY2(thrown->contains(name), qPrintable(*thrown));
        QVERIFY(QFileInfo(setup.addon("addons")).isDir());
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void theLogComesBeforeTheDownload()
    {
        Setup setup;
        setup.put(addonTarget, zipOf({{QStringLiteral("t/x"), "x"}}));
        await(setup.fetch());
        QCOMPARE(setup.log, QStringList{QStringLiteral("Fetching add-on addons/one")});
        QCOMPARE(setup.requestsAtLog, 0);
        QVERIFY(setup.stagedAtLog.isEmpty());
    }

    void aFileInAnAddonsPlaceIsReplaced()
    {
        Setup setup;
        write(setup.addon("addons/one"), "a file");
        setup.put(addonTarget, zipOf({{QStringLiteral("t/x"), "x"}}));
        await(setup.fetch());
        QCOMPARE(read(setup.addon("addons/one/x")), QByteArray("x"));
    }

    void aDanglingLinkInAnAddonsPlaceIsReplaced()
    {
        Setup setup;
        QDir().mkpath(setup.addon("addons"));
        QVERIFY(QFile::link(QStringLiteral("not-there"), setup.addon("addons/one")));
        setup.put(addonTarget, zipOf({{QStringLiteral("t/x"), "x"}}));
        await(setup.fetch());
        QVERIFY(!QFileInfo(setup.addon("addons/one")).isSymLink());
        QCOMPARE(read(setup.addon("addons/one/x")), QByteArray("x"));
    }

    void theFileThatWasWrittenIsUnpacked_data()
    {
        QTest::addColumn<bool>("isGame");
        QTest::newRow("the game") << true;
        QTest::newRow("an add-on") << false;
    }

    /// Another archive lies at the same path by the time that the tool begins.
    void theFileThatWasWrittenIsUnpacked()
    {
        QFETCH(const bool, isGame);
        Setup setup;
        setup.put(gameTarget, "written");
        setup.put(addonTarget, "written");
        setup.setTool(u"staging=$(ls -d '%1'/Brindle-*)\n"
                      "mv \"$staging\" '%2' && mkdir \"$staging\"\n"
                      "echo swapped > \"$staging/game.zip\"\n"
                      "echo swapped > \"$staging/sub.zip\"\n"
                      "cat \"$3\" > '%3'; exit 9\n"_s
                          .arg(setup.temporary(), setup.path("aside"), setup.path("seen"))
                          .toUtf8());
        QVERIFY(isGame ? thrownBy(setup.install()) : thrownBy(setup.fetch()));
        QCOMPARE(read(setup.path("seen")), QByteArray("written"));
    }

    void aCancelEndsTheRemovalOfTheOldGame()
    {
        Setup setup;
        write(setup.root() + u"/Game/g/old"_s, "old");
        setup.put(gameTarget, zipOf({{u"g/project.godot"_s, "new"}}));
        QString hidden;
        afterRename = [&](const QString &to) {
            if (to.contains(u"/.brindle-removing-")) {
                hidden = to;
                setup.stop.request_stop();
            }
        };
        QVERIFY(endsCancelled(setup.install()));
        QCOMPARE(read(hidden + u"/g/old"_s), QByteArray("old"));
        QVERIFY(!QFileInfo::exists(setup.root() + u"/Game"_s));
    }

    /// Each link stays inside its own archive, together they lead outside.
    void linksOfTwoArchivesLeadNowhereElse()
    {
        Setup setup;
        write(setup.path("private/secret"), "secret");
        const QString game = setup.root() + u"/Game/g"_s;
        setup.put(gameTarget,
                  zipOf({{u"g/project.godot"_s, "x"},
                         {u"g/README.md"_s, "addons/one/a/b/up/../../../../../private/secret",
                          S_IFLNK | 0777}}));
        setup.put(addonTarget,
                  zipOf({{u"t/a/b/up"_s, "../..", S_IFLNK | 0777}, {u"t/plugin.cfg"_s, "x"}}));
        await(setup.install());
        QVERIFY(!QFileInfo::exists(game + u"/README.md"_s));
        QCOMPARE(thrownBy(setup.fetch(u"addons/one"_s, setup.server.url().toString() + u"/a/one"_s,
                                      game)),
                 u"The add-on \"addons/one\" has links that lead outside the game's folder, so it "
                 "was not kept."_s);
        QVERIFY(!QFileInfo::exists(game + u"/README.md"_s));
        QVERIFY(!QFileInfo::exists(game + u"/addons/one"_s));
    }

    void whateverLiesOnTopIsTaken()
    {
        Setup setup;
        setup.put(addonTarget, zipOf({{QStringLiteral("only-file"), "x", S_IFREG | 0644}}));
        await(setup.fetch());
        QCOMPARE(read(setup.addon("addons/one")), QByteArray("x"));
    }

    void leftoversOfAnInterruptedMoveAreCleared()
    {
        Setup setup;
        write(setup.addon("addons/.brindle-moving-x/y"), "half");
        setup.put(addonTarget, zipOf({{QStringLiteral("t/x"), "x"}}));
        await(setup.fetch());
        QCOMPARE(Files::names(setup.addon("addons")), QStringList{QStringLiteral("one")});
    }

    void leftoversOfInterruptedRemovalsAndUnpackingsAreCleared()
    {
        Setup setup;
        write(setup.root() + QStringLiteral("/.brindle-removing-x/y"), "half");
        write(setup.root() + QStringLiteral("/.brindle-moving-x/g/project.godot"), "half");
        setup.put(gameTarget, zipOf({{QStringLiteral("g/project.godot"), "x"}}));
        await(setup.install());
        QCOMPARE(Files::names(setup.root()), QStringList{QStringLiteral("Game")});
    }
};

QTEST_GUILESS_MAIN(TestFetchFailures)
#include "tst_fetchfailures.moc"
