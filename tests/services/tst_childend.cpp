// How a child ends: by itself, asked to or killed, and with or without its launcher.

#include "ChildRun.h"

#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace brindle;

class TestChildEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mayBeAskedFromTheCallback()
    {
        std::shared_ptr<ManagedProcess> process;
        std::stop_source stop;
        bool running = false;
        process = std::make_shared<ManagedProcess>(
            testChild(), QStringList{QStringLiteral(R"(out:a\n)"), QStringLiteral("wait:")},
            [&](const QString &) {
                running = process->isRunning();
                stop.request_stop();
            });
        QCOMPARE(await(process->run(stop.get_token())), SIGTERM);
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
        run.stop.request_stop();
        QCOMPARE(run.status(), SIGTERM);
    }

    void terminatesAChildThatIsBeingLaunched()
    {
        ChildRun run({QStringLiteral("wait:")});
        run.stop.request_stop();
        QCOMPARE(run.status(), SIGTERM);
    }

    void terminatesAChildThatIsStartedInSpiteOfARequest()
    {
        std::stop_source stop;
        stop.request_stop();
        ManagedProcess process(testChild(), {QStringLiteral("wait:")}, [](const QString &) {});
        QCOMPARE(await(process.run(stop.get_token())), SIGTERM);
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
        std::stop_source stop;
        process.kill();
        QCOMPARE(await(process.run(stop.get_token())), 3);
        process.kill();
        stop.request_stop();
    }

    void killsAChildThatIgnoresTheRequestWithAllThatItStarted()
    {
        const Lifeline lifeline;
        ChildRun run({QStringLiteral("report:15"), holdStep(lifeline), QStringLiteral("fork:"),
                      QStringLiteral("wait:"), QStringLiteral("parent:"),
                      QStringLiteral(R"(out:ready\n)"), QStringLiteral("wait:")});
        run.waitFor(QStringLiteral("ready"));
        run.stop.request_stop();
        run.waitFor(QStringLiteral("signal 15"));
        QVERIFY(run.process->isRunning());
        run.process->kill();
        QCOMPARE(run.status(), SIGKILL);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void terminatesWhatTheChildLeavesBehind()
    {
        const Lifeline lifeline;
        ChildRun run({QStringLiteral("fork:"), holdStep(lifeline), QStringLiteral(R"(out:held\n)"),
                      QStringLiteral("wait:"), QStringLiteral("parent:"), QStringLiteral("wait:")});
        run.waitFor(QStringLiteral("held"));
        run.stop.request_stop();
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
        run.stop.request_stop();
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
        run.stop.request_stop();
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

    void endsWithItsLauncher()
    {
        if (QSysInfo::kernelType() != u"linux") {
            QSKIP("this system binds no child to its parent");
        }
        const Lifeline lifeline;
        ChildRun launcher({QStringLiteral("pid:"), QStringLiteral("killed:") + testChild(),
                           holdStep(lifeline), QStringLiteral("ignore:%1").arg(SIGTERM),
                           QStringLiteral(R"(out:at work\n)"), QStringLiteral("wait:")});
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

QTEST_GUILESS_MAIN(TestChildEnd)
#include "tst_childend.moc"
