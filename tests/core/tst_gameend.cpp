// The model classifies a game's end.

#include "ModelFixture.h"
#include "support/Await.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestGameEnd : public QObject
{
    Q_OBJECT

    std::optional<PipelineFixture> fixture_;

    AppModel &model() { return fixture_->model(); }

private Q_SLOTS:
    void init() { fixture_.emplace(); }
    void cleanup() { fixture_.reset(); }

    void endsAreClassified_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        const QString early =
            u"The game closed after %1 (exit code %2), so it did not start properly."_s;
        const QString late = u"The game stopped unexpectedly after %1 seconds (exit code %2)."_s;
        QTest::newRow("at once") << 0.0 << 1 << early.arg(u"0 seconds"_s).arg(1);
        QTest::newRow("one second") << 1.5 << 0 << early.arg(u"1 second"_s).arg(0);
        QTest::newRow("two seconds") << 2.0 << 139 << early.arg(u"2 seconds"_s).arg(139);
        QTest::newRow("just too early") << 9.9 << 0 << early.arg(u"9 seconds"_s).arg(0);
        QTest::newRow("just long enough") << 10.0 << 0 << QString();
        QTest::newRow("long") << 3600.0 << 0 << QString();
        QTest::newRow("long with a code") << 42.7 << 1 << late.arg(42).arg(1);
        QTest::newRow("ten with a code") << 10.0 << 7 << late.arg(10).arg(7);
    }

    void endsAreClassified()
    {
        QFETCH(double, seconds);
        QFETCH(int, code);
        QFETCH(QString, message);
        fixture_->installByHand();
        fixture_->playUntilOpen();
        const QStringList before = model().log.lines();
        fixture_->finish(seconds, code);
        if (message.isEmpty()) {
            QCOMPARE(model().state(), AppState::ready());
            QVERIFY(!model().failure());
            QCOMPARE(model().log.lines().last(), u"• Game closed normally"_s);
            return;
        }
        QCOMPARE(model().state(), AppState::needs(message));
        QVERIFY(model().failure());
        QCOMPARE(model().failure()->summary,
                 message + u" The last lines of the log below may show why."_s);
        QCOMPARE(model().failure()->lines, before);
        QCOMPARE(model().log.lines(), before);
    }

    void theLastLinesAreAwaitedForAFifthOfASecond()
    {
        fixture_->installByHand("#!/bin/sh\necho engine is playing\nexit 3\n");
        fixture_->playUntilOpen();
        spinUntil([&] { return !model().runner.current(); });
        serveEvents();
        fixture_->clock->advance(Clock::Duration(0.19));
        serveEvents();
        QCOMPARE(model().state(), AppState::starting());
        // The game has ended by itself; Stop comes too late to change that.
        model().cancel();
        QVERIFY(model().runner.userStopped());
        fixture_->clock->advance(Clock::Duration(0.02));
        fixture_->waitUntilIdle();
        QCOMPARE(model().state().phase, AppState::Phase::needs);
        QVERIFY(model().failure());
    }

    void aReportShowsTheLastThirtyLines()
    {
        fixture_->installByHand("#!/bin/sh\nfor i in 1 2 3 4 5 6 7 8; do for k in 1 2 3 4 5; do "
                                "echo line $i$k; done; done\necho 'Parse Error: x' >&2\n"
                                "exit 3\n");
        model().startWork(true);
        fixture_->passTheEnd();
        QVERIFY(model().failure());
        QCOMPARE(model().failure()->lines.size(), 30);
        QCOMPARE(model().failure()->lines.first(), u"line 32"_s);
        QCOMPARE(model().failure()->lines.last(), u"Parse Error: x"_s);
        QVERIFY(model().failure()->summary.endsWith(
            u"The game's scripts reported errors. The log below shows where."_s));
    }

    void aNewRunForgetsTheFailure()
    {
        fixture_->installByHand();
        fixture_->playUntilOpen();
        fixture_->finish(1, 1);
        QVERIFY(model().failure());
        model().startWork(true);
        QVERIFY(!model().failure());
        fixture_->waitForLine(u"engine is playing"_s);
        model().cancel();
        fixture_->waitUntilIdle();
    }
};

QTEST_GUILESS_MAIN(TestGameEnd)
#include "tst_gameend.moc"
