// In which order Files has things reach the disk; the system's own calls are replaced.

#include "base/Error.h"
#include "files/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

using namespace brindle;

namespace {

int syncError = 0;  // what fsync fails with
QStringList events; // what the system was asked to do, in order; "…" for the rest of hidden names

QString shown(const QString &path)
{
    static const QRegularExpression hidden(
        QStringLiteral("/\\.brindle-(removing|moving)-[0-9a-f-]{36}"));
    return QString(path).replace(hidden, QStringLiteral("/.brindle-\\1-…"));
}

QString pathOf(int descriptor)
{
    return QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(descriptor));
}

QString renamed(const QString &before, const QString &after)
{
    return QStringLiteral("rename %1 to %2").arg(before, after);
}

} // namespace

extern "C" int syncfs(int descriptor) noexcept
{
    events << QStringLiteral("sync all of ") + shown(pathOf(descriptor));
    return 0;
}

extern "C" int fsync(int descriptor)
{
    events << QStringLiteral("sync ") + shown(pathOf(descriptor));
    errno = syncError;
    return syncError == 0 ? 0 : -1;
}

extern "C" int rename(const char *from, const char *to) noexcept
{
    events << renamed(shown(QFile::decodeName(from)), shown(QFile::decodeName(to)));
    return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

class TestFilesOnDisk : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> folder_;

    QString path(const QString &name) const { return folder_->filePath(name); }

    static void write(const QString &path)
    {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        events.clear();
        syncError = 0;
    }

    void aFileIsThereBeforeItsName()
    {
        const QString file = path(QStringLiteral("info.json"));
        const QString hidden = path(QStringLiteral(".brindle-moving-…"));
        Files::writeAtomically(file, "content");
        QCOMPARE(events, (QStringList{QStringLiteral("sync ") + hidden, renamed(hidden, file),
                                      QStringLiteral("sync ") + folder_->path()}));
    }

    void whatDoesNotReachTheDiskIsAFailure()
    {
        const QString file = path(QStringLiteral("info.json"));
        Files::writeAtomically(file, "old");
        syncError = EIO;
        QString told;
        try {
            Files::writeAtomically(file, "new");
        } catch (const SystemError &error) {
            told = error.description();
        }
        QCOMPARE(told, file + QStringLiteral(": ") + qt_error_string(EIO));
        QFile kept(file);
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), QByteArray("old"));
        QCOMPARE(Files::names(folder_->path()), QStringList{QStringLiteral("info.json")});
    }

    void whatIsMovedIsThereBeforeItsName()
    {
        const QString from = path(QStringLiteral("from"));
        const QString place = path(QStringLiteral("place"));
        const QString to = place + QStringLiteral("/to");
        write(from + QStringLiteral("/file"));
        QVERIFY(QDir().mkpath(place));
        Files::move(from, to);
        QCOMPARE(events, (QStringList{QStringLiteral("sync all of ") + from, renamed(from, to),
                                      QStringLiteral("sync ") + place}));
    }

    void ofALinkItsOwnFolderCounts()
    {
        QVERIFY(QFile::link(QStringLiteral("/dev/shm"), path(QStringLiteral("link"))));
        Files::move(path(QStringLiteral("link")), path(QStringLiteral("other")));
        QCOMPARE(events.value(0), QStringLiteral("sync all of ") + folder_->path());
    }

    void whatIsCopiedIsThereBeforeItsName()
    {
        const QTemporaryDir elsewhere(QStringLiteral("/dev/shm/brindle-XXXXXX"));
        struct stat here = {};
        struct stat there = {};
        if (!elsewhere.isValid() ||
            stat(QFile::encodeName(folder_->path()).constData(), &here) != 0 ||
            stat(QFile::encodeName(elsewhere.path()).constData(), &there) != 0 ||
            here.st_dev == there.st_dev) {
            QSKIP("no second file system here");
        }
        const QString from = elsewhere.filePath(QStringLiteral("from"));
        const QString to = path(QStringLiteral("to"));
        const QString hidden = path(QStringLiteral(".brindle-moving-…"));
        write(from + QStringLiteral("/file"));
        Files::move(from, to);
        QCOMPARE(events.mid(0, 5),
                 (QStringList{QStringLiteral("sync all of ") + from, renamed(from, to),
                              QStringLiteral("sync all of ") + hidden, renamed(hidden, to),
                              QStringLiteral("sync ") + folder_->path()}));
        QVERIFY(!QFileInfo::exists(from));
    }

    void whatIsRemovedIsAwayBeforeItIsDeleted()
    {
        const QString tree = path(QStringLiteral("tree"));
        write(tree + QStringLiteral("/file"));
        Files::remove(tree);
        QCOMPARE(events, (QStringList{renamed(tree, path(QStringLiteral(".brindle-removing-…"))),
                                      QStringLiteral("sync ") + folder_->path()}));
    }

    void aFolderIsWaitedForAsAWhole()
    {
        Files::sync(folder_->path());
        QCOMPARE(events, QStringList{QStringLiteral("sync all of ") + folder_->path()});
        QVERIFY_THROWS_EXCEPTION(SystemError, Files::sync(path(QStringLiteral("none"))));
    }
};

QTEST_GUILESS_MAIN(TestFilesOnDisk)
#include "tst_filesondisk.moc"
