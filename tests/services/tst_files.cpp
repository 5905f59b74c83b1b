// Tests removals, moves and whole-file writes, and the order of their syncs and renames.

#include "base/Error.h"
#include "files/Files.h"
#include "files/OutputFile.h"
#include "support/SystemCalls.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Returns an entry's own status, or zeros for a missing entry. Follows no link.
struct stat statusOf(const QString &path)
{
    struct stat status = {};
    if (lstat(QFile::encodeName(path).constData(), &status) != 0) {
        status = {};
    }
    return status;
}

bool exists(const QString &path)
{
    return statusOf(path).st_ino != 0;
}

QString modeOf(const QString &path)
{
    return QString::number(statusOf(path).st_mode & 07777U, 8);
}

QStringList sortedNames(const QString &folder)
{
    QStringList names = Files::names(folder);
    names.sort();
    return names;
}

/// Fails the test unless `action` fails with this errno and names this path.
void verifyFails(const std::function<void()> &action, int code, const QString &path)
{
    try {
        action();
        QFAIL("a failure was expected");
    } catch (const SystemError &failure) {
        QCOMPARE(failure.description(), path + u": "_s + qt_error_string(code));
    }
}

} // namespace

class TestFiles : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> folder_;
    std::optional<SystemCalls> calls_; // saves the wait for the disk

    QString path(const QString &name) const { return folder_->filePath(name); }
    QStringList left() const { return sortedNames(folder_->path()); }

    QString hidden() const { return path(u".brindle-…"_s); }
    static QString syncFile(const QString &path) { return u"sync "_s + path; }
    static QString syncAll(const QString &path) { return u"sync all of "_s + path; }
    static QString rename(const QString &from, const QString &to)
    {
        return u"rename %1 to %2"_s.arg(from, to);
    }

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        setMode(folder_->path(), 0755);
        calls_.emplace();
    }

    void createsFoldersWithTheirParents()
    {
        Files::createFolder(path(u"a/b/c"_s));
        QVERIFY(QFileInfo(path(u"a/b/c"_s)).isDir());
        Files::createFolder(path(u"a/b/c/"_s));
        QVERIFY(QFile::link(path(u"a"_s), path(u"link"_s)));
        Files::createFolder(path(u"link/d"_s));
        QVERIFY(QFileInfo(path(u"a/d"_s)).isDir());
        writeFile(path(u"file"_s), "content");
        for (const QString &name : {path(u"file"_s), path(u"file/below"_s)}) {
            verifyFails([&] { Files::createFolder(name); }, ENOTDIR, name);
        }
    }

    void removesNothingWithoutComplaint()
    {
        Files::remove(path(u"none/below"_s));
        writeFile(path(u"file"_s), "content");
        Files::remove(path(u"file/below"_s));
        QCOMPARE(left(), QStringList{u"file"_s});
    }

    void removesLinksNotTheirTargets()
    {
        writeFile(path(u"target/file"_s), "content");
        for (const QString &target : {u"target"_s, u"none"_s}) {
            QVERIFY(QFile::link(path(target), path(u"link"_s)));
            Files::remove(path(u"link"_s));
            QVERIFY(!exists(path(u"link"_s)));
        }

        writeFile(path(u"tree/sub/file"_s), "content");
        QVERIFY(QFile::link(path(u"target"_s), path(u"tree/link"_s)));
        QVERIFY(QFile::link(path(u"target"_s), path(u"tree/sub/link"_s)));
        Files::remove(path(u"tree"_s));
        QCOMPARE(left(), QStringList{u"target"_s});
        QCOMPARE(readFile(path(u"target/file"_s)), "content");
    }

    void removesFilesAndWholeFolders()
    {
        const QString tree = path(u"tree"_s);
        for (int i = 0; i < 50; ++i) {
            writeFile(tree + u"/folder %1/sub/deep/file"_s.arg(i), "content");
            writeFile(tree + u"/folder %1/.hidden"_s.arg(i), "content");
            writeFile(tree + u"/folder %1/sub/other/file"_s.arg(i), "content");
        }
        QVERIFY(QDir().mkpath(tree + u"/empty/empty"_s));
        QCOMPARE(mkfifo(QFile::encodeName(tree + u"/pipe"_s).constData(), 0600), 0);
        QCOMPARE(mkdir((QFile::encodeName(tree) + "/no UTF-8 \xff\n").constData(), 0700), 0);
        writeFile(path(u"file"_s), "content");
        setMode(path(u"file"_s), 0);
        Files::remove(tree);
        Files::remove(path(u"file"_s));
        QCOMPARE(left(), QStringList());
    }

    void removesFoldersWithoutPermissionBits()
    {
        const QString tree = path(u"tree"_s);
        const QStringList folders{tree + u"/locked/inner/innermost"_s, tree + u"/locked/inner"_s,
                                  tree + u"/locked"_s, tree + u"/emptied"_s, tree};
        writeFile(folders[0] + u"/file"_s, "content");
        QVERIFY(QDir().mkpath(folders[3]));
        giveToNobody(folder_->path());
        giveToNobody(folders[0] + u"/file"_s);
        for (const QString &folder : folders) {
            giveToNobody(folder);
            setMode(folder, 0);
        }
        asOrdinaryUser([&] { Files::remove(tree); });
        QCOMPARE(left(), QStringList());
    }

    void freesThePathEvenWhenSomethingCantBeDeleted()
    {
        if (geteuid() != 0) {
            QSKIP("needs a folder of another user's");
        }
        const QString tree = path(u"tree"_s);
        writeFile(tree + u"/file"_s, "content");
        writeFile(tree + u"/foreign/file"_s, "content");
        giveToNobody(folder_->path());
        giveToNobody(tree);
        giveToNobody(tree + u"/file"_s);
        asOrdinaryUser([&] { Files::remove(tree); });
        QCOMPARE(left().size(), 1);
        QVERIFY(left()[0].startsWith(u".brindle-"));
        QCOMPARE(Files::names(path(left()[0])), QStringList{u"foreign"_s});
        Files::removeLeftovers(folder_->path());
        QCOMPARE(left(), QStringList());
    }

    void removesInPlaceWhenRenamingFails()
    {
        const QString tree = path(u"fixed/tree"_s);
        writeFile(tree + u"/sub/file"_s, "content");
        for (const QString &name : {u"/sub/file"_s, u"/sub"_s, QString()}) {
            giveToNobody(tree + name);
        }
        setMode(path(u"fixed"_s), 0555);
        asOrdinaryUser([&] { Files::remove(tree); });
        setMode(path(u"fixed"_s), 0755);
        QCOMPARE(Files::names(path(u"fixed"_s)), QStringList{u"tree"_s});
        QCOMPARE(Files::names(tree), QStringList());
    }

    void aStopEndsDeletionsBetweenFiles()
    {
        writeFile(path(u"tree/a/b"_s), "content");
        std::stop_source stop;
        stop.request_stop();
        Files::remove(path(u"tree"_s), stop.get_token());
        // The folder was renamed away, but not deleted.
        QCOMPARE(left().size(), 1);
        const QString hidden = path(left().first());
        QVERIFY(exists(hidden + u"/a"_s) && hidden != path(u"tree"_s));
        Files::removeLeftovers(folder_->path(), stop.get_token());
        QVERIFY(exists(hidden + u"/a"_s));
        Files::removeLeftovers(folder_->path());
        QCOMPARE(left(), QStringList());
    }

    void clearsLeftoversOnly()
    {
        writeFile(path(u"target/file"_s), "content");
        writeFile(path(u".brindle-1/sub/file"_s), "content");
        writeFile(path(u".brindle-2"_s), "content");
        QVERIFY(QFile::link(path(u"target"_s), path(u".brindle-3"_s)));
        const QStringList kept{u".Brindle.lock"_s, u".brindle"_s, u"Game/.brindle-5"_s,
                               u"a.brindle-4"_s, u"target/file"_s};
        for (const QString &name : kept) {
            writeFile(path(name), "content");
        }
        Files::removeLeftovers(folder_->path());
        Files::removeLeftovers(path(u"none"_s));
        QCOMPARE(left(), (QStringList{u".Brindle.lock"_s, u".brindle"_s, u"Game"_s,
                                      u"a.brindle-4"_s, u"target"_s}));
        QVERIFY(std::ranges::all_of(kept, [this](const auto &name) { return exists(path(name)); }));
    }

    void movesOnOneFileSystemByRename()
    {
        writeFile(path(u"from/sub/file"_s), "content");
        const auto inode = statusOf(path(u"from"_s)).st_ino;
        Files::move(path(u"from"_s), path(u"to"_s));
        QCOMPARE(statusOf(path(u"to"_s)).st_ino, inode);
        QCOMPARE(readFile(path(u"to/sub/file"_s)), "content");
        QCOMPARE(left(), QStringList{u"to"_s});

        writeFile(path(u"new"_s), "new");
        writeFile(path(u"old"_s), "old");
        Files::move(path(u"new"_s), path(u"old"_s));
        QCOMPARE(readFile(path(u"old"_s)), "new");
        QVERIFY(!exists(path(u"new"_s)));
    }

    void failedMovesNameThePath()
    {
        const QString from = path(u"from"_s);
        verifyFails([&] { Files::move(from, path(u"to"_s)); }, ENOENT, path(u"to"_s));
        writeFile(from, "content");
        const QString to = path(u"none/to"_s);
        verifyFails([&] { Files::move(from, to); }, ENOENT, to);
        calls_->before = [](const QString &) { return EIO; };
        verifyFails([&] { Files::move(from, path(u"to"_s)); }, EIO, folder_->path());
        QCOMPARE(left(), QStringList{u"from"_s});
    }

    void aFilledFolderIsNotReplaced()
    {
        const QString from = path(u"from"_s);
        writeFile(from + u"/file"_s, "new");
        writeFile(path(u"to/file"_s), "old");
        verifyFails([&] { Files::move(from, path(u"to"_s)); }, ENOTEMPTY, path(u"to"_s));
        QCOMPARE(readFile(from + u"/file"_s), "new");
        QCOMPARE(readFile(path(u"to/file"_s)), "old");
        Files::remove(from);
        QCOMPARE(left(), QStringList{u"to"_s});
    }

    void writesWholeFiles()
    {
        const QString file = path(u"info.json"_s);
        Files::writeAtomically(file, "first and longer");
        QFile open(file);
        QVERIFY(open.open(QIODevice::ReadOnly));
        Files::writeAtomically(file, "second");
        QCOMPARE(readFile(file), "second");
        // An open reader of the old file still gets the old content.
        QCOMPARE(open.readAll(), "first and longer");
        QCOMPARE(left(), QStringList{u"info.json"_s});
    }

    void aNewFileReplacesNothing()
    {
        writeFile(path(u"file"_s), "old");
        QVERIFY(QFile::link(path(u"none"_s), path(u"link"_s)));
        for (const QString &name : {path(u"file"_s), path(u"link"_s)}) {
            verifyFails([&] { const OutputFile file(name); }, EEXIST, name);
        }
        QCOMPARE(readFile(path(u"file"_s)), "old");
        QVERIFY(!exists(path(u"none"_s)));
    }

    void failedWritesNameTheFile()
    {
        QVERIFY(QDir().mkpath(path(u"folder"_s)));
        for (const auto &[name, code] : {std::pair(u"none/file"_s, ENOENT),
                                         {u"folder"_s, EISDIR},
                                         {QString(300, u'n'), ENAMETOOLONG}}) {
            verifyFails([&] { Files::writeAtomically(path(name), "content"); }, code, path(name));
        }
        QCOMPARE(left(), QStringList{u"folder"_s});
    }

    void namesEveryEntry()
    {
        writeFile(path(u".hidden"_s), "content");
        writeFile(path(u"file"_s), "content");
        QVERIFY(QDir().mkpath(path(u"folder/below"_s)));
        QVERIFY(QFile::link(path(u"none"_s), path(u"dangling"_s)));
        QVERIFY(QFile::link(path(u"folder"_s), path(u"link"_s)));
        QCOMPARE(left(),
                 (QStringList{u".hidden"_s, u"dangling"_s, u"file"_s, u"folder"_s, u"link"_s}));
        QCOMPARE(Files::names(path(u"none"_s)), QStringList());
        QCOMPARE(Files::names(path(u"file"_s)), QStringList());
    }

    void createsForThisUserAlone_data()
    {
        QTest::addColumn<uint>("mask");
        QTest::newRow("everything is allowed") << 0u;
        QTest::newRow("usual") << 022u;
    }
    void createsForThisUserAlone()
    {
        QFETCH(const uint, mask);
        const mode_t before = umask(mask);
        Files::createFolder(path(u"a/b"_s));
        Files::writeAtomically(path(u"a/info.json"_s), "content");
        const QString hidden = Files::hiddenSibling(path(u"a/b"_s));
        writeFile(hidden, "content");
        umask(before);
        QCOMPARE(modeOf(path(u"a"_s)), u"700"_s);
        QCOMPARE(modeOf(path(u"a/b"_s)), u"700"_s);
        QCOMPARE(modeOf(path(u"a/info.json"_s)), u"600"_s);
        QCOMPARE(QFileInfo(hidden).path(), path(u"a"_s));
        Files::removeLeftovers(path(u"a"_s));
        QVERIFY(!exists(hidden));
        // An existing folder keeps its mode.
        setMode(path(u"a"_s), 02775);
        Files::createFolder(path(u"a"_s));
        QCOMPARE(modeOf(path(u"a"_s)), u"2775"_s);
    }

    void aFileIsSyncedBeforeItsName()
    {
        const QString file = path(u"info.json"_s);
        Files::writeAtomically(file, "content");
        QCOMPARE(calls_->lines(), (QStringList{syncFile(hidden()), rename(hidden(), file),
                                               syncFile(folder_->path())}));
    }

    void aFailedSyncFailsTheWrite_data()
    {
        QTest::addColumn<bool>("ofTheFolder");
        QTest::addColumn<int>("error");
        QTest::addColumn<bool>("isFailure");
        QTest::newRow("the file") << false << EINVAL << true;
        QTest::newRow("the name") << true << EIO << true;
        QTest::newRow("no request for names") << true << EINVAL << false;
        QTest::newRow("nor for others") << true << ENOTSUP << false;
    }
    void aFailedSyncFailsTheWrite()
    {
        QFETCH(const bool, ofTheFolder);
        QFETCH(const int, error);
        QFETCH(const bool, isFailure);
        const QString file = path(u"info.json"_s);
        Files::writeAtomically(file, "old");
        calls_->before = [&](const QString &line) {
            return line == syncFile(ofTheFolder ? folder_->path() : hidden()) ? error : 0;
        };
        const auto write = [&] { Files::writeAtomically(file, "new"); };
        isFailure ? verifyFails(write, error, file) : write();
        QCOMPARE(readFile(file), ofTheFolder ? "new" : "old");
        QCOMPARE(left(), QStringList{u"info.json"_s});
    }

    void aMovedFolderIsSyncedBeforeItsName()
    {
        writeFile(path(u"from/file"_s), "content");
        QVERIFY(QDir().mkpath(path(u"place"_s)));
        Files::move(path(u"from"_s), path(u"place/to"_s));
        QCOMPARE(calls_->lines(), (QStringList{syncAll(folder_->path()),
                                               rename(path(u"from"_s), path(u"place/to"_s)),
                                               syncFile(path(u"place"_s))}));
    }

    void aRemovedFolderIsRenamedBeforeItIsDeleted()
    {
        writeFile(path(u"tree/file"_s), "content");
        Files::remove(path(u"tree"_s));
        QCOMPARE(calls_->lines(),
                 (QStringList{rename(path(u"tree"_s), hidden()), syncFile(folder_->path())}));
    }

    void aFolderIsSyncedAsAWhole()
    {
        Files::sync(folder_->path());
        QCOMPARE(calls_->lines(), QStringList{syncAll(folder_->path())});
        QVERIFY_THROWS_EXCEPTION(SystemError, Files::sync(path(u"none"_s)));
    }

    void nothingGetsItsNameAfterAStop_data()
    {
        QTest::addColumn<QString>("call");
        QTest::newRow("a file") << u"write"_s;
        QTest::newRow("a moved folder") << u"move"_s;
        QTest::newRow("a synced folder") << u"sync"_s;
    }
    void nothingGetsItsNameAfterAStop()
    {
        QFETCH(const QString, call);
        writeFile(path(u"from/file"_s), "content");
        std::stop_source stop;
        calls_->before = [&](const QString &line) {
            if (line.startsWith(u"sync")) {
                stop.request_stop(); // during the wait for the disk
            }
            return 0;
        };
        const auto act = [&] {
            if (call == u"write") {
                Files::writeAtomically(path(u"info.json"_s), "content", stop.get_token());
            } else if (call == u"move") {
                Files::move(path(u"from"_s), path(u"to"_s), stop.get_token());
            } else {
                Files::sync(folder_->path(), stop.get_token());
            }
        };
        QVERIFY_THROWS_EXCEPTION(CancellationError, act());
        QCOMPARE(left(), QStringList{u"from"_s});
    }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "tst_files.moc"
