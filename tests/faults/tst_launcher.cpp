// The launcher as a process: it is killed, or its wall clock is wrong.

#include "ModelFixture.h"
#include "support/Await.h"
#include "support/ConsoleLauncher.h"
#include "support/EngineScript.h"
#include "support/Fifo.h"
#include "support/TestChild.h"

#include <QRegularExpression>
#include <QtTest>

#include <cstdlib>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const auto isPlaying = u"engine is playing"_s;

/// A launcher in folders of its own.
struct Run
{
    explicit Run(const PipelineFixture &fixture,
                 const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
        : launcher({home.filePath(u"home"_s), home.filePath(u"temporary"_s),
                    fixture.host.url().toString(), QCoreApplication::applicationDirPath(),
                    environment})
    {
        launcher.start();
    }

    const QTemporaryDir home;
    ConsoleLauncher launcher;
};

} // namespace

class TestLauncher : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<PipelineFixture>(); }
    void cleanup() { fixture_.reset(); }

    void itsGameOutlivesIt()
    {
        const Gate gate;
        const Lifeline lifeline;
        const QTemporaryDir folder;
        const QString alive = folder.filePath(u"alive"_s);
        fixture_->offerEngine(engineScript(
            childSteps({u"hold:"_s + lifeline.path(), u"line:"_s + isPlaying,
                        u"gate:"_s + gate.path(), u"lines:100000"_s, u"touch:"_s + alive})));
        Run run(*fixture_);
        run.launcher.waitFor(isPlaying);
        run.launcher.kill();
        QVERIFY(run.launcher.wasKilled());
        QVERIFY(!lifeline.isDropped());
        // The game now prints to a pipe without a reader.
        gate.open();
        spinUntil([&] { return lifeline.isDropped(); });
        QVERIFY(QFile::exists(alive));
    }

    void itsImportEndsWithIt()
    {
        const Lifeline lifeline;
        fixture_->offerEngine(
            engineScript("exit 0", childSteps({u"ignore:15"_s, u"hold:"_s + lifeline.path(),
                                               u"line:importing"_s, u"wait:"_s})));
        Run run(*fixture_);
        run.launcher.waitFor(u"importing"_s);
        QVERIFY(!lifeline.isDropped());
        run.launcher.kill();
        spinUntil([&] { return lifeline.isDropped(); });
    }

    /// A preloaded library moves the clock by ten years at each look.
    void aWildClockChangesNoWait()
    {
        QProcessEnvironment wild = QProcessEnvironment::systemEnvironment();
        wild.insert(u"LD_PRELOAD"_s, QCoreApplication::applicationDirPath() + u"/clockjump.so"_s);
        QProcess date;
        date.setProcessEnvironment(wild);
        date.start(u"date"_s, {u"+%Y"_s});
        date.waitForFinished();
        const int year = date.readAll().trimmed().toInt();
        QVERIFY(std::abs(year - QDate::currentDate().year()) >= 9);

        fixture_->offerEngine(engineScript("exec '" + testChild().toUtf8() + "' ignore:15 'line:" +
                                           isPlaying.toUtf8() + "' gate:\"$GATE\" exit:0"));
        const auto play = [&](const Gate &gate) {
            wild.insert(u"GATE"_s, gate.path());
            auto run = std::make_unique<Run>(*fixture_, wild);
            run->launcher.waitFor(isPlaying);
            return run;
        };
        const Gate gates[3];
        const auto brief = play(gates[0]);
        const auto open = play(gates[1]);
        const auto stopped = play(gates[2]);
        gates[0].open();
        // The engine ignores the request, so it is killed after five seconds.
        stopped->launcher.terminate();
        QVERIFY(brief->launcher.waitForEnd());
        static const QRegularExpression end(
            u"^The game closed after \\d seconds? \\(exit code 0\\), so it did not start "
            "properly\\.$"_s);
        const QString bad = brief->launcher.marked(u"end: bad "_s).value(0);
        QVERIFY2(end.match(bad).hasMatch(), qPrintable(brief->launcher.lines().join(u'\n')));
        QVERIFY(stopped->launcher.waitForEnd());
        QVERIFY(stopped->launcher.isGood());
        // Ten seconds after its start.
        open->launcher.waitFor(u"phase: The game is open"_s);
        gates[1].open();
        QVERIFY(open->launcher.waitForEnd());
        QVERIFY2(open->launcher.hasPrinted(u"• Game closed normally"_s),
                 qPrintable(open->launcher.lines().join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(TestLauncher)
#include "tst_launcher.moc"
