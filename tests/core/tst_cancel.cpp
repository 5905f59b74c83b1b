// A cancelled run ends quietly in every phase, and a later Play completes what the run left.

#include "PipelineFixture.h"
#include "support/Await.h"
#include "support/WorkerHold.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

QString enginePath(const PipelineFixture &fixture)
{
    const EngineSpec spec{u"4.3-stable"_s, false};
    return ReleaseHost::enginePath(spec.version, spec.zipName(fixture.platform));
}

/// Serves events until the main thread waits for a worker.
void serveEvents()
{
    for (int i = 0; i < 10; ++i) {
        QCoreApplication::processEvents();
    }
}

const auto marker = u"imported-4.3-stable.txt"_s;

} // namespace

class TestCancel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSilentDownloadIsCancelledAtOnce_data()
    {
        QTest::addColumn<QString>("phase");
        QTest::addColumn<bool>("gameStays");
        QTest::newRow("game") << u"game"_s << false;
        QTest::newRow("first add-on") << u"one"_s << true;
        QTest::newRow("second add-on") << u"two"_s << true;
        QTest::newRow("checksum list") << u"list"_s << true;
        QTest::newRow("engine") << u"engine"_s << true;
    }

    void aSilentDownloadIsCancelledAtOnce()
    {
        QFETCH(QString, phase);
        QFETCH(bool, gameStays);
        PipelineFixture fixture;
        const QMap<QString, QString> paths{
            {u"game"_s, ReleaseHost::gamePath()},
            {u"one"_s, ReleaseHost::addonPath(u"tessel-works/one"_s)},
            {u"two"_s, ReleaseHost::addonPath(u"tessel-works/two"_s)},
            {u"list"_s, ReleaseHost::checksumPath(u"4.3-stable"_s)},
            {u"engine"_s, enginePath(fixture)}};
        fixture.stall(paths.value(phase));
        AppModel &model = fixture.model();
        model.startWork(true);
        spinUntil([&] { return fixture.stalled.load(); });
        QVERIFY(model.canCancel());
        model.cancel();
        QVERIFY2(model.canCancel(), "cancelling itself changes no field");
        fixture.waitUntilIdle();

        QCOMPARE(model.log.lines().last(), u"• Cancelled"_s);
        QCOMPARE(model.state(), AppState::notDownloaded());
        QVERIFY(!model.failure());
        QCOMPARE(model.stepText(), QString());
        QVERIFY(fixture.leftovers().isEmpty());
        QCOMPARE(QFileInfo::exists(fixture.project()), gameStays);
        QVERIFY(!QFileInfo::exists(fixture.root(u"Engine"_s)));

        fixture.host.restore(paths.value(phase));
        fixture.restart();
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
        fixture.model().startWork(false);
        fixture.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QCOMPARE(ModelFixture::read(fixture.project() + u"/addons/two/plugin.cfg"_s),
                 QByteArray("two"));
    }

    void aCancelBeforeTheFirstStepCounts()
    {
        PipelineFixture fixture;
        fixture.model().startWork(true);
        fixture.model().cancel();
        fixture.waitUntilIdle();
        QCOMPARE(fixture.model().log.lines(), QStringList{u"• Cancelled"_s});
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
    }

    void aCancelWhileTheDownloadIsPreparedAsksNobody()
    {
        PipelineFixture fixture;
        fixture.model();
        WorkerHold workers;
        fixture.model().startWork(true);
        serveEvents();
        workers.letPass(); // looking for the game
        serveEvents();
        QVERIFY(fixture.model().canCancel());
        fixture.model().cancel();
        workers.open();
        fixture.waitUntilIdle();
        QCOMPARE(fixture.model().log.lines().last(), u"• Cancelled"_s);
        QCOMPARE(fixture.host.requests(), QStringList());
        QVERIFY(!QFileInfo::exists(fixture.root(u"unfinished"_s)));
    }

    void aCancelWhileTheProjectIsReadFetchesNoAddon()
    {
        PipelineFixture fixture;
        fixture.installByHand(ModelFixture::engineScript());
        ModelFixture::write(fixture.project() + u"/.gitmodules"_s,
                            PipelineFixture::gitmodules().replace(
                                "{host}", fixture.host.url().toString().toUtf8()));
        const QString unfinished = fixture.root(u"unfinished"_s);
        ModelFixture::write(unfinished, "x");
        fixture.model();
        WorkerHold workers;
        fixture.model().startWork(true);
        serveEvents();
        workers.letPass(); // looking for the game
        serveEvents();
        fixture.model().cancel();
        workers.open();
        fixture.waitUntilIdle();
        QCOMPARE(fixture.model().info().submodules.size(), 2);
        QCOMPARE(fixture.model().log.lines(), QStringList{u"• Cancelled"_s});
        QCOMPARE(fixture.host.requests(), QStringList());
        QVERIFY2(QFileInfo::exists(unfinished), "the next Play goes on from there");
    }

    void aCancelWhileAWorkerIsAwaitedCounts_data()
    {
        QTest::addColumn<int>("passed");
        QTest::addColumn<bool>("quits");
        const char *names[] = {"looking for the game", "looking for it again",
                               "marking that it is imported"};
        for (int passed = 0; passed < 3; ++passed) {
            for (const bool quits : {false, true}) {
                QTest::addRow("%s, %s", names[passed], quits ? "quit" : "cancel")
                    << passed << quits;
            }
        }
    }

    void aCancelWhileAWorkerIsAwaitedCounts()
    {
        QFETCH(const int, passed);
        QFETCH(const bool, quits);
        PipelineFixture fixture;
        fixture.installByHand(ModelFixture::engineScript());
        QFile::remove(fixture.root(marker));
        const bool needsEngine = passed == 1;
        if (needsEngine) {
            QDir(fixture.root(u"Engine"_s)).removeRecursively();
        }
        AppModel &model = fixture.model();
        WorkerHold workers;
        model.startWork(true);
        serveEvents();
        for (int i = 0; i < passed; ++i) {
            workers.letPass();
            serveEvents();
        }
        if (passed == 2) {
            fixture.waitForLine(u"engine is importing"_s);
            spinUntil([&] { return !model.runner.current(); });
        }
        QVERIFY(model.work());
        if (quits) {
            QVERIFY(model.confirmQuit());
        } else {
            model.cancel();
        }
        workers.open();
        fixture.waitUntilIdle();
        QCOMPARE(model.log.lines().last(), u"• Cancelled"_s);
        QCOMPARE(model.log.lines().filter(u"• "_s),
                 passed < 2
                     ? QStringList{u"• Cancelled"_s}
                     : (QStringList{u"• Importing the project (first run)"_s, u"• Cancelled"_s}));
        QCOMPARE(fixture.host.requests(), QStringList());
        QCOMPARE(model.state(), needsEngine ? AppState::notDownloaded() : AppState::ready());
        QVERIFY(!QFileInfo::exists(fixture.root(marker)));
    }

    void theImportIsStopped()
    {
        PipelineFixture fixture;
        // An import that only a signal ends.
        fixture.installByHand("#!/bin/sh\necho importing\nmkfifo \"$4/block\"\n"
                              "read x < \"$4/block\"\n");
        QFile::remove(fixture.root(marker));
        AppModel &model = fixture.model();
        model.startWork(true);
        fixture.waitForLine(u"importing"_s);
        QCOMPARE(model.state(),
                 AppState::settingUp(u"Step 3 of 3 · First-time setup, this can take "
                                     "a minute or more"_s));
        QCOMPARE(model.stepText(), model.state().text);
        QCOMPARE(model.detail(), u"Godot is importing the game's files"_s);
        model.cancel();
        fixture.waitUntilIdle();
        QCOMPARE(model.log.lines().last(), u"• Cancelled"_s);
        QCOMPARE(model.state(), AppState::ready());
        QVERIFY2(!QFileInfo::exists(fixture.root(marker)),
                 "an import that was stopped must be done again");
    }

    void aStopWhileTheDesktopIsAskedStartsNoGame()
    {
        PipelineFixture fixture;
        fixture.installByHand(ModelFixture::engineScript());
        fixture.desktop->permitsStarts = false;
        AppModel &model = fixture.model();
        model.startWork(true);
        spinUntil([&] { return fixture.desktop->askedStarts == 1; });
        serveEvents();
        QCOMPARE(model.state(), AppState::starting());
        QCOMPARE(model.stepText(), u"Starting the game…"_s);
        QVERIFY(model.log.lines().last().startsWith(u"• Starting: Godot --path"_s));
        QVERIFY(!model.runner.current());
        model.cancel();
        fixture.passTheEnd();
        QCOMPARE(model.log.lines().last(), u"• Game stopped"_s);
        QCOMPARE(model.state(), AppState::ready());
        QVERIFY(!model.failure());
        QVERIFY(!QFileInfo::exists(fixture.project() + u"/play arguments"_s));

        fixture.desktop->permitsStarts = true;
        fixture.playUntilOpen();
        QCOMPARE(fixture.desktop->askedStarts, 2);
        model.cancel();
        fixture.waitUntilIdle();
    }

    void theRunnerIsStoppedWhateverRuns()
    {
        PipelineFixture fixture;
        QVERIFY(!fixture.model().runner.userStopped());
        fixture.model().cancel();
        QVERIFY(fixture.model().runner.userStopped());
    }

    void theGameIsStopped_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<bool>("endsWell");
        QTest::addColumn<bool>("byCancel");
        for (const bool endsWell : {false, true}) {
            for (const bool byCancel : {false, true}) {
                const char *end = endsWell ? "code 0" : "a signal";
                const char *way = byCancel ? "cancel" : "stop";
                QTest::addRow("at once, %s, %s", end, way) << 0.0 << endsWell << byCancel;
                QTest::addRow("after a minute, %s, %s", end, way) << 60.0 << endsWell << byCancel;
            }
        }
    }

    void theGameIsStopped()
    {
        QFETCH(double, seconds);
        QFETCH(bool, endsWell);
        QFETCH(bool, byCancel);
        PipelineFixture fixture;
        // A game that exits with 0 on request, as many games do. Its loop is short, because the
        // shell runs the trap between two commands.
        fixture.installByHand(
            endsWell ? QByteArray("#!/bin/sh\ntrap 'exit 0' TERM\necho engine is playing\n"
                                  "while :; do sleep 0.01; done\n")
                     : ModelFixture::engineScript());
        fixture.playUntilOpen();
        fixture.clock->advance(Clock::Duration(seconds));
        if (byCancel) {
            fixture.model().cancel();
        } else {
            fixture.model().runner.stop();
        }
        spinUntil([&] { return !fixture.model().runner.current(); });
        fixture.passTheEnd();
        QCOMPARE(fixture.model().log.lines().last(), u"• Game stopped"_s);
        QCOMPARE(fixture.model().state(), AppState::ready());
        QVERIFY(!fixture.model().failure());
    }
};

QTEST_GUILESS_MAIN(TestCancel)
#include "tst_cancel.moc"
