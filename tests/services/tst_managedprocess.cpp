#include "base/Error.h"
#include "process/ManagedProcess.h"
#include "support/Await.h"
#include "support/Gate.h"
#include "support/Lifeline.h"
#include "support/Lines.h"
#include "support/NoThreads.h"
#include "support/TestChild.h"

#include <QDir>
#include <QProcess>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <fcntl.h>
#include <set>
#include <sys/resource.h>
#include <unistd.h>

using namespace brindle;

namespace {

/// A run of the test child, started.
struct ChildRun
{
    explicit ChildRun(const QStringList &steps)
        : process(std::make_shared<ManagedProcess>(testChild(), steps, Lines::into(lines)))
        , task(process->run())
    {}

    qint32 status() { return await(std::move(task)); }
    void waitFor(const QString &line) const
    {
        spinUntil([&] { return lines->contains(line); });
    }

    std::shared_ptr<Lines> lines = std::make_shared<Lines>();
    std::shared_ptr<ManagedProcess> process;
    QCoro::Task<qint32> task;
};

QStringList linesOf(const QStringList &steps)
{
    ChildRun run(steps);
    const qint32 status = run.status();
    return status == 0 ? run.lines->all()
                       : QStringList{QStringLiteral("exit status %1").arg(status)};
}

QString gateStep(const Gate &gate)
{
    return QStringLiteral("gate:") + gate.path();
}

QString holdStep(const Lifeline &lifeline)
{
    return QStringLiteral("hold:") + lifeline.path();
}

size_t openDescriptors()
{
    return static_cast<size_t>(
        QDir(QStringLiteral("/dev/fd"))
            .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
            .size());
}

/// Kills the process whose number a child printed. Anything else that it printed would be 0, which
/// stands for everything that this test belongs to.
bool killPrinted(const QString &line)
{
    const int pid = line.toInt();
    return pid > 1 && ::kill(pid, SIGKILL) == 0;
}

} // namespace

class TestManagedProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deliversLines_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char *name, const QStringList &steps,
                            const QStringList &expected) {
            QTest::newRow(name) << steps << expected;
        };
        row("nothing", {}, {});
        row("last line without an end", {QStringLiteral(R"(out:a\nb)")},
            {QStringLiteral("a"), QStringLiteral("b")});
        row("carriage return", {QStringLiteral(R"(out:x\r\n)")}, {QStringLiteral("x\r")});
        row("empty lines", {QStringLiteral(R"(out:\n\na\n)")},
            {QStringLiteral(""), QStringLiteral(""), QStringLiteral("a")});
        row("standard error", {QStringLiteral(R"(err:oops\n)")}, {QStringLiteral("oops")});
        row("both in order",
            {QStringLiteral(R"(out:1\n)"), QStringLiteral(R"(err:2\n)"),
             QStringLiteral(R"(out:3\n)"), QStringLiteral("err:4")},
            {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4")});
        row("one line from both",
            {QStringLiteral("out:a"), QStringLiteral("err:b"), QStringLiteral(R"(out:c\n)")},
            {QStringLiteral("abc")});
        row("UTF-8", {QStringLiteral(R"(out:\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\n)")},
            {QStringLiteral("é€😀")});
        row("invalid UTF-8", {QStringLiteral(R"(out:a\xFFb\xC3\n)")},
            {QStringLiteral("a\uFFFDb\uFFFD")});
        row("nul", {QStringLiteral(R"(out:a\x00b\n)")}, {QString::fromLatin1("a\0b", 3)});
    }
    void deliversLines()
    {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, expected);
        QCOMPARE(linesOf(steps), expected);
    }

    void joinsACharacterThatArrivesInTwoReads()
    {
        const Gate gate;
        ChildRun run({QStringLiteral(R"(out:first\n\xC3)"), gateStep(gate),
                      QStringLiteral(R"(out:\xA9\n)")});
        run.waitFor(QStringLiteral("first")); // read together with the half that follows it
        gate.open();
        QCOMPARE(run.status(), 0);
        QCOMPARE(run.lines->all(), (QStringList{QStringLiteral("first"), QStringLiteral("é")}));
    }

    void deliversLinesWhileTheChildRuns()
    {
        const Gate gate;
        ChildRun run({QStringLiteral(R"(out:now\n)"), gateStep(gate)});
        run.waitFor(QStringLiteral("now"));
        QVERIFY(run.process->isRunning());
        gate.open();
        QCOMPARE(run.status(), 0);
    }

    void keepsCountAndOrderInAFlood()
    {
        constexpr qint64 count = 1'000'000;
        qint64 next = 0;
        qint64 wrong = 0;
        ManagedProcess process(
            testChild(), {QStringLiteral("lines:%1").arg(count)}, [&](const QString &line) {
                wrong += line == QStringLiteral("line ") + QString::number(next) ? 0 : 1;
                ++next;
            });
        QCOMPARE(await(process.run()), 0);
        QCOMPARE(next, count);
        QCOMPARE(wrong, 0);
    }

    void makesOneLineOfALongOne()
    {
        const QStringList lines =
            linesOf({QStringLiteral(R"(out:before\n)"), QStringLiteral("long:2,10000000"),
                     QStringLiteral("out:after")});
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines.first(), QStringLiteral("before"));
        for (int i = 0; i < 2; ++i) {
            const QString &line = lines.at(i + 1);
            QVERIFY(line.startsWith(QStringLiteral("line %1 0123456789").arg(i)));
            QVERIFY2(line.endsWith(QStringLiteral("… (10 MB left out)")),
                     qPrintable(line.right(40)));
            QCOMPARE(line.indexOf(u'…'), ManagedProcess::maxLineBytes);
        }
        QCOMPARE(lines.last(), QStringLiteral("after"));
    }

    void makesOneLineOfAnEndlessOne()
    {
        const QStringList lines = linesOf({QStringLiteral("endless:100000000")});
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().endsWith(QStringLiteral("9… (100 MB left out)")),
                 qPrintable(lines.first().right(40)));
        QCOMPARE(lines.first().indexOf(u'…'), ManagedProcess::maxLineBytes);
    }

    /// A reader that is busy must hold the child up, not pile up what it prints.
    void holdsUpAChildThatIsFasterThanTheReader()
    {
        constexpr qsizetype count = 64'000;
        QSemaphore proceed;
        std::atomic<bool> waiting = false;
        std::atomic<qsizetype> received = 0;
        const QTemporaryDir folder;
        const QString finished = folder.filePath(QStringLiteral("finished"));
        ManagedProcess process(
            testChild(),
            {QStringLiteral("long:%1,1000").arg(count), QStringLiteral("touch:") + finished},
            [&](const QString & /*line*/) {
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

    void callsBackOnOneOtherThread()
    {
        std::set<QThread *> threads;
        std::atomic<int> inside = 0;
        bool overlapped = false;
        ManagedProcess process(testChild(), {QStringLiteral("lines:1000")}, [&](const QString &) {
            overlapped = overlapped || ++inside != 1;
            threads.insert(QThread::currentThread());
            --inside;
        });
        await(process.run());
        QCOMPARE(threads.size(), size_t(1));
        QVERIFY(!threads.contains(QThread::currentThread()));
        QVERIFY(!overlapped);
    }

    void mayBeAskedFromTheCallback()
    {
        std::shared_ptr<ManagedProcess> process;
        bool running = false;
        process = std::make_shared<ManagedProcess>(
            testChild(), QStringList{QStringLiteral(R"(out:a\n)"), QStringLiteral("wait:")},
            [&](const QString &) {
                running = process->isRunning();
                process->terminate();
            });
        QCOMPARE(await(process->run()), SIGTERM);
        QVERIFY(running);
    }

    void returnsTheExitCode_data()
    {
        QTest::addColumn<int>("code");
        for (const int code : {0, 1, 3, 127, 139, 255}) {
            QTest::addRow("%d", code) << code;
        }
    }
    void returnsTheExitCode()
    {
        QFETCH(int, code);
        ChildRun run({QStringLiteral("exit:%1").arg(code)});
        QCOMPARE(run.status(), code);
    }

    void returnsTheSignal_data()
    {
        QTest::addColumn<int>("number");
        for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE,
                                 SIGKILL, SIGUSR1, SIGSEGV, SIGUSR2, SIGPIPE, SIGALRM, SIGTERM}) {
            QTest::addRow("%d", number) << number;
        }
    }
    void returnsTheSignal()
    {
        QFETCH(int, number);
        ChildRun run({QStringLiteral("out:last words"), QStringLiteral("signal:%1").arg(number)});
        QCOMPARE(run.status(), number);
        QCOMPARE(run.lines->all(), QStringList{QStringLiteral("last words")});
        QVERIFY(!run.process->isRunning());
    }

    void throwsWhenTheChildCannotBeStarted_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("error");
        QTest::newRow("missing") << QStringLiteral("missing") << ENOENT;
        QTest::newRow("not executable") << QStringLiteral("text") << EACCES;
        QTest::newRow("folder") << QStringLiteral(".") << EACCES;
        QTest::newRow("no program") << QStringLiteral("garbage") << ENOEXEC;
    }
    void throwsWhenTheChildCannotBeStarted()
    {
        QFETCH(QString, name);
        QFETCH(int, error);
        const QTemporaryDir folder;
        for (const QString &file : {QStringLiteral("text"), QStringLiteral("garbage")}) {
            QFile written(folder.filePath(file));
            QVERIFY(written.open(QIODevice::WriteOnly));
            written.write("no program at all");
        }
        QVERIFY(QFile::setPermissions(folder.filePath(QStringLiteral("garbage")),
                                      QFile::ReadOwner | QFile::ExeOwner));

        const QString path = folder.filePath(name);
        const auto lines = std::make_shared<Lines>();
        ManagedProcess process(path, {QStringLiteral("out:a")}, Lines::into(lines));
        QString description;
        try {
            await(process.run());
        } catch (const SystemError &failure) {
            description = failure.description();
        }
        QCOMPARE(description, path + QStringLiteral(": ") + qt_error_string(error));
        QVERIFY(lines->isEmpty());
        QVERIFY(!process.isRunning());
        process.terminate();
        process.kill();
    }

    void throwsWhenThereIsNoThreadToReadIt()
    {
        const auto lines = std::make_shared<Lines>();
        const std::weak_ptr<Lines> watched = lines;
        QString description;
        {
            ManagedProcess process(testChild(), {QStringLiteral("out:a")}, Lines::into(lines));
            noThreads = true;
            auto task = process.run();
            noThreads = false;
            QVERIFY(!process.isRunning());
            process.terminate();
            try {
                await(std::move(task));
            } catch (const SystemError &failure) {
                description = failure.description();
            }
        }
        QCOMPARE(description, testChild() + QStringLiteral(": ") + qt_error_string(EAGAIN));
        QVERIFY(lines->isEmpty());
        QCOMPARE(watched.use_count(), 1);
        QCOMPARE(linesOf({QStringLiteral("out:b")}), QStringList{QStringLiteral("b")});
    }

    void knowsWhetherItRuns()
    {
        const Gate gate;
        ManagedProcess process(testChild(), {gateStep(gate)}, [](const QString &) {});
        QVERIFY(!process.isRunning());
        auto task = process.run();
        QVERIFY(process.isRunning());
        gate.open();
        QCOMPARE(await(std::move(task)), 0);
        QVERIFY(!process.isRunning());
    }

    void terminatesARunningChild()
    {
        ChildRun run({QStringLiteral(R"(out:ready\n)"), QStringLiteral("wait:")});
        run.waitFor(QStringLiteral("ready"));
        run.process->terminate();
        QCOMPARE(run.status(), SIGTERM);
    }

    void terminatesAChildThatIsBeingLaunched()
    {
        ChildRun run({QStringLiteral("wait:")});
        run.process->terminate();
        QCOMPARE(run.status(), SIGTERM);
    }

    void killsAChildThatIsBeingLaunched()
    {
        ChildRun run({QStringLiteral("wait:")});
        run.process->kill();
        QCOMPARE(run.status(), SIGKILL);
    }

    void ignoresRequestsOutsideOfTheRun()
    {
        ManagedProcess process(testChild(), {QStringLiteral("exit:3")}, [](const QString &) {});
        process.terminate();
        process.kill();
        QCOMPARE(await(process.run()), 3);
        process.terminate();
        process.kill();
    }

    void killsAChildThatIgnoresTheRequestWithAllThatItStarted()
    {
        const Lifeline lifeline;
        ChildRun run({QStringLiteral("report:15"), holdStep(lifeline), QStringLiteral("fork:"),
                      QStringLiteral("wait:"), QStringLiteral("parent:"),
                      QStringLiteral(R"(out:ready\n)"), QStringLiteral("wait:")});
        run.waitFor(QStringLiteral("ready"));
        run.process->terminate();
        run.waitFor(QStringLiteral("signal 15"));
        QVERIFY(run.process->isRunning());
        run.process->kill();
        QCOMPARE(run.status(), SIGKILL);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesTheChildOnly()
    {
        const Lifeline lifeline;
        const Gate gate;
        ChildRun run({QStringLiteral("fork:"), holdStep(lifeline), QStringLiteral(R"(out:held\n)"),
                      gateStep(gate), QStringLiteral("parent:"), QStringLiteral("wait:")});
        run.waitFor(QStringLiteral("held"));
        run.process->terminate();
        QCOMPARE(run.status(), SIGTERM);
        QVERIFY(!lifeline.isDropped());
        gate.open();
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesWhatTheChildLeavesBehind()
    {
        const Lifeline lifeline;
        ChildRun run({QStringLiteral("fork:"), holdStep(lifeline), QStringLiteral(R"(out:held\n)"),
                      QStringLiteral("wait:"), QStringLiteral("parent:"), QStringLiteral("wait:")});
        run.waitFor(QStringLiteral("held"));
        run.process->terminateGroup();
        QCOMPARE(run.status(), SIGTERM);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesNobodyElseBeforeTheChildHasEnded()
    {
        const Lifeline lifeline;
        const Gate gate;
        ChildRun run({QStringLiteral("fork:"), holdStep(lifeline), QStringLiteral(R"(out:held\n)"),
                      QStringLiteral("wait:"), QStringLiteral("parent:"),
                      QStringLiteral("report:15"), QStringLiteral(R"(out:ready\n)"), gateStep(gate),
                      QStringLiteral("exit:6")});
        run.waitFor(QStringLiteral("held"));
        run.waitFor(QStringLiteral("ready"));
        run.process->terminateGroup();
        run.waitFor(QStringLiteral("signal 15"));
        linesOf({}); // time enough for a copy that has had the signal as well
        QVERIFY(!lifeline.isDropped());
        gate.open();
        QCOMPARE(run.status(), 6);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesNobodyInASessionOfItsOwn()
    {
        const Lifeline lifeline;
        const Gate gate;
        ChildRun run({QStringLiteral("fork:"), QStringLiteral("session:"), holdStep(lifeline),
                      QStringLiteral(R"(out:held\n)"), gateStep(gate), QStringLiteral("parent:"),
                      QStringLiteral("wait:")});
        run.waitFor(QStringLiteral("held"));
        run.process->terminateGroup();
        QCOMPARE(run.status(), SIGTERM);
        QVERIFY(!lifeline.isDropped());
        gate.open();
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void doesNotWaitForOthersThatHoldThePipe()
    {
        const Gate gate;
        ChildRun run({QStringLiteral("fork:"), gateStep(gate), QStringLiteral("parent:"),
                      QStringLiteral(R"(out:done\nrest)"), QStringLiteral("exit:4")});
        QCOMPARE(run.status(), 4); // the gate is shut, so the copy still holds the pipe
        QCOMPARE(run.lines->all().mid(1),
                 (QStringList{QStringLiteral("done"), QStringLiteral("rest")}));
        gate.open();
    }

    void doesNotWaitForOthersThatFloodThePipe()
    {
        const Lifeline lifeline;
        QString pid;
        bool done = false;
        ManagedProcess process(testChild(),
                               {holdStep(lifeline), QStringLiteral("fork:"),
                                QStringLiteral("lines:1000000000"), QStringLiteral("parent:"),
                                QStringLiteral(R"(out:\ndone\n)"), QStringLiteral("exit:4")},
                               [&](const QString &line) {
                                   pid = pid.isEmpty() ? line : pid;
                                   done = done || line == QStringLiteral("done");
                               });
        QCOMPARE(await(process.run()), 4);
        QVERIFY(done);
        QVERIFY(!lifeline.isDropped());
        QVERIFY2(killPrinted(pid), qPrintable(pid));
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void outlastsAChildThatClosesItsOutput()
    {
        const Gate gate;
        const QTemporaryDir folder;
        const QString closed = folder.filePath(QStringLiteral("closed"));
        ChildRun run({QStringLiteral("out:bye"), QStringLiteral("close:"),
                      QStringLiteral("touch:") + closed, gateStep(gate), QStringLiteral("exit:5")});
        spinUntil([&] { return QFile::exists(closed); });
        QVERIFY(run.process->isRunning());
        gate.open();
        QCOMPARE(run.status(), 5);
        QCOMPARE(run.lines->all(), QStringList{QStringLiteral("bye")});
    }

    void givesTheChildNoDescriptorButTheStandardThree()
    {
        std::vector<int> open;
        for (int i = 0; i < 200; ++i) {
            open.push_back(::open("/dev/null", O_RDONLY)); // left to be inherited
            QVERIFY(open.back() > STDERR_FILENO);
        }
        rlimit limit = {};
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        const int last = static_cast<int>(limit.rlim_cur) - 1;
        QCOMPARE(::dup2(open.front(), last), last);
        open.push_back(last);
        QCOMPARE(linesOf({QStringLiteral("descriptors:")}), QStringList{QStringLiteral("0 1 2")});
        for (const int descriptor : open) {
            ::close(descriptor);
        }
    }

    void keepsNoDescriptorOfAnEndedChild()
    {
        linesOf({});
        const size_t before = openDescriptors();
        for (int i = 0; i < 20; ++i) {
            linesOf({QStringLiteral("out:a")});
        }
        // The last reader threads may just be closing theirs.
        spinUntil([&] { return openDescriptors() <= before; });
    }

    void inheritsStandardInput()
    {
        const QTemporaryDir folder;
        QFile typed(folder.filePath(QStringLiteral("typed")));
        QVERIFY(typed.open(QIODevice::ReadWrite));
        typed.write("typed\n");
        QVERIFY(typed.seek(0));
        const int own = ::dup(STDIN_FILENO);
        QCOMPARE(::dup2(typed.handle(), STDIN_FILENO), STDIN_FILENO);
        const QStringList lines = linesOf({QStringLiteral("stdin:")});
        QCOMPARE(::dup2(own, STDIN_FILENO), STDIN_FILENO);
        ::close(own);
        QCOMPARE(lines, QStringList{QStringLiteral("typed")});
    }

    void inheritsFolderAndEnvironment()
    {
        qputenv("BRINDLE_TEST", "inherited");
        QCOMPARE(linesOf({QStringLiteral("folder:"), QStringLiteral("env:BRINDLE_TEST")}),
                 (QStringList{QDir::currentPath(), QStringLiteral("inherited")}));
        qunsetenv("BRINDLE_TEST");
    }

    void passesArgumentsAsTheyAre()
    {
        const QStringList arguments{
            QStringLiteral(""),   QStringLiteral("a b"),       QStringLiteral("$HOME"),
            QStringLiteral("*"),  QStringLiteral("\"quoted'"), QStringLiteral("é 😀"),
            QStringLiteral("-x"), QStringLiteral("a;b|c"),     QStringLiteral("\\")};
        QStringList expected;
        for (const QString &argument : arguments) {
            expected.append(u'[' + argument + u']');
        }
        QCOMPARE(linesOf(QStringList{QStringLiteral("args:")} + arguments), expected);
    }

    void preparesTheChild()
    {
        // A thread that blocks a signal hands that on to its children, if nothing is done about it.
        sigset_t blocked;
        sigset_t own;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        QCOMPARE(::pthread_sigmask(SIG_BLOCK, &blocked, &own), 0);
        const QStringList lines = linesOf(
            {QStringLiteral("group:"), QStringLiteral("ignored:%1").arg(SIGPIPE),
             QStringLiteral("ignored:%1").arg(SIGTERM), QStringLiteral("blocked:%1").arg(SIGTERM)});
        ::pthread_sigmask(SIG_SETMASK, &own, nullptr);
        QCOMPARE(lines, (QStringList{QStringLiteral("leader"), QStringLiteral("yes"),
                                     QStringLiteral("no"), QStringLiteral("no")}));
    }

    void runsManyAtOnce()
    {
        constexpr qsizetype count = 8;
        std::vector<std::unique_ptr<ChildRun>> runs;
        for (qsizetype i = 0; i < count; ++i) {
            runs.push_back(std::make_unique<ChildRun>(
                QStringList{QStringLiteral("lines:1000"), QStringLiteral("exit:%1").arg(i)}));
        }
        for (qsizetype i = 0; i < count; ++i) {
            ChildRun &run = *runs[static_cast<size_t>(i)];
            QCOMPARE(run.status(), static_cast<qint32>(i));
            QCOMPARE(run.lines->all().size(), 1000);
        }
    }

    void mayBeDroppedWhileTheChildRuns()
    {
        const Gate gate;
        const Lifeline lifeline;
        auto run = std::make_unique<ChildRun>(
            QStringList{holdStep(lifeline), QStringLiteral(R"(out:before\n)"), gateStep(gate),
                        QStringLiteral("out:after")});
        run->waitFor(QStringLiteral("before"));
        const auto lines = run->lines;
        const std::weak_ptr<Lines> watched = lines;
        auto task = std::move(run->task);
        run.reset();
        QVERIFY(!lifeline.isDropped());
        gate.open();
        QCOMPARE(await(std::move(task)), 0);
        QCOMPARE(lines->all(), (QStringList{QStringLiteral("before"), QStringLiteral("after")}));
        spinUntil([&] { return watched.use_count() == 1; });
    }

    void letsNobodyWait()
    {
        const Gate gate;
        const Lifeline lifeline;
        std::weak_ptr<Lines> watched;
        {
            const ChildRun run({holdStep(lifeline), QStringLiteral(R"(out:before\n)"),
                                gateStep(gate), QStringLiteral("lines:100000")});
            run.waitFor(QStringLiteral("before"));
            watched = run.lines;
        }
        gate.open();
        spinUntil([&] { return lifeline.isDropped() && watched.expired(); });
    }

    void survivesTheDeathOfItsLauncher()
    {
        const Gate gate;
        const QTemporaryDir folder;
        const QString file = folder.filePath(QStringLiteral("alive"));
        ChildRun launcher({QStringLiteral("pid:"), QStringLiteral("launcher:") + testChild(),
                           QStringLiteral(R"(out:playing\n)"), gateStep(gate),
                           QStringLiteral(R"(out:still playing\n)"), QStringLiteral(R"(err:oh\n)"),
                           QStringLiteral("lines:100000"), QStringLiteral("touch:") + file});
        launcher.waitFor(QStringLiteral("playing"));
        QVERIFY2(killPrinted(launcher.lines->all().constFirst()),
                 qPrintable(launcher.lines->all().join(u'\n')));
        QCOMPARE(launcher.status(), SIGKILL);
        gate.open();
        spinUntil([&] { return QFile::exists(file); });
    }

    void endsWithItsLauncher_data()
    {
        QTest::addColumn<QString>("verb");
        QTest::addColumn<bool>("mayIgnoreIt");
        QTest::newRow("terminated") << QStringLiteral("terminated:") << false;
        QTest::newRow("killed") << QStringLiteral("killed:") << true;
    }
    void endsWithItsLauncher()
    {
        if (QSysInfo::kernelType() != u"linux") {
            QSKIP("this system binds no child to its parent");
        }
        QFETCH(const QString, verb);
        QFETCH(const bool, mayIgnoreIt);
        const Lifeline lifeline;
        QStringList steps{QStringLiteral("pid:"), verb + testChild(), holdStep(lifeline)};
        if (mayIgnoreIt) {
            steps << QStringLiteral("ignore:%1").arg(SIGTERM);
        }
        ChildRun launcher(steps << QStringLiteral(R"(out:at work\n)") << QStringLiteral("wait:"));
        launcher.waitFor(QStringLiteral("at work"));
        QVERIFY(!lifeline.isDropped());
        QVERIFY2(killPrinted(launcher.lines->all().constFirst()),
                 qPrintable(launcher.lines->all().join(u'\n')));
        QCOMPARE(launcher.status(), SIGKILL);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void survivesTheEndOfItsLauncher()
    {
        const Gate gate;
        const QTemporaryDir folder;
        const QString file = folder.filePath(QStringLiteral("alive"));
        ChildRun launcher({QStringLiteral("launcher:") + testChild(),
                           QStringLiteral(R"(out:quit\n)"), gateStep(gate),
                           QStringLiteral(R"(out:still playing\n)"),
                           QStringLiteral("touch:") + file});
        // The gate is shut: the launcher does not wait for its child.
        QCOMPARE(launcher.status(), 0);
        QVERIFY(!QFile::exists(file));
        gate.open();
        spinUntil([&] { return QFile::exists(file); });
    }

    void survivesTheEndOfItsLauncherWhilePrinting()
    {
        const Lifeline lifeline;
        ChildRun launcher({QStringLiteral("launcher:") + testChild(), holdStep(lifeline),
                           QStringLiteral("pid:"), QStringLiteral(R"(out:quit\n)"),
                           QStringLiteral("lines:1000000000")});
        QCOMPARE(launcher.status(), 0);
        QVERIFY(!lifeline.isDropped());
        QVERIFY2(killPrinted(launcher.lines->all().constFirst()),
                 qPrintable(launcher.lines->all().join(u'\n')));
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void asksTheChildToEndEvenIfTheLauncherEndsAtOnce()
    {
        const Lifeline lifeline;
        ChildRun launcher({QStringLiteral("launcher:") + testChild(), holdStep(lifeline),
                           QStringLiteral(R"(out:stop and quit\n)"), QStringLiteral("wait:")});
        launcher.status();
        spinUntil([&] { return lifeline.isDropped(); });
    }
};

QTEST_GUILESS_MAIN(TestManagedProcess)
#include "tst_managedprocess.moc"
