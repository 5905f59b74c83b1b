// The game's archive and its add-ons, from a real server, unpacked by the real tool.

#include "../torture/Tree.h"
#include "base/Error.h"
#include "demo/ZipWriter.h"
#include "files/Files.h"
#include "project/RepoDownloader.h"
#include "support/ServedFiles.h"
#include "support/Thrown.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <filesystem>
#include <unistd.h>

using namespace brindle;

namespace {

const QByteArray gameTarget = "/tessel-works/godot-brindle/archive/refs/heads/main.zip";

QByteArray zipOf(const QMap<QString, QByteArray> &files)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("made.zip"));
    ZipWriter writer(path);
    for (auto it = files.begin(); it != files.end(); ++it) {
        writer.add(it.key(), it.value());
    }
    writer.close();
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray gameZip()
{
    return zipOf({{QStringLiteral("godot-brindle-main/project.godot"), "config_version=5\n"},
                  {QStringLiteral("godot-brindle-main/main.gd"), "extends Node\n"}});
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

/// What a repository may hold: names, sizes, links and modes of all kinds.
Tree variedTree()
{
    Tree tree;
    tree.add(QStringLiteral("project.godot"), "config_version=5\n");
    tree.add(QStringLiteral(".gitignore"), "*.tmp\n");
    tree.add(QStringLiteral("empty"), QByteArray());
    tree.add(QStringLiteral("levels/deep/in/a/folder/level.tscn"), QByteArray(70'000, 'l'));
    tree.add(QStringLiteral("heights.txt"),
             "PackedFloat32Array(" + QByteArray("0, ").repeated(500'000));
    QByteArray noise(300'000, Qt::Uninitialized);
    for (qsizetype i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<char>((i * 2654435761U) >> 13U);
    }
    tree.add(QStringLiteral("art/picture.bin"), noise);
    tree.add(QStringLiteral("tools/export.sh"), "#!/bin/sh\n", Tree::Type::program);
    tree.add(QStringLiteral("latest"), "levels/deep", Tree::Type::link);
    tree.add(QStringLiteral("a name with blanks"), "x");
    tree.add(QString::fromUtf8("Übersetzung/日本.po"), "x");
    return tree;
}

void run(const QString &program, const QStringList &arguments, const QString &folder)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(program, arguments);
    QVERIFY2(process.waitForFinished() && process.exitCode() == 0, qPrintable(program));
}

/// A downloader with folders of its own and a repository folder to put add-ons into.
struct Setup
{
    explicit Setup(const QUrl &host = {})
        : repo(host.isEmpty() ? server.url() : host, root(), folder.filePath(QStringLiteral("tmp")),
               QStringLiteral(BRINDLE_DITTO))
    {
        Files::createFolder(folder.filePath(QStringLiteral("tmp")));
        write(repository() + QStringLiteral("/project.godot"), "config_version=5\n");
    }

    QString root() const { return folder.filePath(QStringLiteral("root")); }
    QString repository() const { return folder.filePath(QStringLiteral("repository")); }
    QString addon(const char *path) const
    {
        return repository() + QLatin1Char('/') + QLatin1String(path);
    }
    QStringList leftovers() const { return Files::names(folder.filePath(QStringLiteral("tmp"))); }

    /// An address on the server, as ".gitmodules" would write it.
    QString url(const char *path) const { return server.url().toString() + QLatin1String(path); }
    ProjectInfo info(const QList<Submodule> &submodules) const
    {
        ProjectInfo info;
        info.repoRoot = repository();
        info.submodules = submodules;
        return info;
    }
    QCoro::Task<> fetch(const QList<Submodule> &submodules)
    {
        return repo.fetchSubmodules(
            info(submodules), [](qint64, qint64, double) {},
            [this](const QString &line) { log << line; }, stop.get_token());
    }
    QCoro::Task<QString> install()
    {
        return repo.installGame([](qint64, qint64, double) {}, stop.get_token());
    }

    QTemporaryDir folder;
    ServedFiles server;
    std::stop_source stop;
    QStringList log;
    RepoDownloader repo;
};

} // namespace

class TestRepoDownloader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theGameIsInstalledInItsOwnTopFolder()
    {
        Setup setup;
        setup.server.put(gameTarget, gameZip());
        const QString project = await(setup.install());
        QCOMPARE(project, setup.root() + QStringLiteral("/Game/godot-brindle-main"));
        QCOMPARE(read(project + QStringLiteral("/main.gd")), QByteArray("extends Node\n"));
        QVERIFY(setup.leftovers().isEmpty());
    }

    void archivesOfTheUsualTools_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QStringList>("arguments"); // "{zip}" is where the archive shall be
        const QString top = QStringLiteral("godot-brindle-main");
        QTest::newRow("git archive") << QStringLiteral("git")
                                     << QStringList{QStringLiteral("-C"),
                                                    top,
                                                    QStringLiteral("archive"),
                                                    QStringLiteral("--format=zip"),
                                                    QStringLiteral("--prefix=%1/").arg(top),
                                                    QStringLiteral("--output={zip}"),
                                                    QStringLiteral("HEAD")};
        QTest::newRow("zip") << QStringLiteral("zip")
                             << QStringList{QStringLiteral("--quiet"),
                                            QStringLiteral("--symlinks"),
                                            QStringLiteral("--recurse-paths"),
                                            QStringLiteral("{zip}"),
                                            top,
                                            QStringLiteral("--exclude"),
                                            top + QStringLiteral("/.git/*")};
    }

    void archivesOfTheUsualTools()
    {
        QFETCH(const QString, program);
        QFETCH(QStringList, arguments);
        const QTemporaryDir folder;
        const QString source = folder.filePath(QStringLiteral("godot-brindle-main"));
        const Tree tree = variedTree();
        tree.write(source);
        const QStringList git{QStringLiteral("-C"), source,
                              QStringLiteral("-c"), QStringLiteral("user.name=a"),
                              QStringLiteral("-c"), QStringLiteral("user.email=a@b.c")};
        run(QStringLiteral("git"), git + QStringList{QStringLiteral("init"), QStringLiteral("-q")},
            folder.path());
        run(QStringLiteral("git"), git + QStringList{QStringLiteral("add"), QStringLiteral(".")},
            folder.path());
        run(QStringLiteral("git"),
            git + QStringList{QStringLiteral("commit"), QStringLiteral("-qm"), QStringLiteral("a")},
            folder.path());
        const QString zip = folder.filePath(QStringLiteral("made.zip"));
        arguments.replaceInStrings(QStringLiteral("{zip}"), zip);
        run(program, arguments, folder.path());

        Setup setup;
        setup.server.put(gameTarget, read(zip));
        const QString project = await(setup.install());
        QCOMPARE(project, setup.root() + QStringLiteral("/Game/godot-brindle-main"));
        QCOMPARE(Tree::read(project).differences(tree), QStringList());

        // And the same as an add-on.
        setup.server.put("/a/one/archive/HEAD.zip", read(zip));
        await(setup.fetch({{QStringLiteral("addons/one"), setup.url("/a/one.git")}}));
        QCOMPARE(Tree::read(setup.addon("addons/one")).differences(tree), QStringList());
    }

    void anEarlierGameIsReplacedWhole()
    {
        Setup setup;
        const QString old = setup.root() + QStringLiteral("/Game/godot-brindle-main/old.gd");
        write(old, "old");
        setup.server.put(gameTarget, gameZip());
        await(setup.install());
        QVERIFY(!QFileInfo::exists(old));
    }

    void aFailedDownloadLeavesTheGameAlone()
    {
        Setup setup;
        const QString old = setup.root() + QStringLiteral("/Game/g/project.godot");
        write(old, "old");
        QCOMPARE(thrownBy(setup.install()),
                 std::optional(QStringLiteral("The server answered with status 404 for "
                                              "127.0.0.1.")));
        QCOMPARE(read(old), QByteArray("old"));
        QVERIFY(setup.leftovers().isEmpty());
    }

    void aCancelledDownloadLeavesTheGameAlone()
    {
        Setup setup;
        const QString old = setup.root() + QStringLiteral("/Game/g/project.godot");
        write(old, "old");
        setup.server.put(gameTarget, gameZip());
        setup.stop.request_stop();
        bool cancelled = false;
        try {
            await(setup.install());
        } catch (const CancellationError &) {
            cancelled = true;
        }
        QVERIFY(cancelled);
        QCOMPARE(read(old), QByteArray("old"));
        QVERIFY(setup.leftovers().isEmpty());
    }

    void aDamagedArchiveFails()
    {
        Setup setup;
        setup.server.put(gameTarget, gameZip().chopped(30));
        QCOMPARE(thrownBy(setup.install()),
                 std::optional(QStringLiteral("Unzipping failed (ditto exit code 1). The download "
                                              "may be damaged.")));
        QVERIFY(setup.leftovers().isEmpty());
        QVERIFY(Files::names(setup.root() + QStringLiteral("/Game")).isEmpty());
    }

    void anArchiveWithoutAProjectFails()
    {
        Setup setup;
        setup.server.put(gameTarget, zipOf({{QStringLiteral("x/readme"), "x"}}));
        QCOMPARE(
            thrownBy(setup.install()),
            std::optional(QStringLiteral("The downloaded game has no project.godot file, so it "
                                         "can't be started.")));
        QVERIFY(QFileInfo::exists(setup.root() + QStringLiteral("/Game/x/readme")));
        QVERIFY(setup.leftovers().isEmpty());
    }

    void aBadAddressTouchesNothing()
    {
        Setup setup(QUrl(QStringLiteral("http://")));
        QCOMPARE(thrownBy(setup.install()),
                 std::optional(QStringLiteral("Internal error: bad download address.")));
        QVERIFY(!QFileInfo::exists(setup.root()));
        QVERIFY(setup.leftovers().isEmpty());
    }

    void aStagingFolderThatCannotBeMade()
    {
        Setup setup;
        const QString file = setup.folder.filePath(QStringLiteral("file"));
        write(file, "x");
        RepoDownloader repo(setup.server.url(), setup.root(), file, QStringLiteral(BRINDLE_DITTO));
        const auto thrown = thrownBy(repo.installGame([](qint64, qint64, double) {}, {}));
        QVERIFY(thrown);
        QVERIFY2(thrown->contains(file), qPrintable(*thrown));
        QVERIFY(setup.server.requests().isEmpty());
    }

    void addonsAreFetchedIntoTheirPlaces()
    {
        Setup setup;
        setup.server.put("/a/one/archive/HEAD.zip",
                         zipOf({{QStringLiteral("one-abc/plugin.cfg"), "one"}}));
        setup.server.put("/a/two//archive/HEAD.zip",
                         zipOf({{QStringLiteral("two-abc/.hidden"), "two"}}));
        await(setup.fetch({{QStringLiteral("addons/one"), setup.url("/a/one.git")},
                           {QStringLiteral("deep/er/two"), setup.url("/a/two/")}}));
        QCOMPARE(read(setup.addon("addons/one/plugin.cfg")), QByteArray("one"));
        QCOMPARE(read(setup.addon("deep/er/two/.hidden")), QByteArray("two"));
        QCOMPARE(setup.log, (QStringList{QStringLiteral("Fetching add-on addons/one"),
                                         QStringLiteral("Fetching add-on deep/er/two")}));
        QVERIFY(setup.leftovers().isEmpty());
    }

    void addonsElsewhereAreRefused_data()
    {
        QTest::addColumn<QString>("url");
        QTest::newRow("another host") << QStringLiteral("https://elsewhere.example/a/one.git");
        QTest::newRow("a sub-domain") << QStringLiteral("https://sub.127.0.0.1/a/one");
        QTest::newRow("relative") << QStringLiteral("../one.git");
        QTest::newRow("user at host") << QStringLiteral("git@127.0.0.1:a/one.git");
        QTest::newRow("empty") << QString();
        QTest::newRow("no host") << QStringLiteral("file:///a/one");
    }

    void addonsElsewhereAreRefused()
    {
        QFETCH(QString, url);
        Setup setup;
        QCOMPARE(thrownBy(setup.fetch({{QStringLiteral("addons/one"), url}})),
                 std::optional(QStringLiteral("The game needs the add-on \"addons/one\" from %1, "
                                              "which this app can only fetch from GitHub.")
                                   .arg(url)));
        QVERIFY(setup.server.requests().isEmpty());
        QVERIFY(setup.log.isEmpty());
        QVERIFY(setup.leftovers().isEmpty());
    }

    void hostsCompareByLetter()
    {
        Setup setup(QUrl(QStringLiteral("http://localhost")));
        const QString url = QStringLiteral("http://LOCALHOST/a/one");
        const auto thrown = thrownBy(setup.fetch({{QStringLiteral("x"), url}}));
        QVERIFY(thrown);
        QVERIFY(thrown->endsWith(QStringLiteral("which this app can only fetch from GitHub.")));
    }

    void addonsOutsideAreRefused_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("above") << QStringLiteral("../outside");
        QTest::newRow("above by a detour") << QStringLiteral("addons/../../outside");
        QTest::newRow("absolute") << QStringLiteral("/outside");
        QTest::newRow("through a link") << QStringLiteral("way/outside");
    }

    void addonsOutsideAreRefused()
    {
        QFETCH(QString, path);
        Setup setup;
        QVERIFY(QFile::link(setup.folder.path(), setup.addon("way")));
        setup.server.put("/a/one/archive/HEAD.zip", zipOf({{QStringLiteral("one/x"), "x"}}));
        QCOMPARE(
            thrownBy(setup.fetch({{path, setup.url("/a/one")}})),
            std::optional(QStringLiteral("The add-on \"%1\" lies outside the game's folder, so "
                                         "it was not fetched.")
                              .arg(path)));
        QVERIFY(setup.server.requests().isEmpty());
        QVERIFY(!QFileInfo::exists(setup.folder.filePath(QStringLiteral("outside"))));
    }

    void whatIsPresentIsNotFetched()
    {
        Setup setup;
        write(setup.addon("addons/one/.hidden"), "x");
        await(setup.fetch({{QStringLiteral("addons/one"), setup.url("/a/one")},
                           {QString(), setup.url("/a/empty-path")}}));
        QVERIFY(setup.server.requests().isEmpty());
        QVERIFY(setup.log.isEmpty());
    }

    void anEmptyListDoesNothing()
    {
        Setup setup;
        await(setup.fetch({}));
        QVERIFY(setup.log.isEmpty());
    }

    void onePathIsFilledOnce()
    {
        Setup setup;
        QDir().mkpath(setup.addon("addons/one")); // as the archive leaves a submodule's folder
        setup.server.put("/a/one/archive/HEAD.zip", zipOf({{QStringLiteral("t/x"), "first"}}));
        setup.server.put("/a/two/archive/HEAD.zip", zipOf({{QStringLiteral("t/x"), "second"}}));
        await(setup.fetch({{QStringLiteral("addons/one"), setup.url("/a/one")},
                           {QStringLiteral("addons/one"), setup.url("/a/two")}}));
        QCOMPARE(read(setup.addon("addons/one/x")), QByteArray("first"));
        QCOMPARE(setup.log.size(), 1);
    }

    void aFailureKeepsEarlierAddonsAndTheNextCallGoesOn()
    {
        Setup setup;
        setup.server.put("/a/one/archive/HEAD.zip", zipOf({{QStringLiteral("t/x"), "one"}}));
        const QList<Submodule> both{{QStringLiteral("one"), setup.url("/a/one")},
                                    {QStringLiteral("two"), setup.url("/a/two")}};
        QVERIFY(thrownBy(setup.fetch(both)));
        QCOMPARE(read(setup.addon("one/x")), QByteArray("one"));
        QVERIFY(!QFileInfo::exists(setup.addon("two")));
        QVERIFY(setup.leftovers().isEmpty());

        setup.server.put("/a/two/archive/HEAD.zip", zipOf({{QStringLiteral("t/x"), "two"}}));
        await(setup.fetch(both));
        QCOMPARE(read(setup.addon("two/x")), QByteArray("two"));
        QCOMPARE(setup.server.requests().count("/a/one/archive/HEAD.zip"), 1);
        // Once for each attempt: the line comes before the download.
        QCOMPARE(setup.log.count(QStringLiteral("Fetching add-on two")), 2);
    }

    void anEmptyAddonFails()
    {
        Setup setup;
        // An end record alone (APPNOTE.TXT 4.3.16): an archive of nothing.
        setup.server.put("/a/one/archive/HEAD.zip",
                         QByteArray("PK\x05\x06", 4) + QByteArray(18, 0));
        QCOMPARE(thrownBy(setup.fetch({{QStringLiteral("addons/one"), setup.url("/a/one")}})),
                 std::optional(QStringLiteral("The add-on addons/one was empty.")));
        QVERIFY(setup.leftovers().isEmpty());
    }

    void aPlaceThatCannotBeMadeFails()
    {
        Setup setup;
        write(setup.addon("addons"), "a file where a folder should be");
        setup.server.put("/a/one/archive/HEAD.zip", zipOf({{QStringLiteral("t/x"), "x"}}));
        const auto thrown =
            thrownBy(setup.fetch({{QStringLiteral("addons/one"), setup.url("/a/one")}}));
        QVERIFY(thrown);
        QVERIFY2(thrown->contains(QStringLiteral("addons")), qPrintable(*thrown));
        QVERIFY(setup.leftovers().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestRepoDownloader)
#include "tst_repodownloader.moc"
