// What is asked of the system to have a folder on its disk; the system's own calls are replaced.

#include "platform/Disk.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

using namespace brindle;

namespace {

QStringList synced;    // paths of open files, in the order of the calls
int treeError = 0;     // what syncfs fails with
int fileError = 0;     // what fsync fails with
QString failingFile;   // for this file only; empty for all
int interruptions = 0; // calls that a signal interrupts

QString pathOf(int descriptor)
{
    return QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(descriptor));
}

int answer(int error)
{
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    errno = error;
    return error == 0 ? 0 : -1;
}

} // namespace

extern "C" int syncfs(int descriptor) noexcept
{
    synced << QStringLiteral("all of ") + pathOf(descriptor);
    return answer(treeError);
}

extern "C" int fsync(int descriptor)
{
    const QString path = pathOf(descriptor);
    synced << path;
    return answer(failingFile.isEmpty() || path == failingFile ? fileError : 0);
}

class TestDiskSync : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> folder_;

    QString at(const QString &name) const { return folder_->filePath(name); }
    QByteArray top() const { return QFile::encodeName(folder_->path()); }
    void write(const QString &name) const
    {
        QDir().mkpath(QFileInfo(at(name)).path());
        QFile file(at(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        synced.clear();
        treeError = fileError = interruptions = 0;
        failingFile.clear();
        write(QStringLiteral("file"));
        write(QStringLiteral("a/b/.hidden"));
        QFile::link(QStringLiteral("/etc/passwd"), at(QStringLiteral("a/link")));
        QFile::link(QStringLiteral("/etc"), at(QStringLiteral("a/folder link")));
    }

    void aTreeIsOneRequest()
    {
        QCOMPARE(Disk::syncTree(top()), 0);
        QCOMPARE(synced, QStringList{QStringLiteral("all of ") + folder_->path()});
    }

    void aTreeIsEveryFileWhereThereIsNoSuchRequest()
    {
        treeError = ENOSYS;
        QCOMPARE(Disk::syncTree(top()), 0);
        // Itself last, for the names in it.
        QCOMPARE(synced.constLast(), folder_->path());
        synced.removeFirst();
        synced.sort();
        QStringList expected{folder_->path(), at(QStringLiteral("file")), at(QStringLiteral("a")),
                             at(QStringLiteral("a/b")), at(QStringLiteral("a/b/.hidden"))};
        expected.sort();
        QCOMPARE(synced, expected);
    }

    void failuresAreTold()
    {
        treeError = EIO;
        QCOMPARE(Disk::syncTree(top()), EIO);
        treeError = ENOSYS;
        fileError = ENOSPC;
        failingFile = at(QStringLiteral("a/b/.hidden"));
        QCOMPARE(Disk::syncTree(top()), ENOSPC);
        failingFile = folder_->path();
        QCOMPARE(Disk::syncTree(top()), ENOSPC);
        QCOMPARE(Disk::syncNames(top()), ENOSPC);
        QCOMPARE(Disk::syncTree(top() + "/none"), ENOENT);
        QCOMPARE(Disk::syncNames(top() + "/none"), ENOENT);
        QCOMPARE(Disk::syncNames(top() + "/file"), ENOTDIR);
    }

    void interruptedRequestsAreRepeated()
    {
        interruptions = 2;
        QCOMPARE(Disk::syncTree(top()), 0);
        QCOMPARE(synced.size(), 3);
    }

    void namesAreTheFolderAlone()
    {
        QCOMPARE(Disk::syncNames(top()), 0);
        QCOMPARE(synced, QStringList{folder_->path()});
    }

    void aFileSystemWithoutTheRequestIsNoFailure()
    {
        fileError = EINVAL;
        QCOMPARE(Disk::syncNames(top()), 0);
        fileError = ENOTSUP;
        QCOMPARE(Disk::syncNames(top()), 0);
    }
};

QTEST_GUILESS_MAIN(TestDiskSync)
#include "tst_disksync.moc"
