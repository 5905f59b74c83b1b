// Tests the model's state: the start, the search for the game, the settings, the properties and
// their signals.

#include "ModelFixture.h"
#include "base/Error.h"
#include "base/Text.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/SystemCalls.h"
#include "support/WorkerHold.h"

#include <QSignalSpy>
#include <QtTest>

#include <thread>

using namespace brindle;
using namespace Qt::StringLiterals;

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

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<ModelFixture>(); }
    void cleanup() { fixture_.reset(); }

    void startsEmptyOnAnEmptyDisk()
    {
        Status empty;
        empty.info = ProjectInfo::placeholder;
        QVERIFY(model().status() == empty);
        QVERIFY(model().log.lines().isEmpty());
        QVERIFY(!model().work());
        QVERIFY(!model().projectURL());
        QVERIFY(!model().runner.current());
        QVERIFY(!model().runner.userStopped());
        QVERIFY2(!QFileInfo::exists(fixture_->root()), "starting must not write anything");
    }

    void readsTheSettings_data()
    {
        QTest::addColumn<QByteArray>("saved");
        QTest::addColumn<bool>("fullscreen");
        QTest::addColumn<ResolutionChoice>("resolution");
        QTest::addColumn<QString>("argument");
        const auto row = [](const QByteArray &saved, bool fullscreen,
                            ResolutionChoice resolution = ResolutionChoice::gameDefault,
                            const QString &argument = {}) {
            QTest::newRow(saved.simplified()) << saved << fullscreen << resolution << argument;
        };
        row("", false);
        row("resolution=1280x720", false, ResolutionChoice::r720, u"1280x720"_s);
        row("resolution=1600x900\nfullscreen=true", true, ResolutionChoice::r900, u"1600x900"_s);
        row("resolution=1920x1080", false, ResolutionChoice::r1080, u"1920x1080"_s);
        row("resolution=2560x1440\nfullscreen=false", false, ResolutionChoice::r1440,
            u"2560x1440"_s);
        row("resolution=", false);
        row("resolution=1920x1200", false);
        row("resolution=1280X720", false);
        row("resolution=1280x720, x\nfullscreen=a, b", false);
    }
    void readsTheSettings()
    {
        QFETCH(const QByteArray, saved);
        QFETCH(const QString, argument);
        writeFile(fixture_->settingsFile(), "[General]\n" + saved + '\n');
        QTEST(model().fullscreen(), "fullscreen");
        QTEST(model().resolution(), "resolution");
        QCOMPARE(resolutions.at(model().resolutionIndex()), argument);
    }

    void storesSettingsAtOnce()
    {
        for (qsizetype i = resolutions.size() - 1; i >= 0; --i) {
            const auto choice = static_cast<ResolutionChoice>(i);
            model().setFullscreen(i % 2 == 1);
            model().setResolution(choice);
            QCOMPARE(model().resolution(), choice);
            // The default choice is stored, too.
            QCOMPARE(readFile(fixture_->settingsFile()),
                     QByteArray("[General]\nfullscreen=") + (i % 2 == 1 ? "true" : "false") +
                         "\nresolution=" + resolutions.at(i).toUtf8() + "\n");
        }
    }

    void reportsUnsavedSettings()
    {
        model().setFullscreen(false); // this makes the settings file
        {
            SystemCalls calls;
            calls.before = [&](const QString &line) {
                return line.endsWith(u" to "_s + fixture_->settingsFile()) ? ENOSPC : 0;
            };
            model().setFullscreen(true);
        }
        spinUntil([&] { return !model().log.lines().isEmpty(); });
        QCOMPARE(model().log.lines(),
                 QStringList{u"• Problem: The settings could not be saved in %1."_s.arg(
                     fixture_->settingsFile())});
        QVERIFY2(model().fullscreen(), "it holds for this run");

        model().setResolution(ResolutionChoice::r900);
        fixture_->restart();
        QVERIFY(model().fullscreen());
        QCOMPARE(model().resolution(), ResolutionChoice::r900);
    }

    void settingsAreProperties()
    {
        QCOMPARE(property("resolutionLabels").toStringList().join(u'|'),
                 u"Game default|1280x720|1600x900|1920x1080|2560x1440"_s);
        QStringList seen;
        const auto look = [&](const QString &when) {
            seen << when + (property("fullscreen").toBool() ? u" full "_s : u" windowed "_s) +
                        property("resolution").toString();
        };
        connect(&model(), &AppModel::willChange, this, [&] { look(u"will"_s); });
        connect(&model(), &AppModel::changed, this, [&] { look(u"did"_s); });
        QVERIFY(model().setProperty("fullscreen", true));
        QVERIFY(model().setProperty("resolution", 3));
        QCOMPARE(model().resolution(), ResolutionChoice::r1080);
        QCOMPARE(seen.join(u'|'), u"will windowed 0|did full 0|will full 0|did full 3"_s);
    }

    void readsTheSavedDescription_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<ProjectInfo>("info");
        ProjectInfo saved;
        saved.name = u"Saved"_s;
        saved.godotVersion = std::nullopt;
        QTest::newRow("good") << saved.toJson() << saved;
        QTest::newRow("no JSON") << QByteArray("{\"name\":") << ProjectInfo::placeholder;
        QTest::newRow("missing key") << QByteArray("{\"name\":\"x\"}") << ProjectInfo::placeholder;
        // This folder in place of the file can't be read.
        QTest::newRow("a folder") << QByteArray("/") << ProjectInfo::placeholder;
    }
    void readsTheSavedDescription()
    {
        QFETCH(QByteArray, content);
        const QString file = fixture_->root(u"info.json"_s);
        if (content == "/") {
            QVERIFY(QDir().mkpath(file));
        } else {
            writeFile(file, content);
        }
        QTEST(model().info(), "info");
        QCOMPARE(model().state(), AppState::notDownloaded());
        QVERIFY(model().log.lines().isEmpty());
    }

    void searchesForTheGameInTheBackground_data()
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
        row("no description", u"info.json"_s, ready, ready);
        row("no project", u"Game/godot-brindle-main/project.godot"_s, ready, none);
        row("unfinished", {}, none, none, u"unfinished"_s, "x");
        ProjectInfo old;
        old.configVersion = 4;
        row("no engine fits", {}, none, none, u"info.json"_s, old.toJson());
    }
    void searchesForTheGameInTheBackground()
    {
        QFETCH(const QString, removed);
        QFETCH(const QString, written);
        QFETCH(const QByteArray, content);
        QFETCH(const AppState, first);
        QFETCH(const AppState, then);
        fixture_->installByHand();
        if (!removed.isEmpty()) {
            Files::remove(fixture_->root(removed));
        }
        if (!written.isEmpty()) {
            writeFile(fixture_->root(written), content);
        }
        WorkerHold workers;
        AppModel &app = fixture_->modelAtStart();
        QCOMPARE(app.state(), first);
        QSignalSpy changes(&app, &AppModel::changed);
        workers.open();
        WorkerHold().open();
        QCoreApplication::processEvents();
        QCOMPARE(app.state(), then);
        QCOMPARE(changes.size(), first == then ? 0 : 1);
        QCOMPARE(app.projectURL(),
                 removed.startsWith(u"Game") ? std::nullopt : std::optional(fixture_->project()));
    }

    void dropsTheSearchOnceATaskRuns()
    {
        fixture_->installByHand();
        WorkerHold workers;
        AppModel &app = fixture_->modelAtStart();
        workers.letPass(); // lets the search end; its result waits in the event loop
        app.updateGame();
        const AppState shown = app.state();
        QVERIFY(app.canCancel());
        serveEvents();
        QCOMPARE(app.state(), shown);
        app.cancel();
        workers.open();
        fixture_->waitUntilIdle();
    }

    void refreshingClearsTheStatusLines()
    {
        const Status before = model().status();
        Status other = before;
        other.state = AppState::needs(u"x"_s);
        other.stepText = other.detail = other.timeLeft = u"x"_s;
        other.progress = 0.5;
        model().show(other);
        await(model().refreshState());
        QVERIFY(model().status() == before);
    }

    void everyFieldIsAProperty()
    {
        fixture_->codeHost = QUrl(u"https://github.com"_s);
        const ProjectInfo info = [] {
            ProjectInfo known;
            known.name = u"A game"_s;
            known.tagline = u"tagline"_s;
            known.licenseName = u"GPL"_s;
            known.copyright = u"(c)"_s;
            known.controls = {u"W: up"_s};
            return known;
        }();
        const Status all{AppState::needs(u"message"_s),
                         u"step"_s,
                         0.25,
                         u"detail"_s,
                         u"left"_s,
                         FailureReport{u"summary"_s, {u"one"_s, u"two"_s}},
                         info,
                         u"size"_s,
                         true};
        const QList<std::pair<const char *, QVariant>> fields{
            {"needsMessage", u"message"_s}, {"stepText", u"step"_s},
            {"hasProgress", true},          {"progress", 0.25},
            {"detail", u"detail"_s},        {"timeLeft", u"left"_s},
            {"hasFailure", true},           {"failureSummary", u"summary"_s},
            {"failureText", u"one\ntwo"_s}, {"name", info.name},
            {"tagline", info.tagline},      {"licenseName", info.licenseName},
            {"copyright", info.copyright},  {"controls", info.controls},
            {"storageSize", u"size"_s},     {"removing", true}};
        for (const auto &[name, value] : fields) {
            QVERIFY2(property(name) != value, name);
        }
        const QSignalSpy before(&model(), &AppModel::willChange);
        const QSignalSpy after(&model(), &AppModel::changed);
        model().show(all);
        model().show(all); // the status is the same
        QCOMPARE(before.size(), 1);
        QCOMPARE(after.size(), 1);
        for (const auto &[name, value] : fields) {
            QCOMPARE(property(name), value);
        }
        QCOMPARE(property("repositoryAddress"), u"github.com/tessel-works/godot-brindle"_s);
        model().openRepository();
        QCOMPARE(fixture_->desktop->opened,
                 QList<QUrl>{QUrl(u"https://github.com/tessel-works/godot-brindle"_s)});
        QCOMPARE(property("log").value<QObject *>(), &model().log);
    }

    void viewsCallEveryAction()
    {
        for (const char *action :
             {"play()", "stop()", "cancel()", "updateGame()", "reinstall()", "removeEverything()",
              "showSaves()", "revealInFinder()", "openRepository()", "copyFailure()", "copyLog()",
              "measureStorage()", "quit()"}) {
            QVERIFY2(AppModel::staticMetaObject.indexOfMethod(action) >= 0, action);
        }
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
        QFETCH(const AppState, state);
        QFETCH(const bool, canPlay);
        using Action = void (AppModel::*)();
        for (const Action action : {&AppModel::play, &AppModel::updateGame, &AppModel::reinstall,
                                    &AppModel::removeEverything}) {
            model().set(&Status::state, AppState::needs(u"before"_s));
            model().set(&Status::state, state);
            QTEST(property("phase").toInt(), "phase");
            QTEST(property("gameRunning").toBool(), "gameRunning");
            QTEST(property("canCancel").toBool(), "canCancel");
            QTEST(property("canPlay").toBool(), "canPlay");
            QCOMPARE(property("needsMessage"),
                     state.phase == AppState::Phase::needs ? u"the text"_s : QString());
            (model().*action)();
            QCOMPARE(model().work() != nullptr, canPlay);
            if (!canPlay) {
                QCOMPARE(model().state(), state);
            }
            model().cancel();
            fixture_->waitUntilIdle();
        }
        QVERIFY(fixture_->desktop->alerts.isEmpty());
    }

    void storageIsMeasuredOnRequest()
    {
        QCOMPARE(model().storageSize(), u"…"_s);
        QSignalSpy changed(&model(), &AppModel::changed);
        model().measureStorage();
        spinUntil([&] { return changed.size() == 1; });
        QCOMPARE(model().storageSize(), u"Zero KB"_s);
        fixture_->installByHand();
        model().measureStorage();
        QCOMPARE(model().storageSize(), u"Zero KB"_s); // the old figure stays during a measurement
        spinUntil([&] { return changed.size() == 2; });
        QCOMPARE(model().storageSize(), Text::byteCount(Paths::folderSize(fixture_->root())));
        QVERIFY(model().storageSize() !=
                Text::byteCount(Paths::folderSize(fixture_->root(u"Game"_s))));
    }

    void statusBoxSetsThreeFields()
    {
        model().updateProgress(1, 2, 3);
        const QString detail = model().detail();
        QStringList seen;
        connect(&model(), &AppModel::changed, this, [&] {
            seen << model().stepText();
            QCOMPARE(model().state(), AppState::downloading(seen.last()));
            QVERIFY(!model().progress());
        });
        const StatusBox box(&model());
        std::thread([&] {
            box.set(u"a"_s);
            box.set(u"b"_s);
        }).join();
        QVERIFY2(seen.isEmpty(), "the model is touched on its own thread only");
        spinUntil([&] { return seen.size() == 2; });
        QCOMPARE(seen, (QStringList{u"a"_s, u"b"_s}));
        QCOMPARE(model().detail(), detail);
    }

    void statusBoxOutlivesTheModel()
    {
        auto other = std::make_unique<ModelFixture>();
        const StatusBox box(&other->model());
        const ProgressCallback progress = other->model().progressHandler();
        other.reset();
        box.set(u"too late"_s);
        progress(1, 2, 3);
        // The late calls must not change the next model, either.
        QSignalSpy changes(&model(), &AppModel::willChange);
        serveEvents();
        QCOMPARE(changes.size(), 0);
    }

    void byteCountsAreShown_data()
    {
        QTest::addColumn<qint64>("done");
        QTest::addColumn<qint64>("total");
        QTest::addColumn<double>("speed");
        QTest::addColumn<std::optional<double>>("progress");
        QTest::addColumn<QString>("detail");
        const auto row = [](const char *name, qint64 done, qint64 total, double speed,
                            std::optional<double> progress, const QString &detail) {
            QTest::newRow(name) << done << total << speed << progress << detail;
        };
        row("one byte", 1, 1, 0, 1.0, u"1 byte of 1 byte · Zero KB/s"_s);
        row("a quarter", 25'000'000, 100'000'000, 1'250'000.9, 0.25,
            u"25 MB of 100 MB · 1.3 MB/s"_s);
        row("no total", 2000, 0, 999, {}, u"2 KB · 999 bytes/s"_s);
        row("unknown total", 2000, -1, 999, {}, u"2 KB · 999 bytes/s"_s);
    }
    void byteCountsAreShown()
    {
        QFETCH(const qint64, done);
        QFETCH(const qint64, total);
        QFETCH(const double, speed);
        model().set(&Status::progress, 0.5);
        model().updateProgress(done, total, speed);
        QTEST(model().progress(), "progress");
        QCOMPARE(model().fraction(), model().progress().value_or(0));
        QTEST(model().detail(), "detail");
    }

    void theTimeLeft()
    {
        const auto clock = std::make_shared<ManualClock>();
        fixture_->modelClock = clock;
        const auto leftAfter = [&](double seconds, qint64 done, qint64 total = 100'000'000) {
            clock->advance(Clock::Duration(seconds));
            model().updateProgress(done, total, 0);
            return model().timeLeft();
        };
        QCOMPARE(leftAfter(0, 0), QString());
        QCOMPARE(leftAfter(2, 2'000'000), u"About 2 minutes left"_s);
        QCOMPARE(leftAfter(2, 60'000'000), u"Less than a minute left"_s);
        // While no byte arrives, there is no time left to show.
        QCOMPARE(leftAfter(8, 60'000'000), u"Less than a minute left"_s);
        QCOMPARE(leftAfter(1, 60'000'000), QString());
        // More bytes have arrived than were announced.
        QCOMPARE(leftAfter(0, 100'000'001), QString());

        // The next download starts with an empty rate.
        leftAfter(0, 60'000'000);
        StatusBox(&model()).set(u"Checking"_s);
        spinUntil([&] { return model().stepText() == u"Checking"_s; });
        QCOMPARE(model().timeLeft(), QString());
        QCOMPARE(leftAfter(2, 90'000'000), QString());
        QCOMPARE(leftAfter(2, 90'100'000), u"About 3 minutes left"_s);
        QCOMPARE(leftAfter(0, 90'200'000, 0), QString());
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
    }

    void hintsFollowTheLog_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("hint");
        const auto graphics = u"The graphics system reported a problem. The game may "
                              "need a faster Mac or a newer macOS."_s;
        const auto scripts = u"The game's scripts reported errors. The log below shows where."_s;
        const auto other = u"The last lines of the log below may show why."_s;
        const auto row = [](const char *name, const QString &text, const QString &hint) {
            QTest::newRow(name) << text.split(u'\n') << hint;
        };
        row("vulkan", u"ERROR: Vulkan is missing"_s, graphics);
        row("metal", u"METAL device lost"_s, graphics);
        row("gpu", u"no GPU"_s, graphics);
        row("rendering", u"Rendering failed"_s, graphics);
        row("parse error in capitals", u"Parse Error: x"_s, scripts);
        row("script error", u"SCRIPT ERROR: x"_s, scripts);
        row("both", u"Parse Error\ngpu"_s, graphics);
        row("neither", u"something else"_s, other);
        row("no lines", {}, other);
        row("word across lines", u"parse\nerror"_s, other);
    }
    void hintsFollowTheLog()
    {
        QFETCH(const QStringList, lines);
        QTEST(AppModel::plainHint(lines), "hint");
    }
};

QTEST_GUILESS_MAIN(TestAppModel)
#include "tst_appmodel.moc"
