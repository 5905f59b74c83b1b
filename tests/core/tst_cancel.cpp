// Cancelling in every phase: the run ends quietly, and what it leaves is nothing that a later Play
// would take for whole.

#include "PipelineFixture.h"
#include "support/Await.h"

#include <QtTest>

using namespace brindle;

namespace {

QString enginePath(const PipelineFixture &fixture)
{
    const EngineSpec spec{QStringLiteral("4.3-stable"), false};
    return ReleaseHost::enginePath(spec.version, spec.zipName(fixture.files.platform));
}

} // namespace

class TestCancel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSilentDownloadIsCancelledAtOnce_data()
    {
        QTest::addColumn<QString>("phase");
        QTest::addColumn<bool>("gameStays");
        QTest::newRow("game") << QStringLiteral("game") << false;
        QTest::newRow("first add-on") << QStringLiteral("one") << true;
        QTest::newRow("second add-on") << QStringLiteral("two") << true;
        QTest::newRow("checksum list") << QStringLiteral("list") << true;
        QTest::newRow("engine") << QStringLiteral("engine") << true;
    }

    void aSilentDownloadIsCancelledAtOnce()
    {
        QFETCH(QString, phase);
        QFETCH(bool, gameStays);
        PipelineFixture fixture;
        const QMap<QString, QString> paths{
            {QStringLiteral("game"), ReleaseHost::gamePath()},
            {QStringLiteral("one"), ReleaseHost::addonPath(QStringLiteral("tessel-works/one"))},
            {QStringLiteral("two"), ReleaseHost::addonPath(QStringLiteral("tessel-works/two"))},
            {QStringLiteral("list"), ReleaseHost::checksumPath(QStringLiteral("4.3-stable"))},
            {QStringLiteral("engine"), enginePath(fixture)}};
        fixture.stall(paths.value(phase));
        AppModel &model = fixture.model();
        model.startWork(true);
        spinUntil([&] { return fixture.stalled.load(); });
        QVERIFY(model.canCancel());
        model.cancel();
        QVERIFY2(model.canCancel(), "cancelling itself changes no field");
        fixture.files.waitUntilIdle();

        QCOMPARE(model.log.lines().last(), QStringLiteral("• Cancelled"));
        QCOMPARE(model.state(), AppState::notDownloaded());
        QVERIFY(!model.failure());
        QCOMPARE(model.stepText(), QString());
        QVERIFY(fixture.files.leftovers().isEmpty());
        QCOMPARE(QFileInfo::exists(fixture.project()), gameStays);
        QVERIFY(!QFileInfo::exists(fixture.files.root(QStringLiteral("Engine"))));

        fixture.host.restore(paths.value(phase));
        fixture.files.restart();
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QCOMPARE(ModelFixture::read(fixture.project() + QStringLiteral("/addons/two/plugin.cfg")),
                 QByteArray("two"));
    }

    void aCancelBeforeTheFirstStepCounts()
    {
        PipelineFixture fixture;
        fixture.model().startWork(true);
        fixture.model().cancel();
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().log.lines().last(), QStringLiteral("• Cancelled"));
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
    }

    void theImportIsStopped()
    {
        PipelineFixture fixture;
        // An import that only a signal ends.
        fixture.files.installByHand("#!/bin/sh\necho importing\nmkfifo \"$4/block\"\n"
                                    "read x < \"$4/block\"\n");
        QFile::remove(fixture.files.root(QStringLiteral("imported-4.3-stable.txt")));
        AppModel &model = fixture.model();
        model.startWork(true);
        fixture.waitForLine(QStringLiteral("importing"));
        QCOMPARE(model.state().phase, AppState::Phase::settingUp);
        QCOMPARE(model.detail(), QStringLiteral("Godot is importing the game's files"));
        model.cancel();
        fixture.files.waitUntilIdle();
        QCOMPARE(model.log.lines().last(), QStringLiteral("• Cancelled"));
        QCOMPARE(model.state(), AppState::ready());
        QVERIFY2(!QFileInfo::exists(fixture.files.root(QStringLiteral("imported-4.3-stable.txt"))),
                 "an import that was stopped must be done again");
    }

    void theGameIsStopped_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::newRow("at once") << 0.0;
        QTest::newRow("after a minute") << 60.0;
    }

    void theGameIsStopped()
    {
        QFETCH(double, seconds);
        PipelineFixture fixture;
        fixture.files.installByHand(ModelFixture::engineScript());
        fixture.playUntilOpen();
        fixture.clock->advance(Clock::Duration(seconds));
        fixture.model().cancel();
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().log.lines().last(), QStringLiteral("• Game stopped"));
        QCOMPARE(fixture.model().state(), AppState::ready());
        QVERIFY(!fixture.model().failure());
    }
};

QTEST_GUILESS_MAIN(TestCancel)
#include "tst_cancel.moc"
