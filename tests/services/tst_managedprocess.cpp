// Tests the start, the output and the end of child processes.

#include "base/Error.h"
#include "platform/ChildProcess.h"
#include "process/ManagedProcess.h"
#include "support/Await.h"
#include "support/Fifo.h"
#include "support/Lines.h"
#include "support/TestChild.h"

#include <QDir>
#include <QProcess>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <dlfcn.h>
#include <fcntl.h>
#include <set>
#include <sys/resource.h>
#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Runs the test child. Blanks separate the `steps`.
struct ChildRun
{
    explicit ChildRun(const QString &steps) : ChildRun(steps.split(u' ', Qt::SkipEmptyParts)) {}
    explicit ChildRun(const QStringList &steps)
        : process(std::make_shared<ManagedProcess>(testChild(), steps, Lines::into(lines)))
        , task(process->run(stop.get_token()))
    {}

    qint32 status() { return await(std::move(task)); }
    void waitFor(const QString &line) const
    {
        spinUntil([&] { return lines->contains(line); });
    }

    std::shared_ptr<Lines> lines = std::make_shared<Lines>();
    std::stop_source stop;
    std::shared_ptr<ManagedProcess> process;
    QCoro::Task<qint32> task;
};

/// Returns the lines that a child prints.
template <typename Steps>
QStringList linesOf(const Steps &steps)
{
    ChildRun run(steps);
    const qint32 status = run.status();
    return status == 0 ? run.lines->all() : QStringList{u"exit status %1"_s.arg(status)};
}

/// Kills a process by the number that a child printed. Rejects 0 and 1.
bool killPrinted(const QString &pid)
{
    return pid.toInt() > 1 && ::kill(pid.toInt(), SIGKILL) == 0;
}

thread_local bool startsChild = false;
int wordsToChildren = 0;

} // namespace

#ifdef Q_OS_LINUX
/// Replaces the system's function, by which Qt 6.8 lets a forked child continue.
extern "C" int eventfd_write(int descriptor, quint64 value)
{
    wordsToChildren += startsChild ? 1 : 0;
    return write(descriptor, &value, sizeof value) == sizeof value ? 0 : -1;
}
#endif

class TestManagedProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deliversLines_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QStringList>("lines");
        const auto row = [](const char *name, const QString &steps, const QStringList &lines) {
            QTest::newRow(name) << steps << lines;
        };
        row("nothing", {}, {});
        row("last line without an end", uR"(out:a\nb)"_s, {u"a"_s, u"b"_s});
        row("standard error", uR"(err:oops\n)"_s, {u"oops"_s});
        row("both in order", uR"(out:1\n err:2\n out:3\n err:4)"_s,
            {u"1"_s, u"2"_s, u"3"_s, u"4"_s});
        row("one line from both", uR"(out:a err:b out:c\n)"_s, {u"abc"_s});
    }
    void deliversLines()
    {
        QFETCH(QString, steps);
        QFETCH(QStringList, lines);
        QCOMPARE(linesOf(steps), lines);
    }

    void keepsCountAndOrderInAFlood()
    {
        constexpr qint64 count = 100'000;
        qint64 next = 0;
        qint64 wrong = 0;
        std::set<QThread *> threads;
        std::atomic<int> inside = 0;
        const auto onLine = [&](const QString &line) {
            wrong += line == u"line "_s + QString::number(next++) && ++inside == 1 ? 0 : 1;
            threads.insert(QThread::currentThread());
            --inside;
        };
        ManagedProcess process(testChild(), {u"lines:%1"_s.arg(count)}, onLine);
        QCOMPARE(await(process.run()), 0);
        QCOMPARE(next, count);
        QCOMPARE(wrong, 0);
        QCOMPARE(threads.size(), size_t(1));
        QVERIFY(!threads.contains(QThread::currentThread()));
    }

    void cutsLongLines()
    {
        const QStringList lines = linesOf(u"long:1,10000000"_s);
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().endsWith(u"… (10 MB left out)"), qPrintable(lines.first()));
        QCOMPARE(lines.first().indexOf(u'…'), ManagedProcess::maxLineBytes);
    }

    /// A busy reader must delay the child, not pile up its output.
    void holdsUpAChildThatIsFasterThanTheReader()
    {
        constexpr qsizetype count = 4000;
        QSemaphore proceed;
        std::atomic<bool> waiting = false;
        std::atomic<qsizetype> received = 0;
        const QTemporaryDir folder;
        const QString finished = folder.filePath(u"finished"_s);
        ManagedProcess process(testChild(), {u"long:%1,1000"_s.arg(count), u"touch:"_s + finished},
                               [&](const QString &) {
                                   if (!waiting.exchange(true)) {
                                       proceed.acquire();
                                   }
                                   ++received;
                               });
        auto task = process.run();
        spinUntil([&] { return waiting.load(); });
        QVERIFY(!QFile::exists(finished));
        QVERIFY(process.isRunning());
        proceed.release();
        QCOMPARE(await(std::move(task)), 0);
        QCOMPARE(received.load(), count);
        QVERIFY(QFile::exists(finished));
    }

    void throwsWhenTheChildCannotBeStarted_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("error");
        QTest::newRow("missing") << u"missing"_s << ENOENT;
        QTest::newRow("not executable") << u"text"_s << EACCES;
        QTest::newRow("folder") << u"."_s << EACCES;
        QTest::newRow("no program") << u"garbage"_s << ENOEXEC;
    }
    void throwsWhenTheChildCannotBeStarted()
    {
        QFETCH(QString, name);
        QFETCH(int, error);
        const QTemporaryDir folder;
        for (const QString &file : {u"text"_s, u"garbage"_s}) {
            QFile written(folder.filePath(file));
            QVERIFY(written.open(QIODevice::WriteOnly));
            written.write("no program at all");
        }
        QVERIFY(QFile::setPermissions(folder.filePath(u"garbage"_s),
                                      QFile::ReadOwner | QFile::ExeOwner));
        const QString path = folder.filePath(name);
        const auto lines = std::make_shared<Lines>();
        ManagedProcess process(path, {}, Lines::into(lines));
        std::stop_source stop;
        QString description;
        try {
            await(process.run(stop.get_token()));
        } catch (const SystemError &failure) {
            description = failure.description();
        }
        QCOMPARE(description, path + u": "_s + qt_error_string(error));
        QVERIFY(lines->isEmpty());
        QVERIFY(!process.isRunning());
        process.kill();
        stop.request_stop();
    }

    void givesTheChildNoDescriptorButTheStandardThree()
    {
        std::vector<int> open;
        for (int i = 0; i < 200; ++i) {
            open.push_back(::open("/dev/null", O_RDONLY)); // NOLINT: meant to be inherited
            QVERIFY(open.back() > STDERR_FILENO);
        }
        rlimit limit = {};
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        const int last = static_cast<int>(limit.rlim_cur) - 1;
        QCOMPARE(::dup2(open.front(), last), last);
        open.push_back(last);
        QCOMPARE(linesOf(u"descriptors:"_s), QStringList{u"0 1 2"_s});
        for (const int descriptor : open) {
            ::close(descriptor);
        }
    }

    void inheritsStandardInput()
    {
        const QTemporaryDir folder;
        QFile typed(folder.filePath(u"typed"_s));
        QVERIFY(typed.open(QIODevice::ReadWrite));
        typed.write("typed\n");
        QVERIFY(typed.seek(0));
        const int own = ::dup(STDIN_FILENO);
        QCOMPARE(::dup2(typed.handle(), STDIN_FILENO), STDIN_FILENO);
        const QStringList lines = linesOf(u"stdin:"_s);
        QCOMPARE(::dup2(own, STDIN_FILENO), STDIN_FILENO);
        ::close(own);
        QCOMPARE(lines, QStringList{u"typed"_s});
    }

    void inheritsFolderAndEnvironment()
    {
        qputenv("BRINDLE_TEST", "inherited");
        // The desktop gives these to the launcher for its own window.
        qputenv("XDG_ACTIVATION_TOKEN", "ours");
        qputenv("DESKTOP_STARTUP_ID", "ours");
        const QStringList lines =
            linesOf(u"folder: env:BRINDLE_TEST env:XDG_ACTIVATION_TOKEN env:DESKTOP_STARTUP_ID"_s);
        qunsetenv("BRINDLE_TEST");
        qunsetenv("XDG_ACTIVATION_TOKEN");
        qunsetenv("DESKTOP_STARTUP_ID");
        QCOMPARE(lines,
                 (QStringList{QDir::currentPath(), u"inherited"_s, u"(unset)"_s, u"(unset)"_s}));
    }

    void preparesTheChild()
    {
        // Children inherit the blocked signals of the thread that starts them.
        sigset_t blocked;
        sigset_t own;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        QCOMPARE(::pthread_sigmask(SIG_BLOCK, &blocked, &own), 0);
        const QStringList lines =
            linesOf(u"group: ignored:%1 ignored:%2 blocked:%2"_s.arg(SIGPIPE).arg(SIGTERM));
        ::pthread_sigmask(SIG_SETMASK, &own, nullptr);
        QCOMPARE(lines, (QStringList{u"leader"_s, u"yes"_s, u"no"_s, u"no"_s}));
    }

    /// A launcher that is killed can't let its forked child continue. A child that waited for this
    /// would keep the launcher's locks.
    void noChildWaitsForItsLauncher()
    {
        QProcess child;
        ChildProcess::prepare(child, {});
        startsChild = true;
        child.start(testChild(), {u"exit:0"_s});
        startsChild = false;
        QVERIFY(child.waitForFinished(-1));
        // With the sanitizers Qt always forks, so such children wait.
        QVERIFY(wordsToChildren == 0 || dlsym(RTLD_DEFAULT, "__asan_init"));
    }

    void returnsTheStatus_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<int>("status");
        for (const int code : {0, 3, 255}) {
            QTest::addRow("exit %d", code) << u"out:bye exit:%1"_s.arg(code) << code;
        }
        for (const int number : {SIGHUP, SIGABRT, SIGKILL, SIGSEGV, SIGTERM}) {
            QTest::addRow("signal %d", number) << u"out:bye signal:%1"_s.arg(number) << number;
        }
    }
    void returnsTheStatus()
    {
        QFETCH(const QString, steps);
        QFETCH(const int, status);
        ChildRun run(steps);
        QCOMPARE(run.status(), status);
        QCOMPARE(run.lines->all(), QStringList{u"bye"_s});
        QVERIFY(!run.process->isRunning());
    }

    void terminatesAChildThatIsBeingLaunched()
    {
        ChildRun run(u"wait:"_s);
        run.stop.request_stop();
        QCOMPARE(run.status(), SIGTERM);
    }

    void killsAChildThatIsBeingLaunched()
    {
        ChildRun run(u"wait:"_s);
        run.process->kill();
        QCOMPARE(run.status(), SIGKILL);
    }

    void ignoresRequestsAfterTheRun()
    {
        ManagedProcess process(testChild(), {u"exit:3"_s}, [](const QString &) {});
        std::stop_source stop;
        QCOMPARE(await(process.run(stop.get_token())), 3);
        process.kill();
        stop.request_stop();
    }

    void nobodyLeadsNoGroup()
    {
        static volatile std::sig_atomic_t arrived = 0;
        const auto before = std::signal(SIGWINCH, [](int) { arrived = 1; });
        ChildProcess::sendToGroup(SIGWINCH, 0); // would reach this program
        std::signal(SIGWINCH, before);
        QCOMPARE(int(arrived), 0);
    }

    void killsAStubbornChildWithAllThatItStarted()
    {
        const Lifeline lifeline;
        ChildRun run(
            u"report:15 hold:%1 fork: wait: parent: line:ready wait:"_s.arg(lifeline.path()));
        run.waitFor(u"ready"_s);
        run.stop.request_stop();
        run.waitFor(u"signal 15"_s);
        QVERIFY(run.process->isRunning());
        run.process->kill();
        QCOMPARE(run.status(), SIGKILL);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesTheRestOfTheGroupAfterTheChild()
    {
        const Lifeline lifeline;
        const Gate gate;
        ChildRun run(
            u"fork: hold:%1 line:held wait: parent: report:15 line:ready gate:%2 exit:6"_s.arg(
                lifeline.path(), gate.path()));
        run.waitFor(u"held"_s);
        run.waitFor(u"ready"_s);
        run.stop.request_stop();
        run.waitFor(u"signal 15"_s);
        linesOf(u""_s); // gives the copy the time to die of a signal
        QVERIFY(!lifeline.isDropped());
        gate.open();
        QCOMPARE(run.status(), 6);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void doesNotWaitForOthersThatHoldThePipe()
    {
        const Gate gate;
        ChildRun run(uR"(fork: gate:%1 parent: out:done\nrest exit:4)"_s.arg(gate.path()));
        QCOMPARE(run.status(), 4); // the copy still holds the pipe, as the gate is shut
        QCOMPARE(run.lines->all().mid(1), (QStringList{u"done"_s, u"rest"_s}));
        gate.open();
    }

    void mayBeDestroyedWhileTheChildRuns()
    {
        const Gate gate;
        auto run = std::make_unique<ChildRun>(u"line:before gate:%1 out:after"_s.arg(gate.path()));
        run->waitFor(u"before"_s);
        const auto lines = run->lines;
        const std::weak_ptr<Lines> watched = lines;
        auto task = std::move(run->task);
        run.reset();
        gate.open();
        QCOMPARE(await(std::move(task)), 0);
        QCOMPARE(lines->all(), (QStringList{u"before"_s, u"after"_s}));
        spinUntil([&] { return watched.use_count() == 1; });
    }

    void survivesTheDeathOfItsLauncher()
    {
        const Gate gate;
        const QTemporaryDir folder;
        const QString file = folder.filePath(u"alive"_s);
        ChildRun launcher(
            uR"(pid: launcher:%1 line:playing gate:%2 line:on err:oh\n lines:100000 touch:%3)"_s
                .arg(testChild(), gate.path(), file));
        launcher.waitFor(u"playing"_s);
        QVERIFY(killPrinted(launcher.lines->all().constFirst()));
        QCOMPARE(launcher.status(), SIGKILL);
        gate.open();
        spinUntil([&] { return QFile::exists(file); });
    }

    void survivesTheEndOfItsLauncher()
    {
        const Gate gate;
        const QTemporaryDir folder;
        const QString file = folder.filePath(u"alive"_s);
        ChildRun launcher(u"launcher:%1 line:quit gate:%2 line:on touch:%3"_s.arg(
            testChild(), gate.path(), file));
        // The gate is still shut, so the launcher did not wait for its child.
        QCOMPARE(launcher.status(), 0);
        QVERIFY(!QFile::exists(file));
        gate.open();
        spinUntil([&] { return QFile::exists(file); });
    }

    void isAskedToEndEvenIfTheLauncherEndsAtOnce()
    {
        const Lifeline lifeline;
        ChildRun launcher(uR"(launcher:%1 hold:%2 line:stop\x20and\x20quit wait:)"_s.arg(
            testChild(), lifeline.path()));
        launcher.status();
        spinUntil([&] { return lifeline.isDropped(); });
    }
};

QTEST_GUILESS_MAIN(TestManagedProcess)
#include "tst_managedprocess.moc"
