// Tests that the sandbox allows everything that unpacking needs, and nothing else.

#include "sandbox/Sandbox.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <sys/syscall.h>
#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

constexpr int anyError = -1000;

} // namespace

class TestSandbox : public QObject
{
    Q_OBJECT

    std::optional<QTemporaryDir> top_; // only its folder "inside" may be written

    QString path(const char *name) const { return top_->filePath(QString::fromLatin1(name)); }

    /// Describes the files outside, which attempts try to change.
    QString outside() const
    {
        QString found;
        for (const char *name : {"archive", "outside/file", "outside/new", "outside/folder"}) {
            const QFileInfo file(path(name));
            found += u"%1 %2 %3\n"_s.arg(file.exists()).arg(file.size()).arg(file.permissions());
        }
        return found;
    }

    /// Returns the number of the attempt's error, 0 for none, or minus the signal that ended it.
    int attempt(const char *what, const char *name, const char *folder = "inside") const
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral(BRINDLE_CONFINED),
                      {path(folder), path("archive"), QString::fromLatin1(what), path(name)});
        process.waitForFinished();
        if (process.exitStatus() == QProcess::CrashExit) {
            return -process.exitCode();
        }
        bool isNumber = false;
        const int number = process.readAllStandardOutput().toInt(&isNumber);
        if (process.exitCode() != 0 || !isNumber) {
            qFatal("the attempt \"%s\" was not made", what);
        }
        return number;
    }

private Q_SLOTS:
    void init()
    {
        top_.emplace();
        for (const char *folder : {"inside/folder", "outside/folder"}) {
            QVERIFY(QDir().mkpath(path(folder)));
        }
        for (const char *name : {"archive", "inside/file", "outside/file"}) {
            QFile file(path(name));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("content") > 0);
        }
        QVERIFY(QFile::link(path("outside"), path("inside/link")));
    }

    void attempts_data()
    {
        QTest::addColumn<QByteArray>("what");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<int>("error");
        const auto row = [](const char *what, const char *name, int error) {
            QTest::addRow("%s: %s", what, name) << QByteArray(what) << QByteArray(name) << error;
        };
        row("write", "inside/folder/new", 0);
        row("list", "inside", 0);
        row("make a folder", "inside/new", 0);
        row("make a link", "inside/new", 0);
        row("remove", "inside/file", 0);
        row("remove a folder", "inside/folder", 0);
        row("write to the limit", "inside/new", 0);
        row("write too much", "inside/new", EFBIG);
        row("limit of a core", "", 0);
        row("allocate", "", 0);
        const Sandbox::Parts parts = Sandbox::available();
        // Some containers hide this file.
        QVERIFY(parts.calls || !QFile::exists(u"/proc/sys/kernel/seccomp/actions_avail"_s));
#ifdef Q_OS_LINUX
        QCOMPARE(parts.files, syscall(SYS_landlock_create_ruleset, nullptr, 0, 1) > 0);
#endif
        if (parts.memory) {
            row("allocate too much", "", ENOMEM);
        }
        if (parts.files) {
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
        if (parts.calls) {
            row("any other call", "", 0);
            row("any other command", "", 0);
            row("map memory to run", "", ENOSYS);
            row("make memory run", "", ENOSYS);
            row("signal to another", "", ENOSYS);
            row("signal to itself", "", 0);
            row("empty", "inside/file", ENOSYS);
            row("write a set-user-id program", "inside/new", ENOSYS);
#ifdef Q_PROCESSOR_X86_64
            row("call of another machine", "", -SIGSYS);
#endif
        }
        if (parts.files && parts.calls) {
            for (const char *what : {"read", "write", "empty", "open for both", "open for neither",
                                     "open for neither, emptying", "open a path"}) {
                for (const char *name :
                     {"outside/file", "inside/../outside/file", "inside/link/file", "archive"}) {
                    row(what, name, anyError);
                }
            }
        }
    }

    void attempts()
    {
        QFETCH(const QByteArray, what);
        QFETCH(const QByteArray, name);
        QFETCH(const int, error);
        const QString before = outside();
        const int found = attempt(what, name);
        QVERIFY2(error == anyError ? found != 0 : found == error,
                 qPrintable(QString::number(found)));
        QCOMPARE(outside(), before);
    }

    void nothingMayBeWrittenWithoutAFolder()
    {
        if (!Sandbox::available().files) {
            QSKIP("this kernel has no Landlock");
        }
        QCOMPARE(attempt("write", "inside/new", "none"), EACCES);
        QCOMPARE(attempt("write", "inside/new", "archive"), EACCES);
    }
};

QTEST_GUILESS_MAIN(TestSandbox)
#include "tst_sandbox.moc"
