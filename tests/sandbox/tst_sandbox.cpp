// What a program can do in the sandbox, and what it can't.

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
using namespace Qt::StringLiterals;

namespace {

constexpr int anyError = -1000;

/// The folder "inside" may be written; everything else belongs to others.
struct Place
{
    Place()
    {
        QDir(top.path()).mkpath(u"inside/folder"_s);
        QDir(top.path()).mkpath(u"outside/folder"_s);
        for (const char *name : {"archive", "inside/file", "outside/file", "outside/program"}) {
            QFile file(path(name));
            if (!file.open(QIODevice::WriteOnly) || file.write("content") < 0) {
                qFatal("can't write %s", name);
            }
        }
        QFile::setPermissions(path("outside/program"), QFile::ReadOwner | QFile::ExeOwner);
        QFile::link(path("outside"), path("inside/link"));
    }
    QString path(const char *name) const { return top.filePath(QString::fromLatin1(name)); }
    /// Describes the files outside that attempts aim at.
    QString outside() const
    {
        QString found;
        for (const char *name : {"archive", "outside/file", "outside/new", "outside/folder"}) {
            const QFileInfo file(path(name));
            found += u"%1 %2 %3\n"_s.arg(file.exists()).arg(file.size()).arg(file.permissions());
        }
        return found;
    }

    QTemporaryDir top;
};

/// Returns the number of the attempt's error, 0 for none, or minus the signal that ended it.
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
    void attempts_data()
    {
        QTest::addColumn<QByteArray>("what");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("error");
        const auto row = [](const char *what, const char *name, int error) {
            QTest::addRow("%s: %s", what, name)
                << QByteArray(what) << QString::fromLatin1(name) << error;
        };
        row("write", "inside/folder/new", 0);
        row("list", "inside", 0);
        row("make a folder", "inside/new", 0);
        row("make a link", "inside/new", 0);
        row("remove", "inside/file", 0);
        row("remove a folder", "inside/folder", 0);
        row("read on", "", 0);
        row("write to the limit", "inside/new", 0);
        row("write too much", "inside/new", EFBIG);
        row("core", "", 0);
        row("allocate", "", 0);
        if (Sandbox::available().memory) {
            row("allocate too much", "", ENOMEM);
        }
        if (Sandbox::available().files) {
            addFilesOutside(row);
        }
        if (Sandbox::available().calls) {
            addCalls(row);
        }
        if (Sandbox::available().files && Sandbox::available().calls) {
            for (const char *what : {"read", "write", "empty", "open for both", "open for neither",
                                     "open for neither, emptying", "open a path", "open anew"}) {
                for (const char *name :
                     {"outside/file", "inside/../outside/file", "inside/link/file", "archive"}) {
                    row(what, name, anyError);
                }
            }
        }
    }

    void attempts()
    {
        QFETCH(QByteArray, what);
        QFETCH(QString, name);
        QFETCH(int, error);
        const Place place;
        const QString before = place.outside();
        const int found = attempt(place, what, place.top.filePath(name));
        QVERIFY2(error == anyError ? found != 0 : found == error,
                 qPrintable(QString::number(found)));
        QCOMPARE(place.outside(), before);
    }

    void nothingMayBeWrittenWithoutAFolder()
    {
        if (!Sandbox::available().files) {
            QSKIP("this kernel has no Landlock");
        }
        const Place place;
        QCOMPARE(attempt(place, "write", place.path("inside/new"), "none"), EACCES);
        QCOMPARE(attempt(place, "write", place.path("inside/new"), "archive"), EACCES);
    }

    void objectsOfOthersAreOutOfReach()
    {
        if (!Sandbox::available().calls) {
            QSKIP("this kernel has no seccomp");
        }
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
        QVERIFY(refused("foreign shared memory", QString::number(memory)));
        QVERIFY(refused("end of foreign shared memory", QString::number(memory)));
        QVERIFY(refused("foreign messages", QString::number(messages)));
        QVERIFY(refused("foreign semaphores", QString::number(semaphores)));
        QVERIFY(refused("foreign queue", QString::fromLatin1(name)));
    }

private:
    template <typename Row>
    static void addFilesOutside(const Row &row)
    {
        for (const char *name : {"outside/new", "outside/file", "archive", "inside/link/file",
                                 "inside/../outside/file"}) {
            row("write", name, EACCES);
        }
        for (const char *name : {"outside/file", "inside/file", "archive"}) {
            row("read", name, EACCES);
        }
        row("list", "outside", EACCES);
        row("list", "", EACCES);
        row("make a folder", "outside/new", EACCES);
        row("make a folder", "inside/link/new", EACCES);
        row("make a link", "outside/new", EACCES);
        row("remove", "outside/file", EACCES);
        row("remove", "archive", EACCES);
        row("remove a folder", "outside/folder", EACCES);
    }

    template <typename Row>
    static void addCalls(const Row &row)
    {
        for (const char *what : {"internet socket",
                                 "local socket",
                                 "pair of sockets",
                                 "fork",
                                 "thread",
                                 "signal",
                                 "signal to a thread",
                                 "trace",
                                 "own namespaces",
                                 "memory file",
                                 "ring",
                                 "type into the terminal",
                                 "change rights of an open file",
                                 "priority of another",
                                 "processors of another",
                                 "scheduler of another",
                                 "signals of a descriptor",
                                 "lease",
                                 "memory to run",
                                 "call from the future"}) {
            row(what, "", ENOSYS);
        }
        row("run", "outside/program", ENOSYS);
        row("mount", "inside/folder", ENOSYS);
        row("change the root", "inside", ENOSYS);
        // Unpacking needs none of these, so that they are refused inside as well.
        for (const char *what : {"change rights", "change the owner", "change times",
                                 "change attributes", "move away", "move down", "cut", "empty"}) {
            row(what, "inside/file", ENOSYS);
        }
        for (const char *what :
             {"write what is another's to run", "make a device", "make a pipe"}) {
            row(what, "inside/new", ENOSYS);
        }
        row("signal to itself", "", 0);
        row("any other call", "", 0); // or the call's number
        row("any other command", "", 0);
#ifdef Q_PROCESSOR_X86_64
        row("call of another machine", "", -SIGSYS);
#endif
    }
};

QTEST_GUILESS_MAIN(TestSandbox)
#include "tst_sandbox.moc"
