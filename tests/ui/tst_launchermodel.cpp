// What the views see of the real model, and what their controls do to it.

#include "ModelFixture.h"

#include "base/Clock.h"
#include "support/Await.h"
#include "support/WorkerHold.h"
#include "ui/LauncherModel.h"

#include <QDesktopServices>
#include <QSignalSpy>
#include <QThreadPool>
#include <QtTest>

using namespace brindle;

namespace {

std::shared_ptr<Clock> realClock()
{
    return std::make_shared<SteadyClock>();
}

} // namespace

Q_DECLARE_METATYPE(brindle::AppState)

class TestLauncherModel : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModelFixture> fixture_;
    std::unique_ptr<LauncherModel> launcher_;

    AppModel &app() { return fixture_->model(); }

    void states()
    {
        QTest::addColumn<AppState>("state");
        QTest::addColumn<QString>("phase");
        QTest::addColumn<bool>("gameRunning");
        QTest::addColumn<bool>("canCancel");
        QTest::addColumn<bool>("canPlay");
        const auto row = [](const char *phase, const AppState &state, bool running, bool cancel,
                            bool play) {
            QTest::newRow(phase) << state << QString::fromLatin1(phase) << running << cancel
                                 << play;
        };
        const QString text = QStringLiteral("the text");
        row("notDownloaded", AppState::notDownloaded(), false, false, true);
        row("downloading", AppState::downloading(text), false, true, false);
        row("settingUp", AppState::settingUp(text), false, true, false);
        row("needs", AppState::needs(text), false, false, true);
        row("ready", AppState::ready(), false, false, true);
        row("starting", AppState::starting(), true, false, false);
        row("playing", AppState::playing(), true, false, false);
    }

