// What the model makes of a game's end.

#include "PipelineFixture.h"
#include "support/Await.h"

#include <QDir>
#include <QtTest>

#include <functional>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestGameEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsAreClassified_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        const auto early = [](const char *seconds, int code) {
            return QStringLiteral("The game closed after %1 (exit code %2), so it did not start "
                                  "properly.")
                .arg(QLatin1String(seconds))
                .arg(code);
        };
        const auto late = [](int seconds, int code) {
            return QStringLiteral("The game stopped unexpectedly after %1 seconds (exit code %2).")
                .arg(seconds)
                .arg(code);
        };
        QTest::newRow("at once") << 0.0 << 1 << early("0 seconds", 1);
        QTest::newRow("one second") << 1.5 << 0 << early("1 second", 0);
        QTest::newRow("two seconds") << 2.0 << 139 << early("2 seconds", 139);
        QTest::newRow("just too early") << 9.9 << 0 << early("9 seconds", 0);
        QTest::newRow("just long enough") << 10.0 << 0 << QString();
        QTest::newRow("long") << 3600.0 << 0 << QString();
        QTest::newRow("long with a code") << 42.7 << 1 << late(42, 1);
        QTest::newRow("ten with a code") << 10.0 << 7 << late(10, 7);
    }

    void endsAreClassified()
    {
        QFETCH(double, seconds);
        QFETCH(int, code);
        QFETCH(QString, message);
        PipelineFixture fixture;
        fixture.files.installByHand(ModelFixture::engineScript());
        AppModel &model = fixture.model();
        fixture.playUntilOpen();
        const QStringList before = model.log.lines();
        fixture.finish(seconds, code);
        if (message.isEmpty()) {
            QCOMPARE(model.state(), AppState::ready());
            QVERIFY(!model.failure());
            QCOMPARE(model.log.lines().last(), QStringLiteral("• Game closed normally"));
            return;
        }
        QCOMPARE(model.state(), AppState::needs(message));
        QVERIFY(model.failure());
        QCOMPARE(model.failure()->summary,
                 message + QStringLiteral(" The last lines of the log below may show why."));
        QCOMPARE(model.failure()->lines, before);
        QCOMPARE(model.log.lines(), before);
    }

    void theLastLinesAreAwaitedForAFifthOfASecond()
    {
        PipelineFixture fixture;
        fixture.files.installByHand("#!/bin/sh\necho engine is playing\nexit 3\n");
        AppModel &model = fixture.model();
        fixture.playUntilOpen();
        spinUntil([&] { return !model.runner.current(); });
        const auto serve = [] {
            for (int i = 0; i < 10; ++i) {
                QCoreApplication::processEvents();
            }
        };
        serve();
        fixture.clock->advance(Clock::Duration(0.19));
        serve();
        QCOMPARE(model.state(), AppState::starting());
        // The game has ended by itself; Stop comes too late to change that.
        model.stop();
        QVERIFY(model.runner.userStopped());
        fixture.clock->advance(Clock::Duration(0.02));
        fixture.files.waitUntilIdle();
        QCOMPARE(model.state().phase, AppState::Phase::needs);
        QVERIFY(model.failure());
    }

    void aReportShowsTheLastThirtyLines()
    {
        PipelineFixture fixture;
        fixture.files.installByHand(
            "#!/bin/sh\nfor i in 1 2 3 4 5 6 7 8; do for k in 1 2 3 4 5; do "
            "echo line $i$k; done; done\necho 'Parse Error: x' >&2\n"
            "exit 3\n");
        AppModel &model = fixture.model();
        model.startWork(true);
        spinUntil([&] {
            fixture.clock->advance(Clock::Duration(0.05));
            return !model.work();
        });
        QVERIFY(model.failure());
        QCOMPARE(model.failure()->lines.size(), 30);
        QCOMPARE(model.failure()->lines.first(), QStringLiteral("line 32"));
        QCOMPARE(model.failure()->lines.last(), QStringLiteral("Parse Error: x"));
        QVERIFY(model.failure()->summary.endsWith(
            QStringLiteral("The game's scripts reported errors. The log below shows where.")));
    }

    void aNewRunForgetsTheFailure()
    {
        PipelineFixture fixture;
        fixture.files.installByHand(ModelFixture::engineScript());
        fixture.playUntilOpen();
        fixture.finish(1, 1);
        QVERIFY(fixture.model().failure());
        fixture.model().startWork(true);
        QVERIFY(!fixture.model().failure());
        fixture.waitForLine(QStringLiteral("engine is playing"));
        fixture.model().cancel();
        fixture.files.waitUntilIdle();
    }
};

QTEST_GUILESS_MAIN(TestGameEnd)
#include "tst_gameend.moc"
