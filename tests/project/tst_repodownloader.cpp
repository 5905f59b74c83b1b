// Tests fetching the game and its add-ons from a real server, mostly with the real archive tool.

#include "demo/ZipWriter.h"
#include "files/Files.h"
#include "http/HttpServer.h"
#include "project/RepoDownloader.h"
#include "support/SystemCalls.h"
#include "support/TestFiles.h"
#include "support/Thrown.h"
#include "support/Tree.h"
#include "support/WorkerHold.h"

#include <QProcess>
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
    ZipWriter writer;
    for (const Entry &entry : entries) {
        writer.add(entry.name, entry.content, entry.mode);
    }
    return writer.close();
}

QByteArray gameZip()
{
    return zipOf({{u"g/project.godot"_s, "config_version=5\n"}, {u"g/main.gd"_s, "new"}});
}

QByteArray addonZip(const QByteArray &content = "x")
{
    return zipOf({{u"t/x"_s, content}});
}

/// A downloader with folders of its own, and a server. Tests set the answer for each target.
struct Setup
{
    using Answer = std::function<void(HttpConnection &)>;

    Setup()
    {
        Files::createFolder(temporary());
        Files::createFolder(root());
        setHost(server.url());
    }

    QString path(const QString &name) const { return folder.filePath(name); }
    QString root() const { return path(u"root"_s); }
    QString temporary() const { return path(u"tmp"_s); }
    QString repository() const { return path(u"repository"_s); }
    QString addon(const QString &name) const { return repository() + u'/' + name; }
    QString url(const QString &target = u"/a/one.git"_s) const
    {
        return server.url().toString() + target;
    }
    QStringList staged() const
    {
        WorkerHold().open(); // waits for the deletion
        return Files::names(temporary());
    }

    void put(const QByteArray &target, const QByteArray &body)
    {
        answers[target] = [body](HttpConnection &connection) { connection.respond(200, {}, body); };
    }
    void setHost(const QUrl &host)
    {
        Platform platform;
        platform.archiveTool = QStringLiteral(BRINDLE_DITTO);
        repo = std::make_unique<RepoDownloader>(DownloadParts{host, root(), temporary(), platform});
    }

    QCoro::Task<QString> install() { return repo->installGame(progress, stop.get_token()); }
    QCoro::Task<> fetch(const QString &where = u"addons/one"_s)
    {
        return fetch({{where, url()}}, repository());
    }
    QCoro::Task<> fetch(const QList<Submodule> &submodules, const QString &where)
    {
        ProjectInfo info;
        info.repoRoot = where;
        info.submodules = submodules;
        const auto onLog = [this](const QString &line) {
            log << line;
            requestsAtLog = server.requestCount();
            stagedAtLog = staged();
        };
        return repo->fetchSubmodules(info, progress, onLog, stop.get_token());
    }

    QTemporaryDir folder;
    QMap<QByteArray, Answer> answers;
    std::stop_source stop;
    ProgressCallback progress = [](qint64, qint64, double) {};
    QStringList log;
    int requestsAtLog = -1;
    QStringList stagedAtLog;
    HttpServer server{[this](const HttpRequest &request, HttpConnection &connection) {
        if (const Answer answer = answers.value(request.target)) {
            answer(connection);
        } else {
            connection.respond(404, {}, {});
        }
    }};
    std::unique_ptr<RepoDownloader> repo;
};

} // namespace

class TestRepoDownloader : public QObject
{
    Q_OBJECT

    std::unique_ptr<Setup> setup_;

private Q_SLOTS:
    void init() { setup_ = std::make_unique<Setup>(); }
    void cleanup() { QCOMPARE(setup_->staged(), QStringList()); }

    void theGameReplacesTheEarlierOne()
    {
        writeFile(setup_->root() + u"/Game/g/old.gd"_s, "old");
        writeFile(setup_->root() + u"/.brindle-moving-x/g/project.godot"_s, "half");
        writeFile(setup_->root() + u"/imported-4.3-stable.txt"_s, "ok");
        std::atomic<qint64> most = 0;
        setup_->progress = [&](qint64 done, qint64, double) {
            most = std::max<qint64>(most, done);
        };
        setup_->put(gameTarget, gameZip());
        const QString project = await(setup_->install());
        QCOMPARE(project, setup_->root() + u"/Game/g"_s);
        QCOMPARE(readFile(project + u"/main.gd"_s), QByteArray("new"));
        QVERIFY(!QFileInfo::exists(project + u"/old.gd"_s));
        WorkerHold().open(); // waits for the deletion
        QStringList names = Files::names(setup_->root());
        names.sort();
        QCOMPARE(names, (QStringList{u"Game"_s, u"unfinished"_s}));
        QCOMPARE(most.load(), qint64(gameZip().size()));
    }

