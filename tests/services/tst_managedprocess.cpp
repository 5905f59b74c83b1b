#include "services/ManagedProcess.h"
#include "services/SystemError.h"
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
    return status == 0 ? run.lines->all() : QStringList{u"exit status %1"_qs.arg(status)};
}

QString gateStep(const Gate &gate)
{
    return u"gate:"_qs + gate.path();
}

QString holdStep(const Lifeline &lifeline)
{
    return u"hold:"_qs + lifeline.path();
}

size_t openDescriptors()
{
    return static_cast<size_t>(
        QDir(u"/dev/fd"_qs)
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
        row("last line without an end", {uR"(out:a\nb)"_qs}, {u"a"_qs, u"b"_qs});
        row("carriage return", {uR"(out:x\r\n)"_qs}, {u"x\r"_qs});
        row("empty lines", {uR"(out:\n\na\n)"_qs}, {u""_qs, u""_qs, u"a"_qs});
        row("standard error", {uR"(err:oops\n)"_qs}, {u"oops"_qs});
        row("both in order", {uR"(out:1\n)"_qs, uR"(err:2\n)"_qs, uR"(out:3\n)"_qs, u"err:4"_qs},
            {u"1"_qs, u"2"_qs, u"3"_qs, u"4"_qs});
        row("one line from both", {u"out:a"_qs, u"err:b"_qs, uR"(out:c\n)"_qs}, {u"abc"_qs});
        row("UTF-8", {uR"(out:\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\n)"_qs}, {u"é€😀"_qs});
        row("invalid UTF-8", {uR"(out:a\xFFb\xC3\n)"_qs}, {u"a\uFFFDb\uFFFD"_qs});
        row("nul", {uR"(out:a\x00b\n)"_qs}, {QString::fromLatin1("a\0b", 3)});
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
        ChildRun run({uR"(out:first\n\xC3)"_qs, gateStep(gate), uR"(out:\xA9\n)"_qs});
        run.waitFor(u"first"_qs); // read together with the half that follows it
        gate.open();
        QCOMPARE(run.status(), 0);
        QCOMPARE(run.lines->all(), (QStringList{u"first"_qs, u"é"_qs}));
    }

    void deliversLinesWhileTheChildRuns()
    {
        const Gate gate;
        ChildRun run({uR"(out:now\n)"_qs, gateStep(gate)});
        run.waitFor(u"now"_qs);
        QVERIFY(run.process->isRunning());
        gate.open();
        QCOMPARE(run.status(), 0);
    }

    void keepsCountAndOrderInAFlood()
    {
        constexpr qint64 count = 1'000'000;
        qint64 next = 0;
        qint64 wrong = 0;
        ManagedProcess process(testChild(), {u"lines:%1"_qs.arg(count)}, [&](const QString &line) {
            wrong += line == u"line "_qs + QString::number(next) ? 0 : 1;
            ++next;
        });
        QCOMPARE(await(process.run()), 0);
        QCOMPARE(next, count);
        QCOMPARE(wrong, 0);
    }

    void makesOneLineOfALongOne()
    {
        const QStringList lines =
            linesOf({uR"(out:before\n)"_qs, u"long:2,10000000"_qs, u"out:after"_qs});
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines.first(), u"before"_qs);
        for (int i = 0; i < 2; ++i) {
            const QString &line = lines.at(i + 1);
            QVERIFY(line.startsWith(u"line %1 0123456789"_qs.arg(i)));
            QVERIFY2(line.endsWith(u"… (10 MB left out)"_qs), qPrintable(line.right(40)));
            QCOMPARE(line.indexOf(u'…'), ManagedProcess::maxLineBytes);
        }
        QCOMPARE(lines.last(), u"after"_qs);
    }

    void makesOneLineOfAnEndlessOne()
    {
        const QStringList lines = linesOf({u"endless:100000000"_qs});
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().endsWith(u"9… (100 MB left out)"_qs),
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
        const QString finished = folder.filePath(u"finished"_qs);
        ManagedProcess process(testChild(),
                               {u"long:%1,1000"_qs.arg(count), u"touch:"_qs + finished},
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
        ManagedProcess process(testChild(), {u"lines:1000"_qs}, [&](const QString &) {
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
            testChild(), QStringList{uR"(out:a\n)"_qs, u"wait:"_qs}, [&](const QString &) {
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
        ChildRun run({u"exit:%1"_qs.arg(code)});
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
        ChildRun run({u"out:last words"_qs, u"signal:%1"_qs.arg(number)});
        QCOMPARE(run.status(), number);
        QCOMPARE(run.lines->all(), QStringList{u"last words"_qs});
        QVERIFY(!run.process->isRunning());
    }

    void throwsWhenTheChildCannotBeStarted_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("error");
        QTest::newRow("missing") << u"missing"_qs << ENOENT;
        QTest::newRow("not executable") << u"text"_qs << EACCES;
        QTest::newRow("folder") << u"."_qs << EACCES;
        QTest::newRow("no program") << u"garbage"_qs << ENOEXEC;
    }
    void throwsWhenTheChildCannotBeStarted()
    {
        QFETCH(QString, name);
        QFETCH(int, error);
        const QTemporaryDir folder;
        for (const QString &file : {u"text"_qs, u"garbage"_qs}) {
            QFile written(folder.filePath(file));
            QVERIFY(written.open(QIODevice::WriteOnly));
            written.write("no program at all");
        }
        QVERIFY(QFile::setPermissions(folder.filePath(u"garbage"_qs),
                                      QFile::ReadOwner | QFile::ExeOwner));

        const QString path = folder.filePath(name);
        const auto lines = std::make_shared<Lines>();
        ManagedProcess process(path, {u"out:a"_qs}, Lines::into(lines));
        QString description;
        try {
            await(process.run());
        } catch (const SystemError &failure) {
            description = failure.description();
        }
        QCOMPARE(description, path + u": "_qs + qt_error_string(error));
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
            ManagedProcess process(testChild(), {u"out:a"_qs}, Lines::into(lines));
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
        QCOMPARE(description, testChild() + u": "_qs + qt_error_string(EAGAIN));
        QVERIFY(lines->isEmpty());
        QCOMPARE(watched.use_count(), 1);
        QCOMPARE(linesOf({u"out:b"_qs}), QStringList{u"b"_qs});
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
        ChildRun run({uR"(out:ready\n)"_qs, u"wait:"_qs});
        run.waitFor(u"ready"_qs);
        run.process->terminate();
        QCOMPARE(run.status(), SIGTERM);
    }

    void terminatesAChildThatIsBeingLaunched()
    {
        ChildRun run({u"wait:"_qs});
        run.process->terminate();
        QCOMPARE(run.status(), SIGTERM);
    }

    void killsAChildThatIsBeingLaunched()
    {
        ChildRun run({u"wait:"_qs});
        run.process->kill();
        QCOMPARE(run.status(), SIGKILL);
    }

    void ignoresRequestsOutsideOfTheRun()
    {
        ManagedProcess process(testChild(), {u"exit:3"_qs}, [](const QString &) {});
        process.terminate();
        process.kill();
        QCOMPARE(await(process.run()), 3);
        process.terminate();
        process.kill();
    }

    void killsAChildThatIgnoresTheRequestWithAllThatItStarted()
    {
        const Lifeline lifeline;
        ChildRun run({u"report:15"_qs, holdStep(lifeline), u"fork:"_qs, u"wait:"_qs, u"parent:"_qs,
                      uR"(out:ready\n)"_qs, u"wait:"_qs});
        run.waitFor(u"ready"_qs);
        run.process->terminate();
        run.waitFor(u"signal 15"_qs);
        QVERIFY(run.process->isRunning());
        run.process->kill();
        QCOMPARE(run.status(), SIGKILL);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesTheChildOnly()
    {
        const Lifeline lifeline;
        const Gate gate;
        ChildRun run({u"fork:"_qs, holdStep(lifeline), uR"(out:held\n)"_qs, gateStep(gate),
                      u"parent:"_qs, u"wait:"_qs});
        run.waitFor(u"held"_qs);
        run.process->terminate();
        QCOMPARE(run.status(), SIGTERM);
        QVERIFY(!lifeline.isDropped());
        gate.open();
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesWhatTheChildLeavesBehind()
    {
        const Lifeline lifeline;
        ChildRun run({u"fork:"_qs, holdStep(lifeline), uR"(out:held\n)"_qs, u"wait:"_qs,
                      u"parent:"_qs, u"wait:"_qs});
        run.waitFor(u"held"_qs);
        run.process->terminateGroup();
        QCOMPARE(run.status(), SIGTERM);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesNobodyElseBeforeTheChildHasEnded()
    {
        const Lifeline lifeline;
        const Gate gate;
        ChildRun run({u"fork:"_qs, holdStep(lifeline), uR"(out:held\n)"_qs, u"wait:"_qs,
                      u"parent:"_qs, u"report:15"_qs, uR"(out:ready\n)"_qs, gateStep(gate),
                      u"exit:6"_qs});
        run.waitFor(u"held"_qs);
        run.waitFor(u"ready"_qs);
        run.process->terminateGroup();
        run.waitFor(u"signal 15"_qs);
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
        ChildRun run({u"fork:"_qs, u"session:"_qs, holdStep(lifeline), uR"(out:held\n)"_qs,
                      gateStep(gate), u"parent:"_qs, u"wait:"_qs});
        run.waitFor(u"held"_qs);
        run.process->terminateGroup();
        QCOMPARE(run.status(), SIGTERM);
        QVERIFY(!lifeline.isDropped());
        gate.open();
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void doesNotWaitForOthersThatHoldThePipe()
    {
        const Gate gate;
        ChildRun run(
            {u"fork:"_qs, gateStep(gate), u"parent:"_qs, uR"(out:done\nrest)"_qs, u"exit:4"_qs});
        QCOMPARE(run.status(), 4); // the gate is shut, so the copy still holds the pipe
        QCOMPARE(run.lines->all().mid(1), (QStringList{u"done"_qs, u"rest"_qs}));
        gate.open();
    }

    void doesNotWaitForOthersThatFloodThePipe()
    {
        const Lifeline lifeline;
        QString pid;
        bool done = false;
        ManagedProcess process(testChild(),
                               {holdStep(lifeline), u"fork:"_qs, u"lines:1000000000"_qs,
                                u"parent:"_qs, uR"(out:\ndone\n)"_qs, u"exit:4"_qs},
                               [&](const QString &line) {
                                   pid = pid.isEmpty() ? line : pid;
                                   done = done || line == u"done"_qs;
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
        const QString closed = folder.filePath(u"closed"_qs);
        ChildRun run(
            {u"out:bye"_qs, u"close:"_qs, u"touch:"_qs + closed, gateStep(gate), u"exit:5"_qs});
        spinUntil([&] { return QFile::exists(closed); });
        QVERIFY(run.process->isRunning());
        gate.open();
        QCOMPARE(run.status(), 5);
        QCOMPARE(run.lines->all(), QStringList{u"bye"_qs});
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
        QCOMPARE(linesOf({u"descriptors:"_qs}), QStringList{u"0 1 2"_qs});
        for (const int descriptor : open) {
            ::close(descriptor);
        }
    }

    void keepsNoDescriptorOfAnEndedChild()
    {
        linesOf({});
        const size_t before = openDescriptors();
        for (int i = 0; i < 20; ++i) {
            linesOf({u"out:a"_qs});
        }
        // The last reader threads may just be closing theirs.
        spinUntil([&] { return openDescriptors() <= before; });
    }

    void inheritsStandardInput()
    {
        const QTemporaryDir folder;
        QFile typed(folder.filePath(u"typed"_qs));
        QVERIFY(typed.open(QIODevice::ReadWrite));
        typed.write("typed\n");
        QVERIFY(typed.seek(0));
        const int own = ::dup(STDIN_FILENO);
        QCOMPARE(::dup2(typed.handle(), STDIN_FILENO), STDIN_FILENO);
        const QStringList lines = linesOf({u"stdin:"_qs});
        QCOMPARE(::dup2(own, STDIN_FILENO), STDIN_FILENO);
        ::close(own);
        QCOMPARE(lines, QStringList{u"typed"_qs});
    }

    void inheritsFolderAndEnvironment()
    {
        qputenv("BRINDLE_TEST", "inherited");
        QCOMPARE(linesOf({u"folder:"_qs, u"env:BRINDLE_TEST"_qs}),
                 (QStringList{QDir::currentPath(), u"inherited"_qs}));
        qunsetenv("BRINDLE_TEST");
    }

    void passesArgumentsAsTheyAre()
    {
        const QStringList arguments{u""_qs,     u"a b"_qs, u"$HOME"_qs, u"*"_qs, u"\"quoted'"_qs,
                                    u"é 😀"_qs, u"-x"_qs,  u"a;b|c"_qs, u"\\"_qs};
        QStringList expected;
        for (const QString &argument : arguments) {
            expected.append(u'[' + argument + u']');
        }
        QCOMPARE(linesOf(QStringList{u"args:"_qs} + arguments), expected);
    }

    void preparesTheChild()
    {
        // A thread that blocks a signal hands that on to its children, if nothing is done about it.
        sigset_t blocked;
        sigset_t own;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        QCOMPARE(::pthread_sigmask(SIG_BLOCK, &blocked, &own), 0);
        const QStringList lines =
            linesOf({u"group:"_qs, u"ignored:%1"_qs.arg(SIGPIPE), u"ignored:%1"_qs.arg(SIGTERM),
                     u"blocked:%1"_qs.arg(SIGTERM)});
        ::pthread_sigmask(SIG_SETMASK, &own, nullptr);
        QCOMPARE(lines, (QStringList{u"leader"_qs, u"yes"_qs, u"no"_qs, u"no"_qs}));
    }

    void runsManyAtOnce()
    {
        constexpr qsizetype count = 8;
        std::vector<std::unique_ptr<ChildRun>> runs;
        for (qsizetype i = 0; i < count; ++i) {
            runs.push_back(
                std::make_unique<ChildRun>(QStringList{u"lines:1000"_qs, u"exit:%1"_qs.arg(i)}));
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
        auto run = std::make_unique<ChildRun>(QStringList{holdStep(lifeline), uR"(out:before\n)"_qs,
                                                          gateStep(gate), u"out:after"_qs});
        run->waitFor(u"before"_qs);
        const auto lines = run->lines;
        const std::weak_ptr<Lines> watched = lines;
        auto task = std::move(run->task);
        run.reset();
        QVERIFY(!lifeline.isDropped());
        gate.open();
        QCOMPARE(await(std::move(task)), 0);
        QCOMPARE(lines->all(), (QStringList{u"before"_qs, u"after"_qs}));
        spinUntil([&] { return watched.use_count() == 1; });
    }

    void letsNobodyWait()
    {
        const Gate gate;
        const Lifeline lifeline;
        std::weak_ptr<Lines> watched;
        {
            const ChildRun run(
                {holdStep(lifeline), uR"(out:before\n)"_qs, gateStep(gate), u"lines:100000"_qs});
            run.waitFor(u"before"_qs);
            watched = run.lines;
        }
        gate.open();
        spinUntil([&] { return lifeline.isDropped() && watched.expired(); });
    }

    void survivesTheDeathOfItsLauncher()
    {
        const Gate gate;
        const QTemporaryDir folder;
        const QString file = folder.filePath(u"alive"_qs);
        ChildRun launcher({u"pid:"_qs, u"launcher:"_qs + testChild(), uR"(out:playing\n)"_qs,
                           gateStep(gate), uR"(out:still playing\n)"_qs, uR"(err:oh\n)"_qs,
                           u"lines:100000"_qs, u"touch:"_qs + file});
        launcher.waitFor(u"playing"_qs);
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
        QTest::newRow("terminated") << u"terminated:"_qs << false;
        QTest::newRow("killed") << u"killed:"_qs << true;
    }
    void endsWithItsLauncher()
    {
        if (QSysInfo::kernelType() != u"linux") {
            QSKIP("this system binds no child to its parent");
        }
        QFETCH(const QString, verb);
        QFETCH(const bool, mayIgnoreIt);
        const Lifeline lifeline;
        QStringList steps{u"pid:"_qs, verb + testChild(), holdStep(lifeline)};
        if (mayIgnoreIt) {
            steps << u"ignore:%1"_qs.arg(SIGTERM);
        }
        ChildRun launcher(steps << uR"(out:at work\n)"_qs << u"wait:"_qs);
        launcher.waitFor(u"at work"_qs);
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
        const QString file = folder.filePath(u"alive"_qs);
        ChildRun launcher({u"launcher:"_qs + testChild(), uR"(out:quit\n)"_qs, gateStep(gate),
                           uR"(out:still playing\n)"_qs, u"touch:"_qs + file});
        // The gate is shut: the launcher does not wait for its child.
        QCOMPARE(launcher.status(), 0);
        QVERIFY(!QFile::exists(file));
        gate.open();
        spinUntil([&] { return QFile::exists(file); });
    }

    void survivesTheEndOfItsLauncherWhilePrinting()
    {
        const Lifeline lifeline;
        ChildRun launcher({u"launcher:"_qs + testChild(), holdStep(lifeline), u"pid:"_qs,
                           uR"(out:quit\n)"_qs, u"lines:1000000000"_qs});
        QCOMPARE(launcher.status(), 0);
        QVERIFY(!lifeline.isDropped());
        QVERIFY2(killPrinted(launcher.lines->all().constFirst()),
                 qPrintable(launcher.lines->all().join(u'\n')));
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void asksTheChildToEndEvenIfTheLauncherEndsAtOnce()
    {
        const Lifeline lifeline;
        ChildRun launcher({u"launcher:"_qs + testChild(), holdStep(lifeline),
                           uR"(out:stop and quit\n)"_qs, u"wait:"_qs});
        launcher.status();
        spinUntil([&] { return lifeline.isDropped(); });
    }
};

QTEST_GUILESS_MAIN(TestManagedProcess)
#include "tst_managedprocess.moc"
