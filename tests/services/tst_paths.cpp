// Tests the storage root's path, size and removal.

#include "base/Error.h"
#include "files/Files.h"
#include "files/Storage.h"
#include "support/SystemCalls.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Returns the bytes that an entry occupies on disk. Follows no link.
qint64 allocated(const QString &path)
{
    struct stat status = {};
    return lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_blocks * 512 : -1;
}

} // namespace

class TestPaths : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> folder_;
    std::optional<SystemCalls> calls_; // saves the wait for the disk

    QString path(const QString &name) const { return folder_->filePath(name); }
    qint64 measured() const { return Paths::folderSize(folder_->path()); }
    QStringList namesIn(const QString &name) const
    {
        QStringList names = Files::names(path(name));
        names.sort();
        return names;
    }

    /// Writes a file of `size` bytes. Returns the bytes that it occupies on disk.
    qint64 write(const QString &name, qsizetype size = 10) const
    {
        writeFile(path(name), QByteArray(size, 'x'));
        QFile file(path(name));
        return file.open(QIODevice::ReadWrite) && fsync(file.handle()) == 0
                   ? allocated(file.fileName())
                   : -1;
    }

    /// Fills a folder with everything that a launcher may leave in a storage root.
    void fill(const QString &root)
    {
        calls_.emplace();
        for (const QString &name : {u"Game/game-main/project.godot"_s, u"Engine/4.3-stable/Godot"_s,
                                    u"info.json"_s, u"unfinished"_s, u"imported-4.3-stable.txt"_s,
                                    u".brindle-removing-1/rest"_s, u".brindle-2"_s}) {
            writeFile(path(root + u'/' + name), "x");
        }
    }

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        calls_.reset();
    }

    void theRootIsInTheFirstDataFolder()
    {
        QCOMPARE(Paths::root({u"/data/one"_s, u"/data/two"_s}, u"/home/ada"_s),
                 u"/data/one/Brindle"_s);
        QCOMPARE(Paths::root({}, u"/home/ada"_s),
                 u"/home/ada/Library/Application Support/Brindle"_s);
        const QString data = path(u"data"_s);
        QCOMPARE(Paths::root({data}, QString()), data + u"/Brindle"_s);
        QVERIFY(!QFile::exists(data));
    }

    void theRootFollowsTheSystem_data()
    {
        QTest::addColumn<QByteArray>("dataHome");
        QTest::addColumn<QString>("root");
        const QString usual = QDir::homePath() + u"/.local/share/Brindle"_s;
        QTest::newRow("absolute") << "/data"_ba << u"/data/Brindle"_s;
        QTest::newRow("empty") << ""_ba << usual;
    }
    void theRootFollowsTheSystem()
    {
#ifndef Q_OS_LINUX
        QSKIP("a standard of other desktops");
#endif
        QFETCH(const QByteArray, dataHome);
        QFETCH(const QString, root);
        const QByteArray before = qgetenv("XDG_DATA_HOME");
        const auto restore = qScopeGuard([&] {
            before.isNull() ? qunsetenv("XDG_DATA_HOME") : qputenv("XDG_DATA_HOME", before);
        });
        qputenv("XDG_DATA_HOME", dataHome);
        QCOMPARE(Paths::root(), root);
    }

    void nothingOccupiesNothing()
    {
        QCOMPARE(Paths::folderSize(path(u"none"_s)), 0);
        QCOMPARE(measured(), 0);
        QVERIFY(QDir().mkpath(path(u"a/b"_s)));
        QCOMPARE(measured(), 0);
        write(u"file"_s);
        QCOMPARE(Paths::folderSize(path(u"file"_s)), 0);
    }

    void everythingBelowCounts()
    {
        const qint64 hidden = write(u".hidden"_s, 50'000);
        QVERIFY(hidden >= 50'000);
        QCOMPARE(measured(), hidden);
        const qint64 deeper = write(u".cache/.deep"_s, 20'000);
        const qint64 bundled = write(u"Godot.app/Contents/MacOS/Godot"_s, 70'000);
        QVERIFY(deeper >= 20'000 && bundled >= 70'000);
        QCOMPARE(measured(), hidden + deeper + bundled);
    }

    void allocatedSizeCounts()
    {
        // A hole makes the file long, but occupies nothing.
        QFile sparse(path(u"sparse"_s));
        QVERIFY(sparse.open(QIODevice::WriteOnly));
        QVERIFY(sparse.resize(qint64(1) << 33));
        sparse.close();
        QCOMPARE(measured(), allocated(sparse.fileName()));
        QVERIFY(measured() < qint64(1) << 30);
        const qint64 small = write(u"small"_s, 1);
        QCOMPARE(measured(), allocated(sparse.fileName()) + small);
    }

    void linksAreNotFollowed()
    {
        const QTemporaryDir elsewhere;
        writeFile(elsewhere.filePath(u"file"_s), QByteArray(100'000, 'x'));
        QVERIFY(QFile::link(elsewhere.filePath(u"file"_s), path(u"file"_s)));
        QVERIFY(QFile::link(elsewhere.path(), path(u"folder"_s)));
        QVERIFY(QFile::link(folder_->path(), path(u"loop"_s)));
        QVERIFY(measured() < 100'000);
    }

    void unreadableFoldersArePassedOver()
    {
        const qint64 seen = write(u"seen"_s, 10'000);
        write(u"locked/unseen"_s, 10'000);
        setMode(folder_->path(), 0755);
        setMode(path(u"locked"_s), 0);
        qint64 size = 0;
        qint64 lockedSize = 0;
        asOrdinaryUser([&] {
            size = measured();
            lockedSize = Paths::folderSize(path(u"locked"_s));
        });
        setMode(path(u"locked"_s), 0755);
        QCOMPARE(size, seen);
        QCOMPARE(lockedSize, 0);
    }

    void theWholeRootIsRemoved()
    {
        fill(u"Brindle"_s);
        write(u"Brindle/the player's"_s);
        Storage(path(u"Brindle"_s)).removeAll();
        QCOMPARE(namesIn(u""_s), QStringList());
        Storage(path(u"Brindle"_s)).removeAll();
    }

    void throughALinkOnlyOurEntriesAreRemoved_data()
    {
        QTest::addColumn<QStringList>("others");
        QTest::newRow("nothing else") << QStringList();
        QTest::newRow("a file") << QStringList{u"letter.txt"_s};
        QTest::newRow("similar names")
            << QStringList{u".brindle"_s, u"Engineering"_s, u"game"_s, u"imported"_s};
    }
    void throughALinkOnlyOurEntriesAreRemoved()
    {
        QFETCH(const QStringList, others);
        fill(u"disk/behind"_s);
        for (const QString &name : others) {
            write(u"disk/behind/"_s + name);
        }
        write(u"disk/neighbour"_s);
        QVERIFY(QFile::link(path(u"disk/behind"_s), path(u"Brindle"_s)));
        const Storage storage(path(u"Brindle"_s));
        storage.removeAll();
        QCOMPARE(namesIn(u"disk/behind"_s), others);
        QCOMPARE(QFileInfo(path(u"disk/behind"_s)).exists(), !others.isEmpty());
        QCOMPARE(QFileInfo(path(u"Brindle"_s)).isSymLink(), !others.isEmpty());
        QVERIFY(QFile::exists(path(u"disk/neighbour"_s)));
    }

    void aDanglingLinkIsRemoved()
    {
        QVERIFY(QFile::link(path(u"none"_s), path(u"Brindle"_s)));
        Storage(path(u"Brindle"_s)).removeAll();
        QCOMPARE(namesIn(u""_s), QStringList());
    }

    void aStoppedRemovalThroughALinkCanBeFinished()
    {
        fill(u"behind"_s);
        QVERIFY(QFile::link(path(u"behind"_s), path(u"Brindle"_s)));
        std::stop_source stop;
        stop.request_stop();
        const Storage storage(path(u"Brindle"_s));
        storage.removeAll(stop.get_token());
        QVERIFY(QFileInfo(storage.root).isSymLink());
        QVERIFY(!QFile::exists(storage.gameFolder()));
        QVERIFY(!namesIn(u"behind"_s).isEmpty());
        storage.removeAll();
        QCOMPARE(namesIn(u""_s), QStringList());
    }

    void leftoversAreClearedInTheRootAndBesideIt()
    {
        fill(u"data/Brindle"_s);
        write(u"data/.brindle-removing-3/rest"_s);
        Storage(path(u"data/Brindle"_s)).clearLeftovers();
        QCOMPARE(namesIn(u"data"_s), QStringList{u"Brindle"_s});
        QCOMPARE(namesIn(u"data/Brindle"_s).filter(u".brindle"_s), QStringList());
        QVERIFY(QFile::exists(path(u"data/Brindle/info.json"_s)));
    }

    void markersAreCleared()
    {
        for (const QString &name : {u"imported-4.3-stable.txt"_s, u"imported-"_s, u"imported"_s,
                                    u"reimported-1"_s, u"info.json"_s}) {
            write(u"Brindle/"_s + name);
        }
        Storage(path(u"Brindle"_s)).clearMarkers();
        QCOMPARE(namesIn(u"Brindle"_s),
                 (QStringList{u"imported"_s, u"info.json"_s, u"reimported-1"_s}));
    }

    void anotherUsersRootIsRefused_data()
    {
        QTest::addColumn<QString>("foreign");
        QTest::newRow("the root") << u"data/Brindle"_s;
        QTest::newRow("the folder that holds it") << u"data"_s;
    }
    void anotherUsersRootIsRefused()
    {
        if (::geteuid() != 0) {
            QSKIP("only root can make another user's folder");
        }
        QFETCH(const QString, foreign);
        write(u"data/Brindle/Game/file"_s);
        const Storage storage(path(u"data/Brindle"_s));
        storage.checkOwner();
        Storage(path(u"none/Brindle"_s)).checkOwner();
        setMode(folder_->path(), 0755);
        asOrdinaryUser([&] { storage.checkOwner(); }); // everybody may use root's folders
        giveToNobody(path(foreign));
        try {
            storage.checkOwner();
            QFAIL("a failure was expected");
        } catch (const SetupError &error) {
            QCOMPARE(error.message,
                     u"The folder %1 belongs to another user, so Brindle does not use it."_s.arg(
                         path(foreign)));
        }
        storage.removeAll();
        QVERIFY(QFile::exists(path(u"data/Brindle/Game/file"_s)));
    }
};

QTEST_GUILESS_MAIN(TestPaths)
#include "tst_paths.moc"
