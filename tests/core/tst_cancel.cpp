// Tests that a cancelled run ends quietly in every phase, and that a later Play completes it.

#include "ModelFixture.h"
#include "support/Await.h"
#include "support/Fifo.h"
#include "support/TestChild.h"
#include "support/WorkerHold.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const auto marker = u"imported-4.3-stable.txt"_s;

} // namespace

class TestCancel : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    AppModel &model() { return fixture_->model(); }

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<PipelineFixture>(); }
    void cleanup() { fixture_.reset(); }

    void aSilentDownloadIsCancelledAtOnce_data()
    {
        QTest::addColumn<QString>("path"); // empty: the engine's archive
        QTest::newRow("game") << ReleaseHost::gamePath();
        QTest::newRow("first add-on") << ReleaseHost::addonPath(u"tessel-works/one"_s);
        QTest::newRow("second add-on") << ReleaseHost::addonPath(u"tessel-works/two"_s);
        QTest::newRow("checksum list") << ReleaseHost::checksumPath(u"4.3-stable"_s);
        QTest::newRow("engine") << QString();
    }
    void aSilentDownloadIsCancelledAtOnce()
    {
        QFETCH(QString, path);
        if (path.isEmpty()) {
            const EngineSpec spec{u"4.3-stable"_s, false};
            path = ReleaseHost::enginePath(spec.version, spec.zipName(fixture_->platform));
        }
        fixture_->stall(path);
        model().set(&Status::failure, FailureReport{u"of an earlier run"_s, {}});
        model().startWork(true);
        spinUntil([&] { return fixture_->stalled.load(); });
        QVERIFY(model().canCancel());
        model().cancel();
        QVERIFY2(model().canCancel(), "cancelling itself changes no field");
        fixture_->waitUntilIdle();

        QCOMPARE(model().log.lines().last(), u"• Cancelled"_s);
        QCOMPARE(model().state(), AppState::notDownloaded());
        QVERIFY(!model().failure());
        QCOMPARE(model().stepText(), QString());
        QVERIFY(fixture_->leftovers().isEmpty());
        QCOMPARE(QFileInfo::exists(fixture_->project()), path != ReleaseHost::gamePath());
        QVERIFY(!QFileInfo::exists(fixture_->root(u"Engine"_s)));

        fixture_->host.restore(path);
        fixture_->restart();
        QCOMPARE(model().state(), AppState::notDownloaded());
        fixture_->setUp();
        QCOMPARE(model().state(), AppState::ready());
        QCOMPARE(readFile(fixture_->project() + u"/addons/two/plugin.cfg"_s), QByteArray("two"));
    }

    void aCancelWhileAWorkerIsAwaitedCounts_data()
    {
        QTest::addColumn<bool>("again");
        QTest::newRow("looking for the game") << false;
        QTest::newRow("looking for it again") << true;
    }
    void aCancelWhileAWorkerIsAwaitedCounts()
    {
        QFETCH(const bool, again);
        fixture_->installByHand();
        QDir(fixture_->root(u"Engine"_s)).removeRecursively();
        model(); // its first search needs a worker
        WorkerHold workers;
        model().startWork(true);
        serveEvents();
        if (again) {
            workers.letPass();
            serveEvents();
        }
        QVERIFY(model().work());
        model().cancel();
        workers.open();
        fixture_->waitUntilIdle();
        QCOMPARE(model().log.lines(), QStringList{u"• Cancelled"_s});
        QCOMPARE(fixture_->host.requests(), QStringList());
        QCOMPARE(model().state(), AppState::notDownloaded());
    }

    void aCancelAtTheLastStepOfTheInstallImportsNothing()
    {
        const Gate gate;
        fixture_->platform.quarantineStep = {testChild(), {u"gate:"_s + gate.path()}};
        model().startWork(true);
        fixture_->waitForLine(u"Removing the macOS quarantine flag"_s);
        model().cancel();
        gate.open();
        fixture_->waitUntilIdle();
        QCOMPARE(model().log.lines().last(), u"• Cancelled"_s);
        QVERIFY(!fixture_->logHas(u"• Importing the project (first run)"_s));
    }

    void theImportIsStopped()
    {
        // Only a signal ends this import.
        fixture_->installByHand("#!/bin/sh\necho importing\nmkfifo \"$4/block\"\n"
                                "read x < \"$4/block\"\n");
        QFile::remove(fixture_->root(marker));
        model().startWork(true);
        fixture_->waitForLine(u"importing"_s);
        QCOMPARE(model().state(),
                 AppState::settingUp(u"Step 3 of 3 · First-time setup, this can take "
                                     "a minute or more"_s));
        QCOMPARE(model().stepText(), model().state().text);
        QCOMPARE(model().detail(), u"Godot is importing the game's files"_s);
        model().cancel();
        fixture_->waitUntilIdle();
        QCOMPARE(model().log.lines().last(), u"• Cancelled"_s);
        QCOMPARE(model().state(), AppState::ready());
        QVERIFY2(!QFileInfo::exists(fixture_->root(marker)),
                 "an import that was stopped must be done again");
    }

    void aStopWhileTheDesktopIsAskedStartsNoGame()
    {
        fixture_->installByHand();
        fixture_->desktop->permitsStarts = false;
        model().startWork(true);
        spinUntil([&] { return fixture_->desktop->askedStarts == 1; });
        serveEvents();
        QCOMPARE(model().state(), AppState::starting());
        QCOMPARE(model().stepText(), u"Starting the game…"_s);
        QVERIFY(model().log.lines().last().startsWith(u"• Starting: Godot --path"_s));
        QVERIFY(!model().runner.current());
        model().stop();
        fixture_->passTheEnd();
        QCOMPARE(model().log.lines().last(), u"• Game stopped"_s);
        QCOMPARE(model().state(), AppState::ready());
        QVERIFY(!model().failure());
        QVERIFY(!QFileInfo::exists(fixture_->project() + u"/play arguments"_s));
    }

    void theGameIsStopped_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<bool>("endsWell");
        QTest::newRow("at once, by a signal") << 0.0 << false;
        QTest::newRow("at once, with code 0") << 0.0 << true;
        QTest::newRow("after a minute, by a signal") << 60.0 << false;
        QTest::newRow("after a minute, with code 0") << 60.0 << true;
    }
    void theGameIsStopped()
    {
        QFETCH(const double, seconds);
        QFETCH(const bool, endsWell);
        // On request this game exits with 0, as many games do. It sleeps briefly, because a shell
        // runs a trap only between two commands.
        fixture_->installByHand(
            endsWell ? QByteArray("#!/bin/sh\ntrap 'exit 0' TERM\necho engine is playing\n"
                                  "while :; do sleep 0.01; done\n")
                     : ModelFixture::engineScript());
        fixture_->playUntilOpen();
        fixture_->clock->advance(Clock::Duration(seconds));
        model().cancel();
        spinUntil([&] { return !model().runner.current(); });
        fixture_->passTheEnd();
        QCOMPARE(model().log.lines().last(), u"• Game stopped"_s);
        QCOMPARE(model().state(), AppState::ready());
        QVERIFY(!model().failure());
    }
};

QTEST_GUILESS_MAIN(TestCancel)
#include "tst_cancel.moc"
