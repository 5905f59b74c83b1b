// Tests setup and play with a real host, real archives and a real child process.

#include "ModelFixture.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/SystemCalls.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestPipeline : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    AppModel &model() { return fixture_->model(); }
    /// Returns the arguments that the engine script received.
    QStringList arguments(const char *run) const
    {
        const QString file = fixture_->project() + u"/%1 arguments"_s.arg(QLatin1String(run));
        return QString::fromUtf8(readFile(file)).split(u'\n', Qt::SkipEmptyParts);
    }

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<PipelineFixture>(); }
    void cleanup() { fixture_.reset(); }

    void aFirstPlayGoesThroughAllSteps()
    {
        const QString zipName = EngineSpec{u"4.3-stable"_s, false}.zipName(fixture_->platform);
        QStringList headlines;
        QList<AppState> states;
        connect(&model(), &AppModel::changed, this, [&] {
            if (headlines.value(headlines.size() - 1) != model().stepText()) {
                headlines << model().stepText();
            }
            if (states.isEmpty() || states.last() != model().state()) {
                states << model().state();
            }
            if (model().state().phase != AppState::Phase::downloading) {
                QVERIFY(!model().progress());
            }
            if (model().stepText() == u"Step 1 of 3 · Fetching add-ons"_s) {
                writeFile(fixture_->project() + u"/addons/three"_s, {}); // for the second read
            }
        });
        fixture_->playUntilOpen();
        // One connection to the code host, and one to each of the two hosts behind its redirects.
        QCOMPARE(fixture_->host.connectionCount(), 3);
        QCOMPARE(model().state(), AppState::starting());
        fixture_->clock->advance(Clock::Duration(10));
        spinUntil([&] { return model().state() == AppState::playing(); });
        QCOMPARE(model().stepText(), u"The game is open"_s);
        fixture_->finish(0, 0);

        QCOMPARE(model().state(), AppState::ready());
        QCOMPARE(headlines,
                 (QStringList{u"Step 1 of 3 · Downloading the game"_s,
                              u"Step 1 of 3 · Fetching add-ons"_s,
                              u"Step 2 of 3 · Downloading Godot 4.3-stable"_s,
                              u"Step 2 of 3 · Checking the download"_s,
                              u"Step 2 of 3 · Unpacking the engine"_s,
                              u"Step 3 of 3 · First-time setup, this can take a "
                              "minute or more"_s,
                              u"Starting the game…"_s, u"The game is open"_s, QString()}));
        QVERIFY(states.contains(AppState::downloading(u"Step 2 of 3 · Unpacking the engine"_s)));
        QVERIFY(
            states.contains(AppState::settingUp(u"Step 3 of 3 · First-time setup, this can take a "
                                                "minute or more"_s)));
        const QString project = fixture_->project();
        QCOMPARE(arguments("play"), (QStringList{u"--path"_s, project, u"--windowed"_s}));
        QCOMPARE(model().log.lines(),
                 (QStringList{u"• Downloading the game from %1/tessel-works/godot-brindle "
                              "(branch main)"_s.arg(fixture_->host.url().toString()),
                              u"Fetching add-on addons/one"_s, u"Fetching add-on addons/two"_s,
                              u"• Game ready: Piped, needs Godot 4.3"_s,
                              u"• Downloading Godot 4.3-stable (%1) from the official "
                              "godot-builds releases"_s.arg(zipName),
                              u"Checksum (SHA-512) matches the official list."_s,
                              u"Removing the macOS quarantine flag from the engine: it is "
                              "a program downloaded from the internet, and without this "
                              "macOS may block it or keep asking about it."_s,
                              u"• Importing the project (first run)"_s, u"engine is importing"_s,
                              u"• Starting: Godot --path %1 --windowed"_s.arg(project),
                              u"engine is playing"_s, u"• Game closed normally"_s}));
        QCOMPARE(
            fixture_->host.requests(),
            (QStringList{ReleaseHost::gamePath(), ReleaseHost::addonPath(u"tessel-works/one"_s),
                         ReleaseHost::addonPath(u"tessel-works/two"_s),
                         ReleaseHost::checksumPath(u"4.3-stable"_s),
                         ReleaseHost::enginePath(u"4.3-stable"_s, zipName)}));
        QCOMPARE(readFile(project + u"/addons/two/plugin.cfg"_s), QByteArray("two"));
        QCOMPARE(readFile(fixture_->root(u"imported-4.3-stable.txt"_s)), QByteArray("ok"));
        const auto saved = ProjectInfo::fromJson(readFile(fixture_->root(u"info.json"_s)));
        QCOMPARE(saved, std::optional(model().info()));
        QCOMPARE(model().info().addons, (QStringList{u"one"_s, u"three"_s, u"two"_s}));
        QVERIFY(!QFileInfo::exists(fixture_->root(u"unfinished"_s)));
        QVERIFY(fixture_->leftovers().isEmpty());
    }

    void aSecondPlayStartsAtOnce()
    {
        fixture_->playUntilOpen();
        fixture_->finish(20, 0);
        const auto asked = fixture_->host.requests().size();
        fixture_->restart();
        QCOMPARE(model().state(), AppState::ready());
        QStringList headlines;
        connect(&model(), &AppModel::changed, this, [&] {
            if (headlines.value(headlines.size() - 1) != model().stepText()) {
                headlines << model().stepText();
            }
        });
        fixture_->playUntilOpen();
        QCOMPARE(headlines, QStringList{u"Starting the game…"_s});
        QVERIFY(model().log.lines().first().startsWith(u"• Starting: Godot --path "_s));
        QCOMPARE(fixture_->host.requests().size(), asked);
        fixture_->finish(11, 0);
    }

    void anInterruptedSetupIsCompleted()
    {
        fixture_->installByHand();
        writeFile(fixture_->root(u"unfinished"_s), {});
        fixture_->restart();
        QCOMPARE(model().state(), AppState::notDownloaded());
        QStringList headlines;
        connect(&model(), &AppModel::changed, this, [&] {
            if (model().state().phase == AppState::Phase::downloading) {
                headlines << model().stepText();
            }
        });
        fixture_->setUp();
        QCOMPARE(model().state(), AppState::ready());
        QCOMPARE(headlines.value(0), u"Step 1 of 3 · Fetching add-ons"_s);
        QVERIFY(!fixture_->host.requests().contains(ReleaseHost::gamePath()));
        QVERIFY(!QFileInfo::exists(fixture_->root(u"unfinished"_s)));
    }

    void interruptedWritesAndRemovalsAreCleared()
    {
        fixture_->installByHand();
        const QStringList complete = Files::names(fixture_->root());
        const QString beside = fixture_->root() + u"/../.brindle-removing-1/x"_s;
        writeFile(beside, "x");
        writeFile(fixture_->root(u".brindle-removing-1/x"_s), "x");
        writeFile(fixture_->root(u".brindle-moving-1"_s), "half");
        fixture_->setUp();
        QCOMPARE(model().state(), AppState::ready());
        QCOMPARE(Files::names(fixture_->root()), complete);
        QVERIFY(!QFileInfo::exists(beside));
    }

    void ignoresAnUnsavedDescription()
    {
        const QString info = fixture_->root(u"info.json"_s);
        writeFile(info, ProjectInfo::placeholder.toJson());
        {
            SystemCalls calls;
            calls.before = [&](const QString &line) {
                return line.endsWith(u" to "_s + info) ? ENOSPC : 0;
            };
            fixture_->setUp();
        }
        QCOMPARE(model().state(), AppState::ready());
        QVERIFY2(!QFileInfo::exists(info), "an older game's description must not stay");
        const auto asked = fixture_->host.requests().size();
        fixture_->playUntilOpen();
        QVERIFY(!fixture_->logHas(u"engine is importing"_s));
        QVERIFY(model().log.lines().first().startsWith(u"• Starting: "_s));
        QCOMPARE(fixture_->host.requests().size(), asked);
        fixture_->finish(11, 0);
    }

    void ignoresAnUnsavedImportMarker()
    {
        fixture_->offerEngine(
            "#!/bin/sh\nmkdir -p \"$4/../../imported-4.3-stable.txt/in the way\"\n");
        fixture_->setUp();
        QCOMPARE(model().state(), AppState::ready());
        QVERIFY(QFileInfo(fixture_->root(u"imported-4.3-stable.txt"_s)).isDir());
    }

    void failedFirstDownloadLeavesNothing()
    {
        fixture_->refuse(ReleaseHost::gamePath(), 404);
        fixture_->playToTheEnd();
        QCOMPARE(model().state().phase, AppState::Phase::needs);
        QVERIFY(!QFileInfo::exists(fixture_->root()));
    }

    void gameDisappearsDuringTheSetup()
    {
        connect(&model().log, &LogStore::linesChanged, this, [&] {
            if (model().log.lines().last().startsWith(u"• Game ready: "_s)) {
                QDir(fixture_->root(u"Game"_s)).removeRecursively();
            }
        });
        fixture_->playToTheEnd();
        QCOMPARE(model().state(), AppState::needs(u"The game folder could not be found."_s));
        QCOMPARE(model().log.lines().last(), u"• Problem: The game folder could not be found."_s);
    }

    void theSettingsReachTheGame()
    {
        model().setFullscreen(true);
        model().setResolution(ResolutionChoice::r1440);
        fixture_->playUntilOpen();
        QVERIFY(fixture_->logHas(u"• Starting: Godot --path %1 --fullscreen --resolution "
                                 "2560x1440"_s.arg(fixture_->project())));
        QCOMPARE(arguments("play"),
                 (QStringList{u"--path"_s, fixture_->project(), u"--fullscreen"_s,
                              u"--resolution"_s, u"2560x1440"_s}));
        fixture_->finish(11, 0);
    }

    void aGameInCSharpGetsTheEngineForIt()
    {
        fixture_->offerGame(PipelineFixture::projectFile("4.3", "C#"));
        fixture_->offerEngine(ModelFixture::engineScript(), u"4.3"_s, true);
        fixture_->playUntilOpen();
        QVERIFY(fixture_->logHas(u"• Game ready: Piped, needs Godot 4.3 (.NET)"_s));
        QVERIFY(QFileInfo::exists(fixture_->root(u"Engine/4.3-stable-mono"_s)));
        QStringList markers = Files::names(fixture_->root()).filter(u"imported"_s);
        QCOMPARE(markers, QStringList{u"imported-4.3-stable-mono.txt"_s});
        QCOMPARE(readFile(fixture_->root(markers.first())), QByteArray("ok"));
        fixture_->finish(11, 0);
    }

    void onlyAStartingGameCountsAsOpen()
    {
        fixture_->installByHand();
        fixture_->playUntilOpen();
        const auto other = AppState::needs(u"other"_s);
        model().set(&Status::state, other);
        fixture_->clock->advance(Clock::Duration(10));
        serveEvents();
        QCOMPARE(model().state(), other);
        QCOMPARE(model().stepText(), u"Starting the game…"_s);
        fixture_->finish(1, 0);
    }

    void lateCallbacksChangeNothing()
    {
        fixture_->stall(ReleaseHost::gamePath());
        model().startWork(false);
        const StatusBox status(&model());
        const ProgressCallback progress = model().progressHandler();
        const auto callTooLate = [&] {
            const Status before = model().status();
            status.set(u"too late"_s);
            progress(1, 2, 3);
            serveEvents();
            QVERIFY(model().status() == before);
        };
        model().cancel();
        fixture_->waitUntilIdle();
        callTooLate();
        model().updateGame();
        spinUntil([&] { return fixture_->stalled.load(); });
        callTooLate();
        // The next run shows its own progress.
        model().progressHandler()(1, 2, 3);
        serveEvents();
        QCOMPARE(model().progress(), std::optional(0.5));
        model().cancel();
        fixture_->waitUntilIdle();
    }

    void aFailedImportIsTriedAgain()
    {
        fixture_->installByHand(ModelFixture::engineScript(1));
        QFile::remove(fixture_->root(u"imported-4.3-stable.txt"_s));
        const QString note = u"• Setup finished with exit code 1; Godot will try to "
                             "import again while starting the game."_s;
        for (int round = 0; round < 2; ++round) {
            fixture_->playUntilOpen();
            QVERIFY(fixture_->logHas(note));
            fixture_->finish(11, 0);
            QVERIFY(!QFileInfo::exists(fixture_->root(u"imported-4.3-stable.txt"_s)));
        }
    }

    void setupFailuresAreShown_data()
    {
        QTest::addColumn<QByteArray>("projectFile");
        QTest::addColumn<bool>("gameReady");
        QTest::addColumn<QString>("message");
        QTest::newRow("no version")
            << QByteArray("config_version=5\nconfig/name=\"Piped\"\n") << true
            << u"The game's project.godot does not say which Godot version it needs."_s;
        QTest::newRow("unknown engine")
            << PipelineFixture::projectFile("4.9") << false
            << u"Godot 4.9-stable was not found on the official download page (status 404)."_s;
    }

    void setupFailuresAreShown()
    {
        QFETCH(const QByteArray, projectFile);
        QFETCH(const bool, gameReady);
        QFETCH(const QString, message);
        fixture_->offerGame(projectFile);
        fixture_->playToTheEnd();
        QCOMPARE(model().state(), AppState::needs(message));
        QCOMPARE(model().log.lines().last(), u"• Problem: "_s + message);
        QCOMPARE(fixture_->logHas(u"• Game ready: Piped, needs Godot ?"_s), gameReady);
        QVERIFY(!model().failure());
        QVERIFY(!model().progress());
        QCOMPARE(model().detail(), QString());
        QVERIFY(fixture_->leftovers().isEmpty());
        fixture_->restart();
        QCOMPARE(model().state(), AppState::notDownloaded());
    }

    void nextPlayCompletesAFailedUpdate()
    {
        fixture_->setUp();
        fixture_->offerGame(PipelineFixture::projectFile("4.4"));
        fixture_->offerEngine(ModelFixture::engineScript(), u"4.4"_s);
        const auto one = ReleaseHost::addonPath(u"tessel-works/one"_s);
        const auto two = ReleaseHost::addonPath(u"tessel-works/two"_s);
        fixture_->refuse(two, 500);
        fixture_->host.forgetRequests();
        model().updateGame();
        fixture_->waitUntilIdle();
        QCOMPARE(model().state(),
                 AppState::needs(u"The server answered with status 500 for 127.0.0.1."_s));
        // The saved description still names 4.3, whose engine is installed.
        fixture_->restart();
        QCOMPARE(model().info().godotVersion, std::optional(u"4.3"_s));
        QCOMPARE(model().state(), AppState::notDownloaded());

        fixture_->host.restore(two);
        fixture_->setUp();
        QCOMPARE(model().state(), AppState::ready());
        QCOMPARE(fixture_->host.requests().mid(0, 4),
                 (QStringList{ReleaseHost::gamePath(), one, two, two}));
        QCOMPARE(model().info().godotVersion, std::optional(u"4.4"_s));
        const QStringList names =
            Files::names(fixture_->root()) + Files::names(fixture_->root(u"Engine"_s));
        QVERIFY(names.contains(u"4.3-stable"_s) && names.contains(u"4.4-stable"_s));
        QVERIFY(names.contains(u"imported-4.4-stable.txt"_s));
        QVERIFY2(!names.contains(u"imported-4.3-stable.txt"_s),
                 "the new game must be imported again by every engine");
    }

    void engineFailsToStart()
    {
        fixture_->installByHand("#!/no/such/interpreter\n");
        fixture_->playToTheEnd();
        const AppState state = model().state();
        QCOMPARE(state.phase, AppState::Phase::needs);
        QVERIFY(state.text.startsWith(u"Could not start the engine: "_s));
        QVERIFY(!model().failure());
        QVERIFY(model().log.lines().last().startsWith(u"• Starting: "_s));
    }

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
        // The game has already ended by itself, so Stop comes too late.
        model().cancel();
        QVERIFY(model().runner.userStopped());
        fixture_->clock->advance(Clock::Duration(0.02));
        fixture_->waitUntilIdle();
        QCOMPARE(model().state().phase, AppState::Phase::needs);
        QVERIFY(model().failure());
    }

    void aReportShowsTheLastThirtyLines()
    {
        // These lines are more than the log can take in the time for the last lines.
        fixture_->installByHand("#!/bin/sh\nseq 20000\necho 'Parse Error: x' >&2\nexit 3\n");
        model().startWork(true);
        fixture_->passTheEnd();
        QVERIFY(model().failure());
        QCOMPARE(model().failure()->lines.size(), 30);
        QCOMPARE(model().failure()->lines.first(), u"19972"_s);
        QCOMPARE(model().failure()->lines.last(), u"Parse Error: x"_s);
        QVERIFY(model().failure()->summary.endsWith(
            u"The game's scripts reported errors. The log below shows where."_s));
    }
};

QTEST_GUILESS_MAIN(TestPipeline)
#include "tst_pipeline.moc"
