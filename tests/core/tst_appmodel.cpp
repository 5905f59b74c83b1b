// The model's state: the start, the search for the game, the settings, the properties and their
// signals.

#include "ModelFixture.h"
#include "base/Error.h"
#include "base/Text.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/ManualClock.h"
#include "support/WorkerHold.h"

#include <QSignalSpy>
#include <QtTest>

#include <semaphore>
#include <thread>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

bool isCancellation(auto error)
{
    return AppModel::isCancellation(std::make_exception_ptr(error));
}

} // namespace

Q_DECLARE_METATYPE(brindle::AppState)

class TestAppModel : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModelFixture> fixture_;

    AppModel &model() { return fixture_->model(); }
    QVariant property(const char *name)
    {
        const QVariant value = model().property(name);
        if (!value.isValid()) {
            throw std::runtime_error(std::string("there is no property ") + name);
        }
        return value;
    }
    QString text(const char *name) { return property(name).toString(); }
    bool flag(const char *name) { return property(name).toBool(); }

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<ModelFixture>(); }
    void cleanup() { fixture_.reset(); }

    void startsEmptyOnAnEmptyDisk()
    {
        QCOMPARE(model().state(), AppState::notDownloaded());
        QCOMPARE(model().stepText(), QString());
        QVERIFY(!model().progress());
        QCOMPARE(model().detail(), QString());
        QVERIFY(!model().failure());
        QCOMPARE(model().info(), ProjectInfo::placeholder);
        QCOMPARE(model().fullscreen(), false);
        QCOMPARE(model().resolution(), ResolutionChoice::gameDefault);
        QVERIFY(model().log.lines().isEmpty());
        QVERIFY(!model().work());
        QVERIFY(!model().projectURL());
        QVERIFY(!model().runner.current());
        QVERIFY(!model().runner.userStopped());
        QVERIFY2(!QFileInfo::exists(fixture_->root()), "starting must not write anything");
    }

    void readsTheSavedResolution_data()
    {
        QTest::addColumn<QVariant>("saved");
        QTest::addColumn<ResolutionChoice>("expected");
        QTest::addColumn<QVariant>("argument");
        const auto row = [](const char *name, const QVariant &saved, ResolutionChoice expected) {
            QTest::newRow(name) << saved << expected
                                << (expected == ResolutionChoice::gameDefault ? QVariant() : saved);
        };
        row("720", u"1280x720"_s, ResolutionChoice::r720);
        row("900", u"1600x900"_s, ResolutionChoice::r900);
        row("1080", u"1920x1080"_s, ResolutionChoice::r1080);
        row("1440", u"2560x1440"_s, ResolutionChoice::r1440);
        row("default", u""_s, ResolutionChoice::gameDefault);
        row("missing", {}, ResolutionChoice::gameDefault);
        row("unknown", u"1920x1200"_s, ResolutionChoice::gameDefault);
        row("blank", u" "_s, ResolutionChoice::gameDefault);
        row("capital", u"1280X720"_s, ResolutionChoice::gameDefault);
        row("longer", u"1280x7200"_s, ResolutionChoice::gameDefault);
        row("a list", QStringList{u"1280x720"_s, u"x"_s}, ResolutionChoice::gameDefault);
    }

    void readsTheSavedResolution()
    {
        QFETCH(const QVariant, saved);
        QFETCH(const ResolutionChoice, expected);
        QFETCH(const QVariant, argument);
        if (saved.isValid()) {
            QSettings(fixture_->settingsFile(), QSettings::IniFormat)
                .setValue(u"resolution"_s, saved);
        }
        QCOMPARE(model().resolution(), expected);
        QCOMPARE(ResolutionChoices::argument(expected).value_or(QString()), argument.toString());
    }

    void readsFullscreenFromAText_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("fullscreen");
        QTest::newRow("chosen") << QByteArray("fullscreen=true\n") << true;
        QTest::newRow("by hand") << QByteArray("fullscreen=yes\n") << true;
        QTest::newRow("not chosen") << QByteArray("fullscreen=false\n") << false;
        QTest::newRow("missing") << QByteArray() << false;
        QTest::newRow("a list") << QByteArray("fullscreen=a, b\n") << false;
    }

    void readsFullscreenFromAText()
    {
        QFETCH(const QByteArray, line);
        QFETCH(const bool, fullscreen);
        ModelFixture::write(fixture_->settingsFile(), "[General]\n" + line);
        QCOMPARE(model().fullscreen(), fullscreen);
    }

    void storesSettingsAtOnce()
    {
        const auto stored = [&] { return ModelFixture::read(fixture_->settingsFile()); };
        QCOMPARE(stored(), QByteArray());
        for (qsizetype i = ResolutionChoices::rawValues.size() - 1; i >= 0; --i) {
            const auto choice = static_cast<ResolutionChoice>(i);
            model().setFullscreen(i % 2 == 1);
            model().setResolution(choice);
            QCOMPARE(model().resolution(), choice);
            // The default is stored as well.
            QCOMPARE(stored(),
                     QByteArray("[General]\nfullscreen=") + (i % 2 == 1 ? "true" : "false") +
                         "\nresolution=" + ResolutionChoices::rawValues.at(i).toUtf8() + "\n");
            fixture_->restart();
            QCOMPARE(model().fullscreen(), i % 2 == 1);
            QCOMPARE(model().resolution(), choice);
        }
    }

    void saysThatSettingsCantBeStored()
    {
        // No file can be written at this path.
        QVERIFY(QDir().mkpath(fixture_->settingsFile() + u"/in the way"_s));
        model().setFullscreen(true);
        spinUntil([&] { return !model().log.lines().isEmpty(); });
        QCOMPARE(model().log.lines(),
                 QStringList{u"• Problem: The settings could not be saved in "_s +
                             fixture_->settingsFile() + u"."_s});
        QVERIFY2(model().fullscreen(), "it holds for this run");

        QVERIFY(QDir(fixture_->settingsFile()).removeRecursively());
        model().setResolution(ResolutionChoice::r900);
        spinUntil([&] { return QFileInfo(fixture_->settingsFile()).isFile(); });
        QCoreApplication::processEvents();
        QCOMPARE(model().log.lines().size(), 1);
        fixture_->restart();
        QCOMPARE(model().fullscreen(), true);
        QCOMPARE(model().resolution(), ResolutionChoice::r900);
    }

    void readsTheSavedDescription()
    {
        ProjectInfo info;
        info.name = u"Saved"_s;
        info.godotVersion = std::nullopt;
        ModelFixture::write(fixture_->root(u"info.json"_s), info.toJson());
        QCOMPARE(model().info(), info);
    }

    void anUnreadableDescriptionIsIgnored_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("no JSON") << QByteArray("{\"name\":");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("missing key") << QByteArray("{\"name\":\"Half\"}");
        // Not even the administrator can read a folder.
        QTest::newRow("a folder") << QByteArray("/");
    }

    void anUnreadableDescriptionIsIgnored()
    {
        QFETCH(QByteArray, content);
        const QString file = fixture_->root(u"info.json"_s);
        if (content == "/") {
            QVERIFY(QDir().mkpath(file));
        } else {
            ModelFixture::write(file, content);
        }
        QCOMPARE(model().info(), ProjectInfo::placeholder);
        QCOMPARE(model().state(), AppState::notDownloaded());
        QVERIFY(model().log.lines().isEmpty());
    }

    void theGameIsLookedForBehindTheFirstLook_data()
    {
        QTest::addColumn<QString>("removed");
        QTest::addColumn<QString>("written");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<AppState>("first");
        QTest::addColumn<AppState>("then");
        const auto ready = AppState::ready();
        const auto none = AppState::notDownloaded();
        const auto row = [](const char *name, const QString &removed, const AppState &first,
                            const AppState &then, const QString &written = {},
                            const QByteArray &content = {}) {
            QTest::newRow(name) << removed << written << content << first << then;
        };
        row("complete", {}, ready, ready);
        row("no game", u"Game"_s, none, none);
        row("no engine", u"Engine"_s, none, none);
        row("no description", u"info.json"_s, none, ready);
        row("no project", u"Game/godot-brindle-main/project.godot"_s, ready, none);
        row("unfinished", {}, none, none, u"unfinished"_s, "x");
        ProjectInfo old;
        old.configVersion = 4;
        row("no engine fits", {}, none, none, u"info.json"_s, old.toJson());
    }

    void theGameIsLookedForBehindTheFirstLook()
    {
        QFETCH(const QString, removed);
        QFETCH(const QString, written);
        QFETCH(const QByteArray, content);
        QFETCH(const AppState, first);
        QFETCH(const AppState, then);
        fixture_->installByHand(ModelFixture::engineScript());
        if (!removed.isEmpty()) {
            Files::remove(fixture_->root(removed));
        }
        if (!written.isEmpty()) {
            ModelFixture::write(fixture_->root(written), content);
        }
        WorkerHold workers;
        AppModel &app = fixture_->modelAtStart();
        QCOMPARE(app.state(), first);
        QSignalSpy changes(&app, &AppModel::stateChanged);
        workers.open();
        WorkerHold().open();
        QCoreApplication::processEvents();
        QCOMPARE(app.state(), then);
        QCOMPARE(changes.size(), first == then ? 0 : 1);
        const QString project = fixture_->root(u"Game/godot-brindle-main"_s);
        QCOMPARE(app.projectURL(),
                 removed.startsWith(u"Game") ? std::nullopt : std::optional(project));
    }

    void aLookThatATaskOvertakesChangesNothing()
    {
        fixture_->installByHand(ModelFixture::engineScript());
        WorkerHold workers;
        AppModel &app = fixture_->modelAtStart();
        app.updateGame();
        const AppState shown = app.state();
        QVERIFY(app.canCancel());
        workers.letPass(); // the search at the start
        for (int i = 0; i < 10; ++i) {
            QCoreApplication::processEvents();
        }
        QCOMPARE(app.state(), shown);
        app.cancel();
        workers.open();
        fixture_->waitUntilIdle();
    }

    void refreshingClearsTheStatusLines()
    {
        model().set(&Status::state, AppState::needs(u"x"_s));
        model().set(&Status::stepText, u"x"_s);
        model().set(&Status::progress, 0.5);
        model().set(&Status::detail, u"x"_s);
        await(model().refreshState());
        QCOMPARE(model().state(), AppState::notDownloaded());
        QCOMPARE(model().stepText(), QString());
        QVERIFY(!model().progress());
        QCOMPARE(model().detail(), QString());
    }

    void whatIsAsItWasIsNotAnnounced()
    {
        QSignalSpy changes(&model(), &AppModel::willChange);
        await(model().refreshState());
        QCOMPARE(changes.size(), 0);
        model().updateProgress(1, 2, 0);
        QCOMPARE(changes.size(), 1);
        model().updateProgress(1, 2, 0);
        QCOMPARE(changes.size(), 1);
    }

    void everyState_data()
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
        const QString text = u"the text"_s;
        row("notDownloaded", AppState::notDownloaded(), false, false, true);
        row("downloading", AppState::downloading(text), false, true, false);
        row("settingUp", AppState::settingUp(text), false, true, false);
        row("needs", AppState::needs(text), false, false, true);
        row("ready", AppState::ready(), false, false, true);
        row("starting", AppState::starting(), true, false, false);
        row("playing", AppState::playing(), true, false, false);
    }

    void everyState()
    {
        QFETCH(AppState, state);
        model().set(&Status::state, AppState::needs(u"before"_s));
        QSignalSpy changed(&model(), &AppModel::stateChanged);
        QSignalSpy canPlayChanged(&model(), &AppModel::canPlayChanged);
        model().set(&Status::state, state);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(canPlayChanged.size(), 1);
        QTEST(property("phase").toInt(), "phase");
        QTEST(flag("gameRunning"), "gameRunning");
        QTEST(flag("canCancel"), "canCancel");
        QTEST(flag("canPlay"), "canPlay");
        QCOMPARE(text("needsMessage"),
                 state.phase == AppState::Phase::needs ? u"the text"_s : QString());
    }

    void playByState_data() { everyState_data(); }
    void playByState()
    {
        QFETCH(AppState, state);
        QFETCH(bool, canPlay);
        model().set(&Status::state, state);
        model().play();
        QCOMPARE(model().work() != nullptr, canPlay);
        model().cancel();
        fixture_->waitUntilIdle();
    }

    void playTwiceStartsOnce()
    {
        model().play();
        const auto work = model().work();
        QVERIFY(work);
        QCOMPARE(model().state(), AppState::notDownloaded());
        model().play();
        QCOMPARE(model().work(), work);
        fixture_->waitUntilIdle();
        QCOMPARE(model().log.lines().filter(u"• Downloading the game"_s).size(), 1);
    }

    void textsAndProgress()
    {
        QSignalSpy changed(&model(), &AppModel::progressChanged);
        QVERIFY(!flag("hasProgress"));
        model().set(&Status::progress, 0.25);
        QCOMPARE(changed.size(), 1);
        QVERIFY(flag("hasProgress"));
        QCOMPARE(property("progress").toDouble(), 0.25);
        model().set(&Status::progress, std::nullopt);
        QVERIFY(!flag("hasProgress"));
        model().set(&Status::stepText, u"step"_s);
        model().set(&Status::detail, u"detail"_s);
        QCOMPARE(text("stepText"), u"step"_s);
        QCOMPARE(text("detail"), u"detail"_s);
    }

    void theFailureInProperties()
    {
        QVERIFY(!flag("hasFailure"));
        model().set(&Status::failure, FailureReport{u"summary"_s, {u"one"_s, u"two"_s}});
        QVERIFY(flag("hasFailure"));
        QCOMPARE(text("failureSummary"), u"summary"_s);
        QCOMPARE(text("failureText"), u"one\ntwo"_s);
        model().set(&Status::failure, std::nullopt);
        QVERIFY(!flag("hasFailure"));
        QCOMPARE(text("failureSummary") + text("failureText"), QString());
    }

    void theRepository()
    {
        fixture_->codeHost = QUrl(u"https://github.com"_s);
        QCOMPARE(text("repositoryAddress"), u"github.com/tessel-works/godot-brindle"_s);
        model().openRepository();
        QCOMPARE(fixture_->desktop->opened,
                 QList<QUrl>{QUrl(u"https://github.com/tessel-works/godot-brindle"_s)});
    }

    void viewsCallEveryAction()
    {
        const QByteArrayList actions{"play",        "stop",           "cancel",
                                     "updateGame",  "reinstall",      "removeEverything",
                                     "showSaves",   "revealInFinder", "openRepository",
                                     "copyFailure", "copyLog",        "measureStorage",
                                     "quit"};
        for (const QByteArray &action : actions) {
            QVERIFY2(AppModel::staticMetaObject.indexOfMethod(action + "()") >= 0, action);
        }
        QCOMPARE(property("log").value<QObject *>(), &model().log);
    }

    void info()
    {
        QSignalSpy changed(&model(), &AppModel::infoChanged);
        ProjectInfo known;
        known.name = u"A game"_s;
        known.tagline = u"tagline"_s;
        known.licenseName = u"GPL"_s;
        known.copyright = QString();
        known.controls = {u"W: up"_s};
        model().set(&Status::info, known);
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
        connect(&model(), &AppModel::willChange, this, [&] { look(u"will"_s); });
        connect(&model(), &AppModel::settingsChanged, this, [&] { look(u"did"_s); });
        QVERIFY(model().setProperty("fullscreen", true));
        QVERIFY(model().setProperty("resolution", 3));
        QCOMPARE(model().resolution(), ResolutionChoice::r1080);
        QCOMPARE(seen.join(u'|'), u"will windowed 0|did full 0|will full 0|did full 3"_s);
    }

    void storageIsMeasuredOnRequest()
    {
        QCOMPARE(text("storageSize"), u"…"_s);
        QSignalSpy changed(&model(), &AppModel::storageSizeChanged);
        model().measureStorage();
        spinUntil([&] { return changed.size() == 1; });
        QCOMPARE(text("storageSize"), u"Zero KB"_s);

        // With one worker left, a second measurement would count the file written before it.
        std::counting_semaphore<> leave{0};
        for (int i = 0; i < Threads::maxWorkers; ++i) {
            Threads::startOnWorker([&leave] { leave.acquire(); });
        }
        fixture_->installByHand(ModelFixture::engineScript());
        const QString first = Text::byteCount(Paths::folderSize(fixture_->root()));
        model().measureStorage();
        Threads::startOnWorker([file = fixture_->root(u"big"_s)] {
            ModelFixture::write(file, QByteArray(1'000'000, 'x'));
        });
        model().measureStorage();                    // dropped
        QCOMPARE(text("storageSize"), u"Zero KB"_s); // the old figure stays
        leave.release();
        spinUntil([&] { return changed.size() == 2; });
        QCOMPARE(text("storageSize"), first);
        leave.release(Threads::maxWorkers - 1);
        WorkerHold().open();
        QCoreApplication::processEvents();
        QCOMPARE(text("storageSize"), first);
        QCOMPARE(changed.size(), 2);
    }

    void statesCompareByPhaseAndText()
    {
        QVERIFY(AppState::needs(u"a"_s) == AppState::needs(u"a"_s));
        QVERIFY(!(AppState::needs(u"a"_s) == AppState::needs(u"b"_s)));
        QVERIFY(!(AppState::needs(u"a"_s) == AppState::downloading(u"a"_s)));
    }

    void aHeadlineFromAWorkerSetsThreeFieldsInOrder()
    {
        model().set(&Status::progress, 0.5);
        QStringList order;
        connect(&model(), &AppModel::stepTextChanged, this, [&] { order << u"step"_s; });
        connect(&model(), &AppModel::stateChanged, this, [&] { order << u"state"_s; });
        connect(&model(), &AppModel::progressChanged, this, [&] { order << u"progress"_s; });
        const StatusBox box(&model());
        std::thread([&] { box.set(u"Headline"_s); }).join();
        QVERIFY2(order.isEmpty(), "the model is touched on its own thread only");
        spinUntil([&] { return order.size() == 3; });
        QCOMPARE(order.join(u' '), u"step state progress"_s);
        QCOMPARE(model().stepText(), u"Headline"_s);
        QCOMPARE(model().state(), AppState::downloading(u"Headline"_s));
        QVERIFY(!model().progress());
    }

    void headlinesAreNotMerged()
    {
        QSignalSpy changes(&model(), &AppModel::stepTextChanged);
        const StatusBox box(&model());
        box.set(u"a"_s);
        box.set(u"b"_s);
        spinUntil([&] { return model().stepText() == u"b"_s; });
        QCOMPARE(changes.size(), 2);
    }

    void aHeadlineForAModelThatIsGoneDoesNothing()
    {
        auto other = std::make_unique<ModelFixture>();
        const StatusBox box(&other->model());
        const ProgressCallback progress = other->model().progressHandler();
        box.set(u"too late"_s);
        progress(1, 2, 3);
        other.reset();
        box.set(u"later still"_s);
        progress(1, 2, 3);
        // The next model does not change either.
        AppModel &next = model();
        QSignalSpy changes(&next, &AppModel::willChange);
        bool served = false;
        QMetaObject::invokeMethod(this, [&] { served = true; }, Qt::QueuedConnection);
        spinUntil([&] { return served; });
        QCOMPARE(changes.size(), 0);
        QCOMPARE(next.state(), AppState::notDownloaded());
    }

    void progressWithAKnownTotal()
    {
        model().updateProgress(1, 1, 0);
        QCOMPARE(model().progress(), std::optional(1.0));
        QCOMPARE(model().detail(), u"1 byte of 1 byte · Zero KB/s"_s);
        model().updateProgress(25'000'000, 100'000'000, 1'250'000.9);
        QCOMPARE(model().progress(), std::optional(0.25));
        QCOMPARE(model().detail(), u"25 MB of 100 MB · 1.3 MB/s"_s);
    }

    void eachStartOfTheGameHasItsOwnPermission()
    {
        fixture_->installByHand(
            "#!/bin/sh\ncase \"$*\" in *--import*) what=import ;; *) what=game ;; "
            "esac\necho \"$what: '$XDG_ACTIVATION_TOKEN'\"\n");
        QVERIFY(QFile::remove(fixture_->root(u"imported-4.3-stable.txt"_s)));
        qputenv("XDG_ACTIVATION_TOKEN", "ours");
        model().startWork(false);
        fixture_->waitUntilIdle();
        QVERIFY(model().log.lines().contains(u"import: ''"_s));
        QCOMPARE(fixture_->desktop->askedStarts, 0);
        for (int i = 1; i <= 2; ++i) {
            model().startWork(true);
            fixture_->waitUntilIdle();
            QVERIFY(model().log.lines().contains(u"game: 'start %1'"_s.arg(i)));
        }
        qunsetenv("XDG_ACTIVATION_TOKEN");
        QCOMPARE(fixture_->desktop->askedStarts, 2);
    }

    void theTimeLeft()
    {
        const auto clock = std::make_shared<ManualClock>();
        fixture_->modelClock = clock;
        QSignalSpy changes(&model(), &AppModel::timeLeftChanged);
        model().updateProgress(0, 100'000'000, 0);
        QCOMPARE(model().timeLeft(), QString());
        clock->advance(Clock::Duration(2));
        model().updateProgress(2'000'000, 100'000'000, 0);
        QCOMPARE(model().timeLeft(), u"About 2 minutes left"_s);
        QCOMPARE(model().property("timeLeft").toString(), model().timeLeft());
        clock->advance(Clock::Duration(2));
        model().updateProgress(60'000'000, 100'000'000, 0);
        QCOMPARE(model().timeLeft(), u"Less than a minute left"_s);
        QCOMPARE(changes.size(), 2);
        // No byte arrives.
        clock->advance(Clock::Duration(8));
        model().updateProgress(60'000'000, 100'000'000, 0);
        QCOMPARE(model().timeLeft(), u"Less than a minute left"_s);
        clock->advance(Clock::Duration(1));
        model().updateProgress(60'000'000, 100'000'000, 0);
        QCOMPARE(model().timeLeft(), QString());
        // More bytes than announced.
        model().updateProgress(100'000'001, 100'000'000, 0);
        QCOMPARE(model().timeLeft(), QString());

        // The next download starts with an empty rate.
        model().updateProgress(60'000'000, 100'000'000, 0);
        StatusBox(&model()).set(u"Checking"_s);
        spinUntil([&] { return model().stepText() == u"Checking"_s; });
        QCOMPARE(model().timeLeft(), QString());
        clock->advance(Clock::Duration(2));
        model().updateProgress(90'000'000, 100'000'000, 0);
        QCOMPARE(model().timeLeft(), QString());
        clock->advance(Clock::Duration(2));
        model().updateProgress(90'100'000, 100'000'000, 0);
        QCOMPARE(model().timeLeft(), u"About 3 minutes left"_s);
        model().updateProgress(90'200'000, 0, 0);
        QCOMPARE(model().timeLeft(), QString());
    }

    void progressWithoutATotal_data()
    {
        QTest::addColumn<qint64>("total");
        QTest::newRow("zero") << qint64(0);
        QTest::newRow("negative") << qint64(-1);
    }

    void progressWithoutATotal()
    {
        QFETCH(qint64, total);
        model().set(&Status::progress, 0.5);
        model().updateProgress(2000, total, 999);
        QVERIFY(!model().progress());
        QCOMPARE(model().detail(), u"2 KB · 999 bytes/s"_s);
    }

    void cancellationsAreToldFromFailures()
    {
        QVERIFY(isCancellation(CancellationError()));
        QVERIFY(!isCancellation(TransferError(u"x"_s)));
        QVERIFY(!isCancellation(SetupError(u"x"_s)));
        QVERIFY(!isCancellation(std::runtime_error("x")));
    }

    void hintsFollowTheLog_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("hint");
        const auto graphics = u"The graphics system reported a problem. The game may "
                              "need a faster Mac or a newer macOS."_s;
        const auto scripts = u"The game's scripts reported errors. The log below shows where."_s;
        const auto other = u"The last lines of the log below may show why."_s;
        const auto lines = [](const char *text) { return QStringList{QString::fromUtf8(text)}; };
        QTest::newRow("vulkan") << lines("ERROR: Vulkan is missing") << graphics;
        QTest::newRow("metal") << lines("METAL device lost") << graphics;
        QTest::newRow("gpu") << lines("no GPU") << graphics;
        QTest::newRow("rendering") << lines("Rendering failed") << graphics;
        QTest::newRow("parse error in capitals") << lines("Parse Error: x") << scripts;
        QTest::newRow("script error") << lines("SCRIPT ERROR: x") << scripts;
        QTest::newRow("both") << QStringList{u"Parse Error"_s, u"gpu"_s} << graphics;
        QTest::newRow("neither") << lines("something else") << other;
        QTest::newRow("no lines") << QStringList() << other;
        QTest::newRow("word across lines") << QStringList{u"parse"_s, u"error"_s} << other;
    }

    void hintsFollowTheLog()
    {
        QFETCH(QStringList, lines);
        QFETCH(QString, hint);
        QCOMPARE(AppModel::plainHint(lines), hint);
    }
};

QTEST_GUILESS_MAIN(TestAppModel)
#include "tst_appmodel.moc"
