// The system calls that bring a folder to its disk.

#include "platform/Disk.h"
#include "support/SystemCalls.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <optional>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestDiskSync : public QObject
{
    Q_OBJECT

    std::optional<QTemporaryDir> folder_;
    std::optional<SystemCalls> calls_;
    QMap<QString, int> errors_; // by line

    QString at(const QString &name) const { return folder_->filePath(name); }
    QByteArray top() const { return QFile::encodeName(folder_->path()); }
    QString syncAll() const { return u"sync all of "_s + folder_->path(); }
    QString syncTop() const { return u"sync "_s + folder_->path(); }

private Q_SLOTS:
    void init()
    {
        folder_.emplace();
        QVERIFY(QDir(folder_->path()).mkpath(u"a/b"_s));
        QVERIFY(QFile(at(u"file"_s)).open(QIODevice::WriteOnly));
        QVERIFY(QFile(at(u"a/b/.hidden"_s)).open(QIODevice::WriteOnly));
        QVERIFY(QFile::link(u"/etc/passwd"_s, at(u"a/link"_s)));
        QVERIFY(QFile::link(u"/etc"_s, at(u"a/folder link"_s)));
        errors_.clear();
        calls_.emplace();
        calls_->before = [this](const QString &line) { return errors_.value(line); };
    }

    void aTreeIsOneRequest()
    {
        QCOMPARE(Disk::syncTree(top()), 0);
        QCOMPARE(calls_->lines(), QStringList{syncAll()});
    }

    void aTreeIsEveryFileWhereThereIsNoSuchRequest()
    {
        errors_[syncAll()] = ENOSYS;
        QCOMPARE(Disk::syncTree(top()), 0);
        QStringList lines = calls_->lines();
        QCOMPARE(lines.takeFirst(), syncAll());
        QCOMPARE(lines.constLast(), syncTop()); // the names in it come last
        lines.sort();
        QStringList expected{syncTop()};
        for (const QString &name : {u"file"_s, u"a"_s, u"a/b"_s, u"a/b/.hidden"_s}) {
            expected << u"sync "_s + at(name);
        }
        expected.sort();
        QCOMPARE(lines, expected);
    }

    void failuresAreReported()
    {
        errors_[syncAll()] = EIO;
        QCOMPARE(Disk::syncTree(top()), EIO);
        errors_[syncAll()] = ENOSYS;
        errors_[syncTop()] = ENOSPC;
        QCOMPARE(Disk::syncTree(top()), ENOSPC);
        QCOMPARE(Disk::syncNames(top()), ENOSPC);
        errors_[u"sync "_s + at(u"a/b/.hidden"_s)] = EIO;
        QCOMPARE(Disk::syncTree(top()), EIO);
        QCOMPARE(Disk::syncTree(top() + "/none"), ENOENT);
        QCOMPARE(Disk::syncNames(top() + "/none"), ENOENT);
        QCOMPARE(Disk::syncNames(top() + "/file"), ENOTDIR);
    }

    void namesAreTheFolderAlone()
    {
        QCOMPARE(Disk::syncNames(top()), 0);
        QCOMPARE(calls_->lines(), QStringList{syncTop()});
        for (const int error : {EINVAL, ENOTSUP}) { // a file system without the request
            errors_[syncTop()] = error;
            QCOMPARE(Disk::syncNames(top()), 0);
        }
    }
};

QTEST_GUILESS_MAIN(TestDiskSync)
#include "tst_disksync.moc"
