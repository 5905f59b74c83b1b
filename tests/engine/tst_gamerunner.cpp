#include "base/Error.h"
#include "base/OneShot.h"
#include "engine/GameRunner.h"
#include "support/Await.h"
#include "support/Gate.h"
#include "support/Lifeline.h"
#include "support/Lines.h"
#include "support/ManualClock.h"
#include "support/TestChild.h"

#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <memory>
#include <stop_token>

using namespace brindle;

namespace {

constexpr Clock::Duration aMoment(0.125); // exact in binary, as are the sums below

void serveEvents()
{
    // A round for each hop that a wake-up may take.
    for (int i = 0; i < 10; ++i) {
        QCoreApplication::processEvents();
    }
}

QCoro::Task<QMap<QString, QString>> someVariables(std::stop_token /*stop*/)
{
    const QMap<QString, QString> variables{
        {QStringLiteral("DESKTOP_STARTUP_ID"), QStringLiteral("the game's")}};
    co_return variables;
}

/// Does not know before it is stopped.
QCoro::Task<QMap<QString, QString>> lateVariables(std::stop_token stop)
{
    const OneShot<> stopped;
    const std::stop_callback onStop(stop, [stopped] { stopped.resume(); });
    co_await stopped;
    co_return {};
}

} // namespace

/// The engine's runs, with the test child or a script as the engine and time moved by hand.
class TestGameRunner : public QObject
{
    Q_OBJECT

private:
    QCoro::Task<PlayResult> play(const QStringList &arguments, const std::stop_token &stop = {})
    {
        return play(testChild(), arguments, stop);
    }
    QCoro::Task<PlayResult> play(const QString &engine, const QStringList &arguments,
                                 const std::stop_token &stop = {})
    {
        const auto stayedOpen = [this] {
            ++stayedOpen_;
            onMainThread_ = QThread::currentThread() == thread();
        };
        return runner_->play(engine, arguments, Lines::into(lines_), stayedOpen, stop);
    }
    void waitFor(const QString &line) const
    {
        spinUntil([&] { return lines_->contains(line); });
    }
    /// An engine that prints its own path and its arguments, one a line, then does `script`.
    QString engineScript(const QString &script = QString()) const
    {
        const QString path = folder_->filePath(QStringLiteral("an engine"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) {
            return {};
        }
        file.write(
            QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\"\n%1\n").arg(script).toUtf8());
        file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        return path;
    }

