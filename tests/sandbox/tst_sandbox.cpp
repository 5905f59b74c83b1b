// What a program can still do in the sandbox, and what it can't.

#include "sandbox/Sandbox.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <mqueue.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

using namespace brindle;

namespace {

struct Place
{
    Place()
    {
        QDir(top.path()).mkpath(QStringLiteral("inside/folder"));
        QDir(top.path()).mkpath(QStringLiteral("outside/folder"));
        for (const char *name : {"archive", "inside/file", "outside/file", "outside/program"}) {
            QFile file(path(name));
            if (!file.open(QIODevice::WriteOnly) || file.write("content") < 0) {
                qFatal("can't write %s", name);
            }
        }
        QFile::setPermissions(path("outside/program"), QFile::ReadOwner | QFile::ExeOwner);
    }
    QString path(const char *name) const { return top.filePath(QString::fromLatin1(name)); }

    QTemporaryDir top;
};

/// The number of the error that the attempt got, 0 for none, or minus the signal that ended it.
int attempt(const Place &place, const char *what, const QString &path,
            const char *folder = "inside")
{
    QProcess process;
    process.start(QStringLiteral(BRINDLE_CONFINED),
                  {place.path(folder), place.path("archive"), QString::fromLatin1(what), path});
    process.waitForFinished();
    if (process.exitStatus() == QProcess::CrashExit) {
        return -process.exitCode();
    }
    bool isNumber = false;
    const int number = process.readAllStandardOutput().toInt(&isNumber);
    if (process.exitCode() != 0 || !isNumber) {
        qFatal("%s: %s", what, process.readAllStandardError().constData());
    }
    return number;
}

} // namespace

class TestSandbox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filesWithinAreWritten_data()
    {
        QTest::addColumn<QByteArray>("what");
        QTest::addColumn<QString>("name");
        const auto row = [](const char *what, const char *name) {
            QTest::newRow(what) << QByteArray(what) << QString::fromLatin1(name);
        };
        row("write", "inside/folder/new");
        row("list", "inside");
        row("make a folder", "inside/new");
        row("make a link", "inside/new");
        row("remove", "inside/file");
        row("remove a folder", "inside/folder");
        row("read on", "");
    }

    void filesWithinAreWritten()
    {
        QFETCH(QByteArray, what);
        QFETCH(QString, name);
        const Place place;
        QCOMPARE(attempt(place, what, place.top.filePath(name)), 0);
    }

    void filesOutsideAreOutOfReach_data()
    {
        QTest::addColumn<QByteArray>("what");
        QTest::addColumn<QString>("name");
        const auto row = [](const char *what, const char *name) {
            QTest::addRow("%s: %s", what, name) << QByteArray(what) << QString::fromLatin1(name);
        };
        row("write", "outside/new");
        row("write", "outside/file");
        row("write", "archive");
        row("write", "inside/../outside/file");
        row("read", "outside/file");
        row("read", "inside/file");
        row("read", "archive");
        row("list", "outside");
        row("list", "");
        row("make a folder", "outside/new");
        row("make a link", "outside/new");
        row("remove", "outside/file");
        row("remove", "archive");
        row("remove a folder", "outside/folder");
    }

    void filesOutsideAreOutOfReach()
    {
        QFETCH(QByteArray, what);
        QFETCH(QString, name);
        if (!Sandbox::available().files) {
            QSKIP("this kernel has no Landlock");
        }
        const Place place;
        QCOMPARE(attempt(place, what, place.top.filePath(name)), EACCES);
        QVERIFY(!QFileInfo::exists(place.path("outside/new")));
        for (const char *file : {"archive", "outside/file", "inside/file"}) {
            QCOMPARE(QFileInfo(place.path(file)).size(), 7);
        }
    }

    void aLinkIsNoWayOut()
    {
        if (!Sandbox::available().files) {
            QSKIP("this kernel has no Landlock");
        }
        const Place place;
        QFile::link(place.path("outside"), place.path("inside/link"));
        QCOMPARE(attempt(place, "write", place.path("inside/link/file")), EACCES);
        QCOMPARE(attempt(place, "make a folder", place.path("inside/link/new")), EACCES);
    }

    void placesThatAreMissingAreNotAllowed()
    {
        if (!Sandbox::available().files) {
            QSKIP("this kernel has no Landlock");
        }
        const Place place;
        QCOMPARE(attempt(place, "write", place.path("inside/new"), "none"), EACCES);
        QCOMPARE(attempt(place, "write", place.path("inside/new"), "archive"), EACCES);
    }

    void callsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("what");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("error");
        const auto row = [](const char *what, const char *name = "", int error = ENOSYS) {
            QTest::newRow(what) << QByteArray(what) << QString::fromLatin1(name) << error;
        };
        row("internet socket");
        row("local socket");
        row("pair of sockets");
        row("run", "outside/program");
        row("fork");
        row("thread");
        row("signal");
        row("signal to a thread");
        row("signal to itself", "", 0);
        row("trace");
        row("own namespaces");
        row("memory file");
        row("ring");
        row("type into the terminal");
        row("mount", "inside/folder");
        row("change the root", "inside");
        // Also where it may write: nothing needs it there.
        row("change rights", "inside/file");
        row("change the owner", "inside/file");
        row("change times", "inside/file");
        row("change attributes", "inside/file");
        row("change rights of an open file");
        row("move away", "inside/file");
        row("move down", "inside/file");
        row("write what is another's to run", "inside/new");
        row("cut", "inside/file");
        row("empty", "inside/file");
        row("make a device", "inside/new");
        row("make a pipe", "inside/new");
        row("priority of another");
        row("processors of another");
        row("scheduler of another");
        row("signals of a descriptor");
        row("lease");
        row("memory to run");
        row("any other call", "", 0); // its number if there were one
        row("any other command", "", 0);
        row("call from the future");
