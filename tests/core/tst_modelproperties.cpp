// The model as the views have it: its properties by their names, and what the controls call.

#include "ModelFixture.h"

#include "base/Clock.h"
#include "base/Text.h"
#include "support/Await.h"
#include "support/WorkerHold.h"

#include <QSignalSpy>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

std::shared_ptr<Clock> realClock()
{
    return std::make_shared<SteadyClock>();
}

} // namespace

Q_DECLARE_METATYPE(brindle::AppState)

class TestModelProperties : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModelFixture> fixture_;

    AppModel &app() { return fixture_->model(); }
    QVariant property(const char *name)
    {
        const QVariant value = app().property(name);
        if (!value.isValid()) {
            throw std::runtime_error(std::string("there is no property ") + name);
        }
        return value;
    }
    QString text(const char *name) { return property(name).toString(); }
    bool flag(const char *name) { return property(name).toBool(); }
    /// As a control calls it.
    void call(const char *action)
    {
        if (!QMetaObject::invokeMethod(&app(), action)) {
            throw std::runtime_error(std::string("nobody can call ") + action);
        }
    }

    void states()
    {
        QTest::addColumn<AppState>("state");
        QTest::addColumn<int>("phase");
        QTest::addColumn<bool>("gameRunning");
        QTest::addColumn<bool>("canCancel");
        QTest::addColumn<bool>("canPlay");
        int phase = 0;
        const auto row = [&](const char *name, const AppState &state, bool running, bool cancel,
                             bool play) {
            QTest::newRow(name) << state << phase++ << running << cancel << play;
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
    void init() { fixture_ = std::make_unique<ModelFixture>(realClock()); }

    void cleanup() { fixture_.reset(); }

    void everyState_data() { states(); }
    void everyState()
    {
        QFETCH(AppState, state);
        app().set(&Status::state, AppState::needs(u"before"_s));
        QSignalSpy changed(&app(), &AppModel::stateChanged);
        QSignalSpy canPlayChanged(&app(), &AppModel::canPlayChanged);
        app().set(&Status::state, state);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(canPlayChanged.size(), 1);
        QTEST(property("phase").toInt(), "phase");
        QTEST(flag("gameRunning"), "gameRunning");
        QTEST(flag("canCancel"), "canCancel");
        QTEST(flag("canPlay"), "canPlay");
        QCOMPARE(text("needsMessage"),
                 state.phase == AppState::Phase::needs ? QStringLiteral("the text") : QString());
    }

    void playByState_data() { states(); }
    void playByState()
    {
        QFETCH(AppState, state);
        QFETCH(bool, canPlay);
        app().set(&Status::state, state);
        call("play");
        QCOMPARE(app().work() != nullptr, canPlay);
        app().cancel();
        fixture_->waitUntilIdle();
    }

    void playTwiceStartsOnce()
    {
        call("play");
        const auto work = app().work();
        QVERIFY(work);
        QCOMPARE(app().state(), AppState::notDownloaded());
        call("play");
        QCOMPARE(app().work(), work);
        fixture_->waitUntilIdle();
        QCOMPARE(app().log.lines().filter(QStringLiteral("• Downloading the game")).size(), 1);
    }

    void nothingCanBePlayedWhileATaskRuns()
    {
        fixture_->installByHand(ModelFixture::engineScript());
        await(app().refreshState());
        fixture_->desktop->answer = 1;
        QList<bool> said;
        connect(&app(), &AppModel::canPlayChanged, this, [&] { said << flag("canPlay"); });
        QVERIFY(flag("canPlay"));
        WorkerHold workers;
        call("removeEverything");
        // It measures, and the phase says nothing of it.
        QCOMPARE(app().state(), AppState::ready());
        QVERIFY(!flag("canPlay"));
        QCOMPARE(said, QList<bool>{false});
        const auto work = app().work();
        call("play");
        QCOMPARE(app().work(), work);
        workers.open();
        fixture_->waitUntilIdle();
        QVERIFY(flag("canPlay"));
        QCOMPARE(said.last(), true);
    }

    void stopMarksTheRun()
    {
        // With the process gone already, nothing else happens.
        app().set(&Status::state, AppState::playing());
        call("stop");
        QVERIFY(app().runner.userStopped());
        QCOMPARE(app().state(), AppState::playing());
    }

    void cancelStopsTheTask()
    {
        call("play");
        const auto work = app().work();
        call("cancel");
        QVERIFY(work->stop_requested());
        fixture_->waitUntilIdle();
        QCOMPARE(app().state(), AppState::notDownloaded());
        QVERIFY(app().log.lines().contains(QStringLiteral("• Cancelled")));
    }

    void textsAndProgress()
    {
        QSignalSpy changed(&app(), &AppModel::progressChanged);
        QVERIFY(!flag("hasProgress"));
        app().set(&Status::progress, 0.25);
        QCOMPARE(changed.size(), 1);
        QVERIFY(flag("hasProgress"));
        QCOMPARE(property("progress").toDouble(), 0.25);
        app().set(&Status::progress, std::nullopt);
        QVERIFY(!flag("hasProgress"));
        app().set(&Status::stepText, QStringLiteral("step"));
        app().set(&Status::detail, QStringLiteral("detail"));
        QCOMPARE(text("stepText"), QStringLiteral("step"));
        QCOMPARE(text("detail"), QStringLiteral("detail"));
    }

    void failure()
    {
        QVERIFY(!flag("hasFailure"));
        call("copyFailure");
        QVERIFY(fixture_->desktop->copied.isEmpty());
        QSignalSpy changed(&app(), &AppModel::failureChanged);
        app().set(&Status::failure, FailureReport{QStringLiteral("summary"),
                                      {QStringLiteral("one"), QStringLiteral("two")}});
        QCOMPARE(changed.size(), 1);
        QVERIFY(flag("hasFailure"));
        QCOMPARE(text("failureSummary"), QStringLiteral("summary"));
        QCOMPARE(text("failureText"), QStringLiteral("one\ntwo"));
        call("copyFailure");
        QCOMPARE(fixture_->desktop->copied, QStringList{QStringLiteral("summary\n\none\ntwo")});
        app().set(&Status::failure, std::nullopt);
        QVERIFY(!flag("hasFailure"));
        QCOMPARE(text("failureSummary"), QString());
        QCOMPARE(text("failureText"), QString());
    }

    void info()
    {
        QSignalSpy changed(&app(), &AppModel::infoChanged);
        ProjectInfo known;
        known.name = QStringLiteral("A game");
        known.tagline = QStringLiteral("tagline");
        known.licenseName = QStringLiteral("GPL");
        known.copyright = QString();
        known.controls = {QStringLiteral("W: up")};
        app().set(&Status::info, known);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(text("name"), known.name);
        QCOMPARE(text("tagline"), known.tagline);
        QCOMPARE(text("licenseName"), known.licenseName);
        QCOMPARE(text("copyright"), known.copyright);
        QCOMPARE(property("controls").toStringList(), known.controls);
    }

    void settings()
    {
        QCOMPARE(property("resolutionLabels").toStringList().join(u'|'),
                 u"Game default|1280x720|1600x900|1920x1080|2560x1440"_s);
        QStringList seen;
        const auto look = [&](const QString &when) {
            seen << when + (flag("fullscreen") ? u" full "_s : u" windowed "_s) +
                        text("resolution");
        };
        connect(&app(), &AppModel::willChange, this, [&] { look(u"will"_s); });
        connect(&app(), &AppModel::settingsChanged, this, [&] { look(u"did"_s); });
        QVERIFY(app().setProperty("fullscreen", true));
        QVERIFY(app().setProperty("resolution", 3));
        QCOMPARE(app().resolution(), ResolutionChoice::r1080);
        QCOMPARE(seen.join(u'|'),
                 u"will windowed 0|did full 0|will full 0|did full 3"_s);
    }

    void storageIsMeasuredOnRequest()
    {
        QCOMPARE(text("storageSize"), u"…"_s);
        QSignalSpy changed(&app(), &AppModel::storageSizeChanged);
        call("measureStorage");
        spinUntil([&] { return changed.size() == 1; });
        QCOMPARE(text("storageSize"), u"Zero KB"_s);

        fixture_->installByHand(ModelFixture::engineScript());
        WorkerHold workers;
        call("measureStorage");
        QCoreApplication::processEvents();
        QCOMPARE(text("storageSize"), u"Zero KB"_s); // until the new figure is there
        // A measurement under way is not begun again.
        call("measureStorage");
        workers.letPass();
        spinUntil([&] { return changed.size() == 2; });
        QCOMPARE(text("storageSize"), Text::byteCount(Paths::folderSize(fixture_->root())));
        QVERIFY(text("storageSize") != u"Zero KB"_s);
        QDir(fixture_->root()).removeRecursively();
        workers.open();
        WorkerHold().open();
        QCoreApplication::processEvents();
        QCOMPARE(changed.size(), 2);
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
        await(app().refreshState());
        call(action.constData());
        QVERIFY(app().work());
        fixture_->waitUntilIdle();
        QVERIFY(!QFile::exists(fixture_->root(QStringLiteral("Game"))));
        QCOMPARE(QFile::exists(fixture_->root(QStringLiteral("Engine"))), keepsEngine);
    }

    void filesAndCopies()
    {
        call("showSaves");
        call("revealInFinder");
        QCOMPARE(fixture_->desktop->alerts.size(), 2);
        QCOMPARE(fixture_->desktop->alerts.at(0).message, QStringLiteral("No saves yet"));
        QCOMPARE(fixture_->desktop->alerts.at(1).message, QStringLiteral("Nothing downloaded yet"));
        QVERIFY(QDir().mkpath(fixture_->root()));
        QVERIFY(QDir().mkpath(app().savesFolder()));
        call("showSaves");
        call("revealInFinder");
        QCOMPARE(fixture_->desktop->revealed, (QStringList{app().savesFolder(), fixture_->root()}));
        app().log.append(QStringLiteral("a"));
        app().log.append(QStringLiteral("b"));
        call("copyLog");
        QCOMPARE(fixture_->desktop->copied, QStringList{QStringLiteral("a\nb")});
        QCOMPARE(property("log").value<QObject *>(), &app().log);
    }

    void repository()
    {
        ModelFixture hosted(realClock(), QUrl(QStringLiteral("https://github.com")));
        QCOMPARE(hosted.model().property("repositoryAddress").toString(),
                 QStringLiteral("github.com/tessel-works/godot-brindle"));
        QMetaObject::invokeMethod(&hosted.model(), "openRepository");
        QCOMPARE(
            hosted.desktop->opened,
            QList<QUrl>{QUrl(QStringLiteral("https://github.com/tessel-works/godot-brindle"))});
    }

    void aViewCanAskToQuit()
    {
        QSignalSpy asked(&app(), &AppModel::quit);
        call("quit");
        QCOMPARE(asked.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestModelProperties)
#include "tst_modelproperties.moc"