    std::unique_ptr<QTemporaryDir> folder_;
    std::shared_ptr<ManualClock> clock_;
    std::unique_ptr<GameRunner> runner_;
    std::shared_ptr<Lines> lines_;
    int stayedOpen_ = 0;
    bool onMainThread_ = false;

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        clock_ = std::make_shared<ManualClock>();
        runner_ = std::make_unique<GameRunner>(clock_);
        lines_ = std::make_shared<Lines>();
        stayedOpen_ = 0;
        onMainThread_ = false;
    }

    void startsIdle()
    {
        QVERIFY(!runner_->current());
        QVERIFY(!runner_->userStopped());
    }

    void importsWithTheExactCommandLine()
    {
        const QString engine = engineScript(QStringLiteral("exit 3"));
        auto task =
            runner_->runImport(engine, QStringLiteral("/a game/folder"), Lines::into(lines_));
        QVERIFY(runner_->current());
        QVERIFY(runner_->current()->isRunning());
        QCOMPARE(await(std::move(task)), 3);
        QVERIFY(!runner_->current());
        QCOMPARE(lines_->all(),
                 (QStringList{engine, QStringLiteral("--headless"), QStringLiteral("--import"),
                              QStringLiteral("--path"), QStringLiteral("/a game/folder"),
                              QStringLiteral("--quit")}));
    }

    void reportsAnImportThatCannotStart()
    {
        const QString engine = folder_->filePath(QStringLiteral("missing"));
        QString description;
        try {
            await(runner_->runImport(engine, QStringLiteral("/game"), Lines::into(lines_)));
        } catch (const SystemError &error) {
            description = error.description();
        }
        QCOMPARE(description, engine + QStringLiteral(": ") + qt_error_string(ENOENT));
        QVERIFY(!runner_->current());
    }

    void playsWithTheArgumentsGiven()
    {
        const QString engine = engineScript();
        const QStringList arguments{QStringLiteral("--path"), QStringLiteral("/a game/folder"),
                                    QStringLiteral("--windowed"), QStringLiteral("--resolution"),
                                    QStringLiteral("1920x1080")};
        auto task = play(engine, arguments);
        QVERIFY(runner_->current());
        QVERIFY(runner_->current()->isRunning());
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.exitCode, 0);
        QVERIFY(!runner_->current());
        QCOMPARE(lines_->all(), QStringList{engine} + arguments);
    }

    void playsWithTheVariablesGiven()
    {
        qputenv("DESKTOP_STARTUP_ID", "ours");
        await(runner_->play(testChild(), {QStringLiteral("env:DESKTOP_STARTUP_ID")},
                            Lines::into(lines_), {}, {}, someVariables));
        qunsetenv("DESKTOP_STARTUP_ID");
        QCOMPARE(lines_->all(), QStringList{QStringLiteral("the game's")});
    }

    void startsNoGameThatIsStoppedBefore()
    {
        auto task = runner_->play(testChild(), {QStringLiteral(R"(out:playing\n)")},
                                  Lines::into(lines_), {}, {}, lateVariables);
        serveEvents();
        QVERIFY(!runner_->current());
        runner_->stop();
        const PlayResult result = await(std::move(task));
        QVERIFY(result.userStopped);
        QCOMPARE(result.seconds, 0.0);
        QCOMPARE(result.exitCode, 0); // no signal had to end it
        QVERIFY(lines_->isEmpty());
        // The next one is another.
        QVERIFY(!await(play({})).userStopped);
    }

    void measuresAShortGame()
    {
        const Gate gate;
        auto task = play({QStringLiteral("gate:") + gate.path(), QStringLiteral("exit:7")});
        clock_->advance(Clock::Duration(3));
        gate.open();
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.seconds, 3.0);
        QCOMPARE(result.exitCode, 7);
        QVERIFY(!result.userStopped);
        clock_->advance(Clock::Duration(100));
        serveEvents();
        QCOMPARE(stayedOpen_, 0);
    }

    void announcesAGameThatStaysOpenOnce()
    {
        const Gate gate;
        auto task = play({QStringLiteral("gate:") + gate.path()});
        clock_->advance(GameRunner::stayedOpenAfter - aMoment);
        serveEvents();
        QCOMPARE(stayedOpen_, 0);
        clock_->advance(aMoment);
        spinUntil([this] { return stayedOpen_ > 0; });
        QVERIFY(onMainThread_);
        QVERIFY(runner_->current());
        QVERIFY(!task.isReady());
        clock_->advance(Clock::Duration(20));
        serveEvents();
        QVERIFY(!task.isReady());
        gate.open();
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.seconds, 30.0);
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(stayedOpen_, 1);
    }

    /// The ten seconds pass, and before the main thread comes to look the game has ended.
    void announcesNoGameThatHasEnded()
    {
        const Gate gate;
        auto task = play({QStringLiteral("gate:") + gate.path()});
        const auto process = runner_->current();
        gate.open();
        while (process->isRunning()) {
            QThread::yieldCurrentThread();
        }
        clock_->advance(GameRunner::stayedOpenAfter);
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.seconds, 10.0);
        serveEvents();
        QCOMPARE(stayedOpen_, 0);
    }

    void givesTheSignalOfACrash()
    {
        const PlayResult result = await(play({QStringLiteral("signal:11")}));
        QCOMPARE(result.exitCode, SIGSEGV);
        QVERIFY(!result.userStopped);
    }

    void reportsAGameThatCannotStart()
    {
        const QString engine = folder_->filePath(QStringLiteral("missing"));
        QVERIFY_THROWS_EXCEPTION(SystemError, await(play(engine, {})));
        QVERIFY(!runner_->current());
        QVERIFY(lines_->isEmpty());
        clock_->advance(Clock::Duration(100));
        serveEvents();
        QCOMPARE(stayedOpen_, 0);
    }

    void stopsAGame()
    {
        auto task = play({QStringLiteral(R"(out:playing\n)"), QStringLiteral("wait:")});
        waitFor(QStringLiteral("playing"));
        runner_->stop();
        QVERIFY(runner_->userStopped());
        const PlayResult result = await(std::move(task));
        QVERIFY(result.userStopped);
        QCOMPARE(result.exitCode, SIGTERM);
        QVERIFY(!runner_->current());
        QVERIFY(runner_->userStopped());
    }

    void stopsAGameThatIsBeingLaunched()
    {
        auto task = play({QStringLiteral("wait:")});
        runner_->stop();
        const PlayResult result = await(std::move(task));
        QVERIFY(result.userStopped);
        QCOMPARE(result.exitCode, SIGTERM);
    }

    void stopsAnImport()
    {
        auto task = runner_->runImport(
            engineScript(QStringLiteral("exec '%1' 'out:working\\n' wait:").arg(testChild())),
            QStringLiteral("/game"), Lines::into(lines_));
        waitFor(QStringLiteral("working"));
        runner_->stop();
        QCOMPARE(await(std::move(task)), SIGTERM);
        QVERIFY(runner_->userStopped());
    }

    void forgetsAStopWhenARunStarts()
    {
        runner_->stop();
        QVERIFY(runner_->userStopped());
        QVERIFY(!runner_->current());
        QVERIFY(!await(play({})).userStopped);
        QVERIFY(!runner_->userStopped());

        runner_->stop();
        await(runner_->runImport(engineScript(), QStringLiteral("/game"), Lines::into(lines_)));
        QVERIFY(!runner_->userStopped());
    }

    void killsAGameThatIgnoresTheStop()
    {
        const Lifeline lifeline;
        auto task =
            play({QStringLiteral("report:15"), QStringLiteral("hold:") + lifeline.path(),
                  QStringLiteral("fork:"), QStringLiteral("wait:"), QStringLiteral("parent:"),
                  QStringLiteral(R"(out:playing\n)"), QStringLiteral("wait:")});
        waitFor(QStringLiteral("playing"));
        runner_->stop();
        waitFor(QStringLiteral("signal 15"));
        clock_->advance(GameRunner::killAfter - aMoment);
        runner_->stop(); // asking again does not start the time anew
        serveEvents();
        QVERIFY(runner_->current()->isRunning());
        clock_->advance(aMoment);
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.exitCode, SIGKILL);
        QVERIFY(result.userStopped);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void aRequestDoesWhatAStopDoes_data()
    {
        QTest::addColumn<bool>("stopsAsWell");
        QTest::newRow("a request") << false;
        QTest::newRow("a request and a stop behind it") << true;
    }
    void aRequestDoesWhatAStopDoes()
    {
        QFETCH(const bool, stopsAsWell);
        std::stop_source stop;
        auto task = play({QStringLiteral("report:15"), QStringLiteral(R"(out:playing\n)"),
                          QStringLiteral("wait:")},
                         stop.get_token());
        waitFor(QStringLiteral("playing"));
        stop.request_stop();
        QVERIFY(runner_->userStopped());
        waitFor(QStringLiteral("signal 15"));
        if (stopsAsWell) {
            runner_->stop();
        }
        clock_->advance(GameRunner::killAfter);
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.exitCode, SIGKILL);
        QVERIFY(result.userStopped);
        QCOMPARE(lines_->all().count(QStringLiteral("signal 15")), 1);
    }

    void aRequestEndsAnImport()
    {
        std::stop_source stop;
        auto task = runner_->runImport(
            engineScript(QStringLiteral("exec '%1' 'out:working\\n' wait:").arg(testChild())),
            QStringLiteral("/game"), Lines::into(lines_), stop.get_token());
        waitFor(QStringLiteral("working"));
        stop.request_stop();
        QCOMPARE(await(std::move(task)), SIGTERM);
        QVERIFY(runner_->userStopped());
    }

    void aRequestEndsNoOtherRun()
    {
        std::stop_source stop;
        QCOMPARE(await(play({}, stop.get_token())).exitCode, 0);
        const Gate gate;
        auto second = play({QStringLiteral("gate:") + gate.path(), QStringLiteral("exit:2")});
        stop.request_stop();
        QVERIFY(!runner_->userStopped());
        gate.open();
        const PlayResult result = await(std::move(second));
        QCOMPARE(result.exitCode, 2);
        QVERIFY(!result.userStopped);
    }

    void killsNoLaterRun()
    {
        auto first = play({QStringLiteral("wait:")});
        runner_->stop();
        QCOMPARE(await(std::move(first)).exitCode, SIGTERM);

        const Gate gate;
        auto second = play({QStringLiteral("gate:") + gate.path(), QStringLiteral("exit:2")});
        clock_->advance(GameRunner::killAfter);
        serveEvents();
        QVERIFY(runner_->current()->isRunning());
        gate.open();
        const PlayResult result = await(std::move(second));
        QCOMPARE(result.exitCode, 2);
        QVERIFY(!result.userStopped);
    }

    /// Such as a dialog that tells of the engine's end.
    void leavesAloneWhatAnEngineThatEndsLeavesBehind()
    {
        const Gate engineEnds;
        const Gate copyEnds;
        const Lifeline lifeline;
        auto task = play({QStringLiteral("fork:"), QStringLiteral("hold:") + lifeline.path(),
                          QStringLiteral(R"(out:held\n)"),
                          QStringLiteral("gate:") + copyEnds.path(), QStringLiteral("parent:"),
                          QStringLiteral("gate:") + engineEnds.path(), QStringLiteral("exit:1")});
        waitFor(QStringLiteral("held"));
        engineEnds.open();
        QCOMPARE(await(std::move(task)).exitCode, 1);
        runner_->stop();
        serveEvents();
        QVERIFY(!lifeline.isDropped());
        copyEnds.open();
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void stopsWhatTheEngineLeavesBehind()
    {
        const Lifeline lifeline;
        auto task = play({QStringLiteral("fork:"), QStringLiteral("hold:") + lifeline.path(),
                          QStringLiteral(R"(out:held\n)"), QStringLiteral("wait:"),
                          QStringLiteral("parent:"), QStringLiteral("wait:")});
        waitFor(QStringLiteral("held"));
        runner_->stop();
        QCOMPARE(await(std::move(task)).exitCode, SIGTERM);
        // No time passes for the runner.
        spinUntil([&] { return lifeline.isDropped(); });
    }

    /// A shell script that is no more than the program that it starts.
    void stopsWhatAScriptHasStarted()
    {
        const Lifeline lifeline;
        auto task =
            play(engineScript(QStringLiteral("'%1' 'hold:%2' 'out:playing\\n' wait:\nexit 7")
                                  .arg(testChild(), lifeline.path())),
                 {});
        waitFor(QStringLiteral("playing"));
        runner_->stop();
        QCOMPARE(await(std::move(task)).exitCode, SIGTERM);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void mayGoWhileAGameRuns()
    {
        const Gate gate;
        auto task = play({QStringLiteral("gate:") + gate.path(), QStringLiteral("exit:4")});
        runner_.reset();
        clock_->advance(GameRunner::stayedOpenAfter);
        spinUntil([this] { return stayedOpen_ > 0; });
        gate.open();
        QCOMPARE(await(std::move(task)).exitCode, 4);
    }
};

QTEST_GUILESS_MAIN(TestGameRunner)
#include "tst_gamerunner.moc"
