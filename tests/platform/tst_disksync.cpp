// The system calls that write a folder to its disk.

#include "platform/Disk.h"
#include "support/SystemCalls.h"

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

    QByteArray top() const { return QFile::encodeName(folder_->path()); }
    QString syncAll() const { return u"sync all of "_s + folder_->path(); }
    QString syncTop() const { return u"sync "_s + folder_->path(); }

private Q_SLOTS:
    void init()
    {
        folder_.emplace();
        QVERIFY(QFile(folder_->filePath(u"file"_s)).open(QIODevice::WriteOnly));
        errors_.clear();
        calls_.emplace();
        calls_->before = [this](const QString &line) { return errors_.value(line); };
    }

    void aTreeIsOneRequest()
    {
        QCOMPARE(Disk::syncTree(top()), 0);
        QCOMPARE(calls_->lines(), QStringList{syncAll()});
        errors_[syncAll()] = EIO;
        QCOMPARE(Disk::syncTree(top()), EIO);
        QCOMPARE(Disk::syncTree(top() + "/none"), ENOENT);
    }

    void namesAreTheFolderAlone()
    {
        QCOMPARE(Disk::syncNames(top()), 0);
        QCOMPARE(calls_->lines(), QStringList{syncTop()});
        for (const int error : {EINVAL, ENOTSUP}) { // a file system without the request
            errors_[syncTop()] = error;
            QCOMPARE(Disk::syncNames(top()), 0);
        }
        errors_[syncTop()] = ENOSPC;
        QCOMPARE(Disk::syncNames(top()), ENOSPC);
        QCOMPARE(Disk::syncNames(top() + "/none"), ENOENT);
        QCOMPARE(Disk::syncNames(top() + "/file"), ENOTDIR);
    }
};

QTEST_GUILESS_MAIN(TestDiskSync)
#include "tst_disksync.moc"