private Q_SLOTS:
    void init()
    {
        fixture_ = std::make_unique<ModelFixture>(realClock());
        launcher_ = std::make_unique<LauncherModel>(app());
    }

    void cleanup()
    {
        launcher_.reset();
        fixture_.reset();
    }

    void everyState_data() { states(); }
    void everyState()
    {
        QFETCH(AppState, state);
        QSignalSpy changed(launcher_.get(), &LauncherModel::stateChanged);
        app().state = state;
        QCOMPARE(changed.size(), 1);
        QTEST(launcher_->phase(), "phase");
        QTEST(launcher_->gameRunning(), "gameRunning");
        QTEST(launcher_->canCancel(), "canCancel");
        QTEST(launcher_->canPlay(), "canPlay");
        QCOMPARE(launcher_->needsMessage(),
                 state.phase == AppState::Phase::needs ? QStringLiteral("the text") : QString());
    }

    void playByState_data() { states(); }
    void playByState()
    {
        QFETCH(AppState, state);
        QFETCH(bool, canPlay);
        app().state = state;
        launcher_->play();
        QCOMPARE(app().work() != nullptr, canPlay);
        app().cancel();
        fixture_->waitUntilIdle();
    }

    void playTwiceStartsOnce()
    {
        launcher_->play();
        const auto work = app().work();
        QVERIFY(work);
        QCOMPARE(launcher_->phase(), QStringLiteral("notDownloaded"));
        launcher_->play();
        QCOMPARE(app().work(), work);
        fixture_->waitUntilIdle();
        QCOMPARE(app().log.lines().filter(QStringLiteral("• Downloading the game")).size(), 1);
    }

    void nothingCanBePlayedWhileATaskRuns()
    {
        fixture_->installByHand(ModelFixture::engineScript());
        app().refreshState();
        fixture_->desktop->answer = 1;
        QList<bool> said;
        connect(launcher_.get(), &LauncherModel::canPlayChanged, this,
                [&] { said << launcher_->canPlay(); });
        QVERIFY(launcher_->canPlay());
        WorkerHold workers;
        launcher_->removeEverything();
        // It measures, and the phase says nothing of it.
        QCOMPARE(launcher_->phase(), QStringLiteral("ready"));
        QVERIFY(!launcher_->canPlay());
        QCOMPARE(said, QList<bool>{false});
        const auto work = app().work();
        launcher_->play();
        QCOMPARE(app().work(), work);
        workers.open();
        fixture_->waitUntilIdle();
        QVERIFY(launcher_->canPlay());
        QCOMPARE(said.last(), true);
    }

    void stopMarksTheRun()
    {
        // With the process gone already, nothing else happens.
        app().state = AppState::playing();
        launcher_->stop();
        QVERIFY(app().runner.userStopped());
        QCOMPARE(app().state(), AppState::playing());
    }

    void cancelStopsTheTask()
    {
        launcher_->play();
        const auto work = app().work();
        launcher_->cancel();
        QVERIFY(work->stop.stop_requested());
        fixture_->waitUntilIdle();
        QCOMPARE(launcher_->phase(), QStringLiteral("notDownloaded"));
        QVERIFY(app().log.lines().contains(QStringLiteral("• Cancelled")));
    }

    void textsAndProgress()
    {
        QSignalSpy changed(launcher_.get(), &LauncherModel::progressChanged);
        QVERIFY(!launcher_->hasProgress());
        app().progress = 0.25;
        QCOMPARE(changed.size(), 1);
        QVERIFY(launcher_->hasProgress());
        QCOMPARE(launcher_->progress(), 0.25);
        app().progress = std::nullopt;
        QVERIFY(!launcher_->hasProgress());
        app().stepText = QStringLiteral("step");
        app().detail = QStringLiteral("detail");
        QCOMPARE(launcher_->stepText(), QStringLiteral("step"));
        QCOMPARE(launcher_->detail(), QStringLiteral("detail"));
    }

    void failure()
    {
        QVERIFY(!launcher_->hasFailure());
        launcher_->copyFailure();
        QVERIFY(fixture_->desktop->copied.isEmpty());
        QSignalSpy changed(launcher_.get(), &LauncherModel::failureChanged);
        app().failure = FailureReport{QStringLiteral("summary"),
                                      {QStringLiteral("one"), QStringLiteral("two")}};
        QCOMPARE(changed.size(), 1);
        QVERIFY(launcher_->hasFailure());
        QCOMPARE(launcher_->failureSummary(), QStringLiteral("summary"));
        QCOMPARE(launcher_->failureText(), QStringLiteral("one\ntwo"));
        launcher_->copyFailure();
        QCOMPARE(fixture_->desktop->copied, QStringList{QStringLiteral("summary\n\none\ntwo")});

        app().failure = FailureReport{QStringLiteral("a\u202eb"),
                                      {QStringLiteral("\x1b[201~c\rd"), QStringLiteral("\te")}};
        QCOMPARE(launcher_->failureSummary(), QStringLiteral("ab"));
        QCOMPARE(launcher_->failureText(), QStringLiteral("[201~cd\n\te"));
    }

    void info()
    {
        QSignalSpy changed(launcher_.get(), &LauncherModel::infoChanged);
        ProjectInfo known;
        known.name = QStringLiteral("A game");
        known.tagline = QStringLiteral("tagline");
        known.licenseName = QStringLiteral("GPL");
        known.copyright = QString();
        known.controls = {QStringLiteral("W: up")};
        app().info = known;
        QCOMPARE(changed.size(), 1);
        QCOMPARE(launcher_->name(), known.name);
        QCOMPARE(launcher_->tagline(), known.tagline);
        QCOMPARE(launcher_->licenseName(), known.licenseName);
        QCOMPARE(launcher_->copyright(), known.copyright);
        QCOMPARE(launcher_->controls(), known.controls);
    }

    void hostileTextsAreTamed()
    {
        // Turns what follows around; rings; and goes on for 16 MiB.
        const QString hostile =
            QStringLiteral("\u202e\u0007<b>name</b>") + QString(16 * 1024 * 1024, u'x');
        ProjectInfo known;
        known.name = known.tagline = known.licenseName = known.copyright = hostile;
        known.controls = QStringList(1000, hostile);
        app().info = known;
        app().state = AppState::needs(hostile);
        app().stepText = hostile;
        app().detail = hostile;
        app().failure = FailureReport{hostile, QStringList(30, hostile)};
        QStringList shown{launcher_->name(),         launcher_->tagline(),
                          launcher_->licenseName(),  launcher_->copyright(),
                          launcher_->needsMessage(), launcher_->stepText(),
                          launcher_->detail(),       launcher_->failureSummary()};
        QVERIFY(launcher_->controls().size() <= 50);
        shown += launcher_->controls();
        shown += launcher_->failureText().split(QLatin1Char('\n'));
        for (const QString &text : std::as_const(shown)) {
            QVERIFY2(text.startsWith(QStringLiteral("<b>name</b>xx")), qPrintable(text));
            QVERIFY(text.endsWith(u'…'));
            QVERIFY2(text.size() <= 2'001, qPrintable(QString::number(text.size())));
        }
        QCOMPARE(launcher_->failureText().count(QLatin1Char('\n')), 29);
    }

    void settings()
    {
        QCOMPARE(launcher_->resolutions().join(QLatin1Char('|')),
                 QStringLiteral("Game default|1280x720|1600x900|1920x1080|2560x1440"));
        QSignalSpy fullscreen(launcher_.get(), &LauncherModel::fullscreenChanged);
        QSignalSpy resolution(launcher_.get(), &LauncherModel::resolutionChanged);
        launcher_->setProperty("fullscreen", true);
        launcher_->setProperty("resolution", 3);
        QCOMPARE(fullscreen.size(), 1);
        QCOMPARE(resolution.size(), 1);
        QCOMPARE(app().fullscreen(), true);
        QCOMPARE(app().resolution(), ResolutionChoice::r1080);
        for (const int wrong : {-1, 5}) {
            launcher_->setResolution(wrong);
            QCOMPARE(launcher_->resolution(), 3);
        }
        const QSettings saved(fixture_->settingsFile(), QSettings::IniFormat);
        spinUntil([&] {
            return saved.value(QStringLiteral("resolution")).toString() ==
                   QStringLiteral("1920x1080");
        });
    }

    void storageIsMeasuredOnRequest()
    {
        QCOMPARE(launcher_->storageSize(), QStringLiteral("…"));
        QSignalSpy changed(launcher_.get(), &LauncherModel::storageSizeChanged);
        launcher_->measureStorage();
        spinUntil([&] { return changed.size() == 1; });
        QCOMPARE(launcher_->storageSize(), QStringLiteral("Zero KB"));
    }

    void storageIsMeasuredAgainAfterATask()
    {
        fixture_->installByHand(ModelFixture::engineScript());
        QSignalSpy changed(launcher_.get(), &LauncherModel::storageSizeChanged);
        launcher_->measureStorage();
        spinUntil([&] { return changed.size() == 1; });
        QVERIFY(launcher_->storageSize() != QStringLiteral("Zero KB"));
        fixture_->desktop->answer = 0;
        launcher_->removeEverything();
        // What it was before, and then what it is.
        spinUntil([&] { return changed.size() == 3; });
        QCOMPARE(launcher_->storageSize(), QStringLiteral("Zero KB"));
        QCOMPARE(fixture_->desktop->alerts.size(), 1);
    }

    void theSizeBeforeIsNotShownAgain()
    {
        QSignalSpy changed(launcher_.get(), &LauncherModel::storageSizeChanged);
        launcher_->measureStorage();
        spinUntil([&] { return changed.size() == 1; });
        fixture_->installByHand(ModelFixture::engineScript());
        launcher_->measureStorage();
        QCOMPARE(launcher_->storageSize(), QStringLiteral("…"));
        QCOMPARE(changed.size(), 2);
        spinUntil([&] { return changed.size() == 3; });
        QVERIFY(launcher_->storageSize() != QStringLiteral("Zero KB"));
    }

    void theLatestMeasurementCounts()
    {
        QSignalSpy changed(launcher_.get(), &LauncherModel::storageSizeChanged);
        launcher_->measureStorage();
        fixture_->installByHand(ModelFixture::engineScript());
        launcher_->measureStorage();
        const QString nothing = QStringLiteral("Zero KB");
        const QString notYet = QStringLiteral("…");
        spinUntil([&] {
            return launcher_->storageSize() != nothing && launcher_->storageSize() != notYet;
        });
        // An earlier one that ends later changes nothing.
        const QString size = launcher_->storageSize();
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
        QCOMPARE(launcher_->storageSize(), size);
    }

    void maintenance_data()
    {
        QTest::addColumn<QByteArray>("action");
        QTest::addColumn<bool>("keepsEngine");
        QTest::newRow("update") << QByteArray("updateGame") << true;
        QTest::newRow("reinstall") << QByteArray("reinstall") << false;
    }

    void maintenance()
    {
        QFETCH(QByteArray, action);
        QFETCH(bool, keepsEngine);
        fixture_->installByHand(ModelFixture::engineScript());
        app().refreshState();
        QMetaObject::invokeMethod(launcher_.get(), action.constData());
        QVERIFY(app().work());
        fixture_->waitUntilIdle();
        QVERIFY(!QFile::exists(fixture_->root(QStringLiteral("Game"))));
        QCOMPARE(QFile::exists(fixture_->root(QStringLiteral("Engine"))), keepsEngine);
    }

    void filesAndCopies()
    {
        launcher_->showSaves();
        launcher_->revealInFinder();
        QCOMPARE(fixture_->desktop->alerts.size(), 2);
        QCOMPARE(fixture_->desktop->alerts.at(0).message, QStringLiteral("No saves yet"));
        QCOMPARE(fixture_->desktop->alerts.at(1).message, QStringLiteral("Nothing downloaded yet"));
        QVERIFY(QDir().mkpath(fixture_->root()));
        QVERIFY(QDir().mkpath(app().savesFolder()));
        launcher_->showSaves();
        launcher_->revealInFinder();
        QCOMPARE(fixture_->desktop->revealed, (QStringList{app().savesFolder(), fixture_->root()}));
        app().log.append(QStringLiteral("a"));
        app().log.append(QStringLiteral("b"));
        launcher_->copyLog();
        QCOMPARE(fixture_->desktop->copied, QStringList{QStringLiteral("a\nb")});
        QCOMPARE(launcher_->log(), &app().log);
    }

    void repository()
    {
        ModelFixture public_(realClock(), QUrl(QStringLiteral("https://github.com")));
        LauncherModel launcher(public_.model());
        QCOMPARE(launcher.repositoryAddress(),
                 QStringLiteral("github.com/tessel-works/godot-brindle"));
        QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "opened");
        launcher.openRepository();
        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
        QCOMPARE(opened_, QList<QUrl>{QUrl(
                              QStringLiteral("https://github.com/tessel-works/godot-brindle"))});
    }

    void quitIsPassedOn()
    {
        QSignalSpy asked(launcher_.get(), &LauncherModel::quitRequested);
        launcher_->quit();
        QCOMPARE(asked.size(), 1);
    }

public Q_SLOTS:
    void opened(const QUrl &url) { opened_ << url; }

private:
    QList<QUrl> opened_;
};

QTEST_MAIN(TestLauncherModel)
#include "tst_launchermodel.moc"