    void unpacksGitArchives()
    {
        Tree tree;
        tree.add(u"project.godot"_s, "config_version=5\n");
        tree.add(u"empty"_s, QByteArray());
        tree.add(u"levels/deep/heights.txt"_s, QByteArray("0, ").repeated(500'000));
        tree.add(u"tools/export.sh"_s, "#!/bin/sh\n", Tree::Type::program);
        tree.add(u"latest"_s, "levels/deep", Tree::Type::link);
        tree.add(u"Übersetzung/日本.po"_s, "x");
        tree.write(setup_->path(u"top"_s));
        const QString script = u"cd '%1' && git init -q && git add . &&"
                               " git -c user.name=a -c user.email=a@b.c commit -qm a &&"
                               " git archive --prefix=top/ --output=../made.zip HEAD"_s;
        QCOMPARE(QProcess::execute(u"sh"_s, {u"-c"_s, script.arg(setup_->path(u"top"_s))}), 0);
        setup_->put(gameTarget, readFile(setup_->path(u"made.zip"_s)));
        const QString project = await(setup_->install());
        QCOMPARE(project, setup_->root() + u"/Game/top"_s);
        QCOMPARE(Tree::read(project).differences(tree), QStringList());
    }

    void theGameStaysUntilItsArchiveIsThere()
    {
        const QString old = setup_->root() + u"/Game/g/project.godot"_s;
        writeFile(old, "old");
        QCOMPARE(thrownBy(setup_->install()),
                 u"The server answered with status 404 for 127.0.0.1."_s);
        setup_->put(gameTarget, gameZip());
        setup_->progress = [&, size = gameZip().size()](qint64 done, qint64, double) {
            if (done == size) {
                setup_->stop.request_stop();
            }
        };
        QVERIFY(endsCancelled(setup_->install()));
        QCOMPARE(readFile(old), QByteArray("old"));
    }

    void aGameWithoutAProjectFails()
    {
        setup_->put(gameTarget, zipOf({{u"x/readme"_s, "x"}}));
        QCOMPARE(thrownBy(setup_->install()),
                 u"The downloaded game has no project.godot file, so it can't be started."_s);
        QVERIFY(QFileInfo::exists(setup_->root() + u"/Game/x/readme"_s));
    }

    void aBadAddressTouchesNothing()
    {
        setup_->setHost(QUrl(u"http://"_s));
        QCOMPARE(thrownBy(setup_->install()), u"Internal error: bad download address."_s);
        QCOMPARE(Files::names(setup_->root()), QStringList());
    }

    void addonsAreFetchedIntoTheirFolders()
    {
        setup_->put(addonTarget, addonZip("one"));
        setup_->put("/a/two//archive/HEAD.zip", zipOf({{u"t/.hidden"_s, "two"}}));
        await(setup_->fetch(
            {{u"addons/one"_s, setup_->url()}, {u"deep/er/two"_s, setup_->url(u"/a/two/"_s)}},
            setup_->repository()));
        QCOMPARE(readFile(setup_->addon(u"addons/one/x"_s)), QByteArray("one"));
        QCOMPARE(readFile(setup_->addon(u"deep/er/two/.hidden"_s)), QByteArray("two"));
        QCOMPARE(setup_->log,
                 (QStringList{u"Fetching add-on addons/one"_s, u"Fetching add-on deep/er/two"_s}));
        QCOMPARE(setup_->requestsAtLog, 1); // the log's line came before the request
        QCOMPARE(setup_->stagedAtLog, QStringList());
    }

    void addonsElsewhereAreRefused()
    {
        const QString url = u"https://elsewhere.example/a/one.git"_s;
        QCOMPARE(thrownBy(setup_->fetch({{u"addons/one"_s, url}}, setup_->repository())),
                 u"The game needs the add-on \"addons/one\" from %1, which this app can only fetch "
                 "from GitHub."_s.arg(url));
        QCOMPARE(setup_->server.requestCount(), 0);
        QCOMPARE(setup_->log, QStringList());
    }

    void addonsOutsideAreRefused()
    {
        QVERIFY(QDir().mkpath(setup_->repository()));
        QCOMPARE(thrownBy(setup_->fetch(u"../outside"_s)),
                 u"The add-on \"../outside\" lies outside the game's folder, so it was not "
                 "fetched."_s);
        QCOMPARE(setup_->server.requestCount(), 0);
        QVERIFY(!QFileInfo::exists(setup_->path(u"outside"_s)));
    }

    /// Each link stays inside its own archive, but together they lead outside.
    void linksOfTwoArchivesLeadNowhereElse()
    {
        writeFile(setup_->path(u"private/secret"_s), "secret");
        const QString game = setup_->root() + u"/Game/g"_s;
        setup_->put(gameTarget,
                    zipOf({{u"g/project.godot"_s, "x"},
                           {u"g/README.md"_s, "addons/one/a/b/up/../../../../../private/secret",
                            S_IFLNK | 0777}}));
        setup_->put(addonTarget,
                    zipOf({{u"t/a/b/up"_s, "../..", S_IFLNK | 0777}, {u"t/plugin.cfg"_s, "x"}}));
        QCOMPARE(await(setup_->install()), game);
        QCOMPARE(thrownBy(setup_->fetch({{u"addons/one"_s, setup_->url()}}, game)),
                 u"The add-on \"addons/one\" has links that lead outside the game's folder, so it "
                 "was not kept."_s);
        QVERIFY(!QFileInfo::exists(game + u"/README.md"_s));
        QVERIFY(!QFileInfo::exists(game + u"/addons/one"_s));
    }

    void presentAddonsAreNotFetched()
    {
        writeFile(setup_->addon(u"addons/one/.hidden"_s), "x");
        await(setup_->fetch({{u"addons/one"_s, setup_->url()}, {QString(), setup_->url()}},
                            setup_->repository()));
        await(setup_->fetch({}, setup_->repository()));
        QCOMPARE(setup_->server.requestCount(), 0);
        QCOMPARE(setup_->log, QStringList());
    }

    void theFirstAddonOfAPathCounts()
    {
        QDir().mkpath(setup_->addon(u"addons/one"_s)); // archives have submodules as empty folders
        setup_->put(addonTarget, addonZip("first"));
        setup_->put("/a/two/archive/HEAD.zip", addonZip("second"));
        await(setup_->fetch(
            {{u"addons/one"_s, setup_->url()}, {u"addons/one"_s, setup_->url(u"/a/two"_s)}},
            setup_->repository()));
        QCOMPARE(readFile(setup_->addon(u"addons/one/x"_s)), QByteArray("first"));
        QCOMPARE(setup_->log.size(), 1);
    }

    void anAddonReplacesAFile()
    {
        writeFile(setup_->addon(u"addons/one"_s), "a file where the folder belongs");
        setup_->put(addonTarget, addonZip());
        await(setup_->fetch());
        QCOMPARE(readFile(setup_->addon(u"addons/one/x"_s)), QByteArray("x"));
    }

    /// A worker that still places the folder must find it whole or not at all.
    void aCancelledAddonIsRenamedBeforeItsDeletion()
    {
        setup_->put(addonTarget, addonZip());
        SystemCalls calls;
        calls.before = [&](const QString &line) {
            if (line.startsWith(u"sync all"_s)) {
                setup_->stop.request_stop();
            }
            return 0;
        };
        QVERIFY(endsCancelled(setup_->fetch()));
        spinUntil([&] { return Files::names(setup_->root()).isEmpty(); });
        QVERIFY(
            calls.lines().contains(u"rename %1 to %1"_s.arg(setup_->root() + u"/.brindle-…"_s)));
    }

    void aFailedAddonLeavesItsFolder_data()
    {
        QTest::addColumn<QByteArray>("zip");
        QTest::addColumn<QString>("message");
        QTest::newRow("damaged")
            << addonZip().chopped(9)
            << u"Unzipping failed (ditto exit code 1). The download may be damaged."_s;
        // This archive has only an end record (APPNOTE.TXT 4.3.16).
        QTest::newRow("empty") << QByteArray("PK\x05\x06", 4) + QByteArray(18, 0)
                               << u"The add-on addons/one was empty."_s;
    }
    void aFailedAddonLeavesItsFolder()
    {
        QFETCH(const QByteArray, zip);
        QFETCH(const QString, message);
        QDir().mkpath(setup_->addon(u"addons/one"_s));
        setup_->put(addonTarget, zip);
        QCOMPARE(thrownBy(setup_->fetch()), message);
        QVERIFY(QFileInfo(setup_->addon(u"addons/one"_s)).isDir());
        WorkerHold().open(); // waits for the deletion
        QCOMPARE(Files::names(setup_->root()), QStringList());
    }

    void namesABlockedFolder()
    {
        writeFile(setup_->addon(u"file"_s), "x");
        setup_->put(addonTarget, addonZip());
        const auto thrown = thrownBy(setup_->fetch(u"file/one"_s));
        QVERIFY2(thrown && thrown->contains(setup_->addon(u"file"_s)),
                 qPrintable(thrown.value_or(QString())));
    }
};

QTEST_GUILESS_MAIN(TestRepoDownloader)
#include "tst_repodownloader.moc"
