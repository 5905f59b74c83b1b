// Tests the engine's runs, with the test child or a script as the engine and a manual clock.

#include "base/Error.h"
#include "engine/GameRunner.h"
#include "support/Fifo.h"
#include "support/Lines.h"
#include "support/ManualClock.h"
#include "support/TestChild.h"
#include "support/TestFiles.h"
#include "support/Thrown.h"

#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <memory>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

constexpr Clock::Duration aMoment(0.125); // exact in binary, like the sums below
const QString playing = u"out:playing\\n"_s;
const QString untilAsked = u"wait:"_s;

} // namespace

class TestGameRunner : public QObject
{
    Q_OBJECT

    QCoro::Task<PlayResult> play(const QStringList &arguments, const QString &engine = testChild())
    {
        const auto stayedOpen = [this] {
            ++stayedOpen_;
            onMainThread_ = QThread::currentThread() == thread();
        };
        return runner_->play(engine, arguments, Lines::into(lines_), stayedOpen);
    }
    /// Plays until the gate opens, then exits with `code`.
    QCoro::Task<PlayResult> playUntil(const Gate &gate, int code = 0)
    {
        return play({u"gate:"_s + gate.path(), u"exit:%1"_s.arg(code)});
    }
    QCoro::Task<qint32> runImport(const QString &engine)
    {
        return runner_->runImport(engine, u"/a $HOME \"game's\"; *"_s, Lines::into(lines_));
    }
    /// Makes an engine that prints its path and arguments, one per line, then runs `script`.
    QString engine(const QString &script = {}) const
    {
        const QString path = folder_->filePath(u"an engine"_s);
        writeScript(path, "printf '%s\\n' \"$0\" \"$@\"\n" + script.toUtf8());
        return path;
    }
    void waitFor(const QString &line) const
    {
        spinUntil([&] { return lines_->contains(line); });
    }
    void pass(Clock::Duration time)
    {
        clock_->advance(time);
        serveEvents();
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
        QVERIFY(!runner_->current());
        QVERIFY(!runner_->userStopped());
    }

    void importsWithTheExactCommandLine()
    {
        const QString program = engine(u"exit 3"_s);
        auto task = runImport(program);
        QVERIFY(runner_->current());
        QCOMPARE(await(std::move(task)), 3);
        QVERIFY(!runner_->current());
        QCOMPARE(lines_->all(), (QStringList{program, u"--headless"_s, u"--import"_s, u"--path"_s,
                                             u"/a $HOME \"game's\"; *"_s, u"--quit"_s}));
    }

    void namesAMissingEngine()
    {
        const QString missing = folder_->filePath(u"missing"_s);
        for (const auto &thrown : {thrownBy(runImport(missing)), thrownBy(play({}, missing))}) {
            QCOMPARE(thrown, missing + u": "_s + qt_error_string(ENOENT));
            QVERIFY(!runner_->current());
        }
        pass(Clock::Duration(100));
        QCOMPARE(stayedOpen_, 0);
        QVERIFY(lines_->isEmpty());
    }

    void measuresAShortGame()
    {
        const Gate gate;
        auto task = playUntil(gate, 7);
        clock_->advance(Clock::Duration(3));
        gate.open();
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.seconds, 3.0);
        QCOMPARE(result.exitCode, 7);
        QVERIFY(!result.userStopped);
        serveEvents();
        QCOMPARE(clock_->asleep(), 0); // no timer of the run is left
        pass(Clock::Duration(100));
        QCOMPARE(stayedOpen_, 0);
    }

    void announcesAnOpenGameOnce()
    {
        const Gate gate;
        auto task = playUntil(gate);
        pass(GameRunner::stayedOpenAfter - aMoment);
        QCOMPARE(stayedOpen_, 0);
        clock_->advance(aMoment);
        spinUntil([this] { return stayedOpen_ > 0; });
        QVERIFY(onMainThread_);
        QVERIFY(runner_->current());
        pass(Clock::Duration(20));
        QVERIFY(!task.isReady());
        gate.open();
        QCOMPARE(await(std::move(task)).seconds, 30.0);
        QCOMPARE(stayedOpen_, 1);
    }

    /// The ten seconds pass, but the game ends before the main thread checks.
    void announcesNoEndedGame()
    {
        const Gate gate;
        auto task = playUntil(gate);
        const auto process = runner_->current();
        gate.open();
        while (process->isRunning()) {
            QThread::yieldCurrentThread();
        }
        clock_->advance(GameRunner::stayedOpenAfter);
        QCOMPARE(await(std::move(task)).seconds, 10.0);
        serveEvents();
        QCOMPARE(stayedOpen_, 0);
    }

    void stopsARun()
    {
        auto game = play({playing, untilAsked});
        waitFor(u"playing"_s);
        runner_->stop();
        const PlayResult result = await(std::move(game));
        QVERIFY(result.userStopped);
        QCOMPARE(result.exitCode, SIGTERM);
        QVERIFY(!runner_->current());
        QVERIFY(runner_->userStopped());
    }

    void forgetsAStopWhenARunStarts()
    {
        runner_->stop();
        QVERIFY(runner_->userStopped());
        QVERIFY(!runner_->current());
        await(runImport(engine()));
        QVERIFY(!runner_->userStopped());
    }

    void killsAGameAfterAnIgnoredStop()
    {
        auto task = play({u"report:15"_s, playing, untilAsked});
        waitFor(u"playing"_s);
        runner_->stop();
        waitFor(u"signal 15"_s);
        pass(GameRunner::killAfter - aMoment);
        runner_->stop(); // must not restart the time to the kill
        serveEvents();
        QVERIFY(runner_->current()->isRunning());
        clock_->advance(aMoment);
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.exitCode, SIGKILL);
        QVERIFY(result.userStopped);
        QCOMPARE(lines_->all().count(u"signal 15"_s), 1);
    }

    void aStopEndsNoOtherRun()
    {
        auto stopped = play({untilAsked});
        runner_->stop();
        QCOMPARE(await(std::move(stopped)).exitCode, SIGTERM);

        const Gate gate;
        auto task = playUntil(gate, 2);
        pass(GameRunner::killAfter);
        QVERIFY(!runner_->userStopped());
        QVERIFY(runner_->current()->isRunning());
        gate.open();
        const PlayResult result = await(std::move(task));
        QCOMPARE(result.exitCode, 2);
        QVERIFY(!result.userStopped);
    }
};

QTEST_GUILESS_MAIN(TestGameRunner)
#include "tst_gamerunner.moc"
