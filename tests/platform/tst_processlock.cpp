// A lock by file: who gets it, and who loses it when.

#include "platform/ProcessLock.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

using namespace brindle;
using Outcome = ProcessLock::Outcome;

class TestProcessLock : public QObject
{
    Q_OBJECT

    QTemporaryDir folder_;
    QString file(const char *name = "lock") const { return folder_.filePath(QLatin1String(name)); }

private Q_SLOTS:
    void oneHoldsIt()
    {
        std::optional<ProcessLock> one(file());
        ProcessLock other(file());
        QCOMPARE(one->tryLock(), Outcome::held);
        QCOMPARE(one->tryLock(), Outcome::held);
        QCOMPARE(other.tryLock(), Outcome::taken);
        one.reset();
        QVERIFY(QFile::exists(file()));
        QCOMPARE(other.tryLock(), Outcome::held);
    }

    void aKilledHolderLosesIt()
    {
        int ready[2];
        QCOMPARE(pipe(ready), 0);
        const QByteArray name = QFile::encodeName(file());
        const pid_t child = fork();
        if (child == 0) {
            ProcessLock held(QFile::decodeName(name));
            const char outcome = held.tryLock() == Outcome::held ? 'h' : 'x';
            if (write(ready[1], &outcome, 1) == 1) {
                pause();
            }
            _exit(1);
        }
        char outcome = 0;
        QCOMPARE(read(ready[0], &outcome, 1), ssize_t(1));
        QCOMPARE(outcome, 'h');
        ProcessLock lock(file());
        QCOMPARE(lock.tryLock(), Outcome::taken);
        kill(child, SIGKILL);
        QCOMPARE(waitpid(child, nullptr, 0), child);
        QCOMPARE(lock.tryLock(), Outcome::held);
        close(ready[0]);
        close(ready[1]);
    }

    void unusablePlaces()
    {
        ProcessLock missing(file("missing/lock"));
        QCOMPARE(missing.tryLock(), Outcome::unavailable);
        // Somebody else's file behind a link is not opened.
        QVERIFY(QFile::link(file("elsewhere"), file("link")));
        ProcessLock link(file("link"));
        QCOMPARE(link.tryLock(), Outcome::unavailable);
        QVERIFY(!QFileInfo::exists(file("elsewhere")));
    }
};

QTEST_GUILESS_MAIN(TestProcessLock)
#include "tst_processlock.moc"
