// That what a tour waits for is found, however short it was.

#include "demostage/History.h"

#include "PipelineFixture.h"
#include "support/Await.h"

#include <QtTest>

using namespace brindle;

namespace {

using Phase = AppState::Phase;

History::Condition in(Phase phase)
{
    return [phase](const History::Moment &moment) { return moment.state.phase == phase; };
}

} // namespace

class TestHistory : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;
    std::unique_ptr<History> history_;

    /// A whole Play with an engine that ends at once, without a look at what is published.
    void play()
    {
        fixture_->model().startWork(true);
        spinUntil([&] {
            if (fixture_->model().state().phase == Phase::starting &&
                !fixture_->model().runner.current()) {
                fixture_->clock->advance(Clock::Duration(0.2));
            }
            return !fixture_->model().work();
        });
    }

private Q_SLOTS:
    void init()
    {
        fixture_ = std::make_unique<PipelineFixture>();
        fixture_->offerEngine("#!/bin/sh\n");
        history_ = std::make_unique<History>(fixture_->model());
    }
    void cleanup()
    {
        history_.reset();
        fixture_.reset();
    }

    void findsStepsThatAreOver()
    {
        play();
        QVERIFY(history_->advance(in(Phase::downloading)));
        QVERIFY(history_->advance([](const History::Moment &moment) {
            return moment.stepText.startsWith(QStringLiteral("Step 2")) &&
                   moment.progress.value_or(0) == 1 && moment.works;
        }));
        QVERIFY(history_->advance(in(Phase::settingUp)));
        QVERIFY(history_->advance([](const History::Moment &moment) {
            return moment.detail == QStringLiteral("Godot is importing the game's files");
        }));
        QVERIFY(history_->advance(in(Phase::starting)));
        QVERIFY(history_->advance(in(Phase::needs)));
        QVERIFY(history_->advance([](const History::Moment &moment) { return !moment.works; }));
    }

    void goesForwardOnly()
    {
        play();
        QVERIFY(history_->advance(in(Phase::settingUp)));
        QVERIFY2(history_->advance(in(Phase::settingUp)), "the present moment counts");
        QVERIFY(history_->advance(in(Phase::needs)));
        QVERIFY(!history_->advance(in(Phase::downloading)));
        QVERIFY(!history_->advance(in(Phase::settingUp)));
    }

    void tellsWhatTheModelNeedsInstead()
    {
        play();
        QString told;
        try {
            history_->advance(in(Phase::playing));
        } catch (const std::runtime_error &error) {
            told = QString::fromUtf8(error.what());
        }
        QCOMPARE(told, QStringLiteral("the launcher says: ") + fixture_->model().state().text);
    }

    void goesOnFromWhatTheModelNeeds()
    {
        play();
        QVERIFY(history_->advance(in(Phase::needs)));
        const qsizetype before = history_->size();
        QVERIFY(!history_->advance(in(Phase::notDownloaded)));
        fixture_->model().removeEverything();
        fixture_->files.waitUntilIdle();
        QVERIFY(history_->advance(in(Phase::notDownloaded)));
        QVERIFY(history_->size() > before);
    }
};

QTEST_GUILESS_MAIN(TestHistory)
#include "tst_history.moc"