#ifdef Q_PROCESSOR_X86_64
        row("call of another machine", "", -SIGSYS);
#endif
    }

    void callsAreRefused()
    {
        QFETCH(QByteArray, what);
        QFETCH(QString, name);
        QFETCH(int, error);
        if (!Sandbox::available().calls) {
            QSKIP("this kernel has no seccomp");
        }
        const Place place;
        QCOMPARE(attempt(place, what, place.top.filePath(name)), error);
    }

    void noDescriptorIsHadForAForeignFile_data()
    {
        QTest::addColumn<QByteArray>("what");
        QTest::addColumn<QString>("name");
        if (!Sandbox::available().calls || !Sandbox::available().files) {
            return;
        }
        for (const char *what : {"read", "write", "empty", "open for both", "open for neither",
                                 "open for neither, emptying", "open a path", "open anew"}) {
            for (const char *name : {"outside/file", "inside/../outside/file", "archive"}) {
                QTest::addRow("%s: %s", what, name)
                    << QByteArray(what) << QString::fromLatin1(name);
            }
        }
    }

    void noDescriptorIsHadForAForeignFile()
    {
        QFETCH(QByteArray, what);
        QFETCH(QString, name);
        const Place place;
        const QString path = place.top.filePath(name);
        const auto rights = QFileInfo(path).permissions();
        QVERIFY(attempt(place, what.constData(), path) != 0);
        QCOMPARE(QFileInfo(path).permissions(), rights);
        QCOMPARE(QFileInfo(path).size(), 7);
    }

    void objectsOfOthersAreOutOfReach()
    {
        const Place place;
        const auto refused = [&place](const char *what, const QString &object) {
            return attempt(place, what, object) == ENOSYS;
        };
        const int memory = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0666);
        const int messages = msgget(IPC_PRIVATE, IPC_CREAT | 0666);
        const int semaphores = semget(IPC_PRIVATE, 1, IPC_CREAT | 0666);
        const QByteArray name = "/brindle-test-" + QByteArray::number(getpid());
        const mqd_t queue = mq_open(name.constData(), O_CREAT | O_RDWR, 0666, nullptr);
        const auto clear = qScopeGuard([&] {
            shmctl(memory, IPC_RMID, nullptr);
            msgctl(messages, IPC_RMID, nullptr);
            semctl(semaphores, 0, IPC_RMID);
            mq_close(queue);
            mq_unlink(name.constData());
        });
        QVERIFY(memory >= 0 && messages >= 0 && semaphores >= 0 && queue >= 0);
        if (Sandbox::available().calls) {
            QVERIFY(refused("foreign shared memory", QString::number(memory)));
            QVERIFY(refused("end of foreign shared memory", QString::number(memory)));
            QVERIFY(refused("foreign messages", QString::number(messages)));
            QVERIFY(refused("foreign semaphores", QString::number(semaphores)));
            QVERIFY(refused("foreign queue", QString::fromLatin1(name)));
        }
    }

    void limits()
    {
        const Place place;
        QCOMPARE(attempt(place, "write to the limit", place.path("inside/new")), 0);
        QCOMPARE(attempt(place, "write too much", place.path("inside/new")), EFBIG);
        QCOMPARE(attempt(place, "core", QString()), 0);
        QCOMPARE(attempt(place, "allocate", QString()), 0);
        if (Sandbox::available().memory) {
            QCOMPARE(attempt(place, "allocate too much", QString()), ENOMEM);
        }
    }
};

QTEST_GUILESS_MAIN(TestSandbox)
#include "tst_sandbox.moc"
