// What a child is given when it is started, and what is read of it.

#include "ChildRun.h"
#include "base/Error.h"
#include "platform/ChildProcess.h"
#include "support/NoThreads.h"

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

namespace {

size_t openDescriptors()
{
    return static_cast<size_t>(
        QDir(QStringLiteral("/dev/fd"))
            .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
            .size());
}

thread_local bool starts = false;
int words = 0; // to children that wait for one

} // namespace

#ifdef Q_OS_LINUX
/// Stands in front of the system's, through which Qt (6.8) tells a forked child that it may go on.
extern "C" int eventfd_write(int descriptor, quint64 value)
{
    words += starts ? 1 : 0;
    return write(descriptor, &value, sizeof value) == sizeof value ? 0 : -1;
}
#endif

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
        std::stop_source stop;
        QString description;
        try {
            await(process.run(stop.get_token()));
        } catch (const SystemError &failure) {
            description = failure.description();
        }
        QCOMPARE(description, path + QStringLiteral(": ") + qt_error_string(error));
        QVERIFY(lines->isEmpty());
        QVERIFY(!process.isRunning());
        process.kill();
        stop.request_stop();
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
            process.kill();
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

    /// It was given to the launcher, for a window of its own.
    void doesNotInheritThePermissionToComeForward()
    {
        qputenv("XDG_ACTIVATION_TOKEN", "ours");
        qputenv("DESKTOP_STARTUP_ID", "ours");
        const QStringList lines = linesOf(
            {QStringLiteral("env:XDG_ACTIVATION_TOKEN"), QStringLiteral("env:DESKTOP_STARTUP_ID")});
        qunsetenv("XDG_ACTIVATION_TOKEN");
        qunsetenv("DESKTOP_STARTUP_ID");
        QCOMPARE(lines, QStringList(2, QStringLiteral("(unset)")));
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

    /// A launcher that is killed says none, and a child that waits keeps all that was the
    /// launcher's.
    void noChildWaitsForAWord()
    {
        QProcess child;
        ChildProcess::prepare(child, {});
        starts = true;
        child.start(testChild(), {QStringLiteral("exit:0")});
        starts = false;
        QVERIFY(child.waitForFinished(-1));
        // With the sanitizers Qt always forks such children: only there they wait.
        QVERIFY(words == 0 || dlsym(RTLD_DEFAULT, "__asan_init"));
    }
};

QTEST_GUILESS_MAIN(TestManagedProcess)
#include "tst_managedprocess.moc"
