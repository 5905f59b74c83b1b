// Tests that one process at a time locks a file or folder.

#include "platform/ProcessLock.h"
#include "support/SystemCalls.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <optional>
#include <unistd.h>

using namespace brindle;
using Outcome = ProcessLock::Outcome;

class TestProcessLock : public QObject
{
    Q_OBJECT

    QTemporaryDir folder_;
    QString file(const char *name = "lock") const { return folder_.filePath(QLatin1String(name)); }

private Q_SLOTS:
    void oneProcessHoldsAFile()
    {
        std::optional<ProcessLock> one(file());
        ProcessLock other(file());
        QCOMPARE(one->tryLock(), Outcome::held);
        QCOMPARE(other.tryLock(), Outcome::taken);
        one.reset();
        QVERIFY(!QFile::exists(file()));
        QCOMPARE(other.tryLock(), Outcome::held);
    }

    void aRefusedLockLeavesNoDescriptorOpen()
    {
        ProcessLock one(file());
        ProcessLock other(file());
        QCOMPARE(one.tryLock(), Outcome::held);
        // A leaked descriptor would show: the system gives the lowest free number.
        const int before = dup(STDERR_FILENO);
        close(before);
        QCOMPARE(other.tryLock(), Outcome::taken);
        const int after = dup(STDERR_FILENO);
        close(after);
        QCOMPARE(after, before);
    }

    void oneProcessHoldsAFolder()
    {
        const QString folder = file("folder");
        QVERIFY(QDir().mkdir(folder));
        std::optional<ProcessLock> one(std::in_place, folder, ProcessLock::Kind::folder);
        ProcessLock other(folder, ProcessLock::Kind::folder);
        QCOMPARE(one->path(), folder);
        QCOMPARE(one->tryLock(), Outcome::held);
        QCOMPARE(other.tryLock(), Outcome::taken);
        one.reset();
        QVERIFY(QDir(folder).isEmpty());
        QCOMPARE(other.tryLock(), Outcome::held);
    }

    void aFileOrFolderThatIsGoneIsNotHeld()
    {
        const QString folder = file("gone");
        QVERIFY(QDir().mkdir(folder));
        ProcessLock lock(folder, ProcessLock::Kind::folder);
        SystemCalls calls;
        int locks = 0;
        calls.before = [&](const QString &) {
            if (++locks == 1) {
                QDir().rmdir(folder);
            }
            return 0;
        };
        QCOMPARE(lock.tryLock(), Outcome::taken);
        QCOMPARE(lock.tryLock(), Outcome::taken);
        QVERIFY(QDir().mkdir(folder));
        QCOMPARE(lock.tryLock(), Outcome::held);

        // Another file takes the name after the first open.
        ProcessLock another(file("replaced"));
        locks = 0;
        calls.before = [&](const QString &) {
            if (++locks == 1) {
                QFile::remove(file("replaced"));
                QFile(file("replaced")).open(QIODevice::WriteOnly);
            }
            return 0;
        };
        QCOMPARE(another.tryLock(), Outcome::taken);
        QCOMPARE(another.tryLock(), Outcome::held);
    }

    void anotherUsersFileIsUnavailable()
    {
        if (geteuid() != 0) {
            QSKIP("only root can make another user's file");
        }
        QVERIFY(QFile(file("foreign")).open(QIODevice::WriteOnly));
        QCOMPARE(chown(QFile::encodeName(file("foreign")).constData(), 65534, 65534), 0);
        QCOMPARE(ProcessLock(file("foreign")).tryLock(), Outcome::unavailable);
        QVERIFY(QFile::exists(file("foreign")));
    }

    void aPathThatCannotBeLocked()
    {
        ProcessLock missing(file("missing/lock"));
        QCOMPARE(missing.tryLock(), Outcome::unavailable);
        // A link could lead to another user's file.
        QVERIFY(QFile::link(file("elsewhere"), file("link")));
        ProcessLock link(file("link"));
        QCOMPARE(link.tryLock(), Outcome::unavailable);
        QVERIFY(!QFileInfo::exists(file("elsewhere")));
        QVERIFY(QFile(file("file")).open(QIODevice::WriteOnly));
        for (const char *name : {"file", "link"}) {
            ProcessLock noFolder(file(name), ProcessLock::Kind::folder);
            QCOMPARE(noFolder.tryLock(), Outcome::unavailable);
        }
    }
};

QTEST_GUILESS_MAIN(TestProcessLock)
#include "tst_processlock.moc"
