// Setup and play from end to end: a real host, real archives, a real child process.

#include "PipelineFixture.h"
#include "demo/GitArchive.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/ConnectionsTo.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const auto zipName = [](const PipelineFixture &fixture) {
    return EngineSpec{QStringLiteral("4.3-stable"), false}.zipName(fixture.files.platform);
};

/// What the engine script has got.
QStringList arguments(const PipelineFixture &fixture, const char *run)
{
    const QString file =
        fixture.project() + QStringLiteral("/%1 arguments").arg(QLatin1String(run));
    return QString::fromUtf8(ModelFixture::read(file)).split(u'\n', Qt::SkipEmptyParts);
}

/// Serves events until everything is served that was queued before.
void serveTheQueue()
{
    bool served = false;
    QMetaObject::invokeMethod(qApp, [&] { served = true; }, Qt::QueuedConnection);
    spinUntil([&] { return served; });
}

} // namespace

class TestPipeline : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFirstPlayGoesThroughAllSteps()
    {
        PipelineFixture fixture;
        AppModel &model = fixture.model();
        QStringList headlines;
        connect(&model, &AppModel::stepTextChanged, this, [&] {
            if (headlines.isEmpty() || headlines.last() != model.stepText()) {
                headlines << model.stepText();
            }
        });
        QList<AppState> states;
        connect(&model, &AppModel::stateChanged, this, [&] {
            states << model.state();
            if (model.state().phase != AppState::Phase::downloading) {
                QVERIFY(!model.progress());
            }
        });
        fixture.playUntilOpen();
        // One for the code host, and one for each of the two that it leads to; for as long as there
        // is something to fetch.
        QCOMPARE(fixture.host.connectionCount(), 3);
        QCOMPARE(connectionsTo(quint16(fixture.host.url().port())), QList<int>());
        QCOMPARE(model.state(), AppState::starting());
        fixture.clock->advance(Clock::Duration(10));
        spinUntil([&] { return model.state() == AppState::playing(); });
        QCOMPARE(model.stepText(), QStringLiteral("The game is open"));
        fixture.finish(0, 0);

        QCOMPARE(model.state(), AppState::ready());
        QCOMPARE(headlines,
                 (QStringList{QStringLiteral("Step 1 of 3 · Downloading the game"),
                              QStringLiteral("Step 1 of 3 · Fetching add-ons"),
                              QStringLiteral("Step 2 of 3 · Downloading Godot 4.3-stable"),
                              QStringLiteral("Step 2 of 3 · Checking the download"),
                              QStringLiteral("Step 2 of 3 · Unpacking the engine"),
                              QStringLiteral("Step 3 of 3 · First-time setup, this can take a "
                                             "minute or more"),
                              QStringLiteral("Starting the game…"),
                              QStringLiteral("The game is open"), QString()}));
        QVERIFY(states.contains(
            AppState::downloading(QStringLiteral("Step 2 of 3 · Unpacking the engine"))));
        QVERIFY(states.contains(
            AppState::settingUp(QStringLiteral("Step 3 of 3 · First-time setup, this can take a "
                                               "minute or more"))));
        const QString project = fixture.project();
        QCOMPARE(arguments(fixture, "import"),
                 (QStringList{QStringLiteral("--headless"), QStringLiteral("--import"),
                              QStringLiteral("--path"), project, QStringLiteral("--quit")}));
        QCOMPARE(arguments(fixture, "play"),
                 (QStringList{QStringLiteral("--path"), project, QStringLiteral("--windowed")}));
        QCOMPARE(
            model.log.lines(),
            (QStringList{QStringLiteral("• Downloading the game from %1/tessel-works/godot-brindle "
                                        "(branch main)")
                             .arg(fixture.host.url().toString()),
                         QStringLiteral("Fetching add-on addons/one"),
                         QStringLiteral("Fetching add-on addons/two"),
                         QStringLiteral("• Game ready: Piped, needs Godot 4.3"),
                         QStringLiteral("• Downloading Godot 4.3-stable (%1) from the official "
                                        "godot-builds releases")
                             .arg(zipName(fixture)),
                         QStringLiteral("Checksum (SHA-512) matches the official list."),
                         QStringLiteral("Removing the macOS quarantine flag from the engine: it is "
                                        "a program downloaded from the internet, and without this "
                                        "macOS may block it or keep asking about it."),
                         QStringLiteral("• Importing the project (first run)"),
                         QStringLiteral("engine is importing"),
                         QStringLiteral("• Starting: Godot --path %1 --windowed").arg(project),
                         QStringLiteral("engine is playing"),
                         QStringLiteral("• Game closed normally")}));
        QCOMPARE(
            fixture.host.requests(),
            (QStringList{ReleaseHost::gamePath(),
                         ReleaseHost::addonPath(QStringLiteral("tessel-works/one")),
                         ReleaseHost::addonPath(QStringLiteral("tessel-works/two")),
                         ReleaseHost::checksumPath(QStringLiteral("4.3-stable")),
                         ReleaseHost::enginePath(QStringLiteral("4.3-stable"), zipName(fixture))}));
        QCOMPARE(ModelFixture::read(project + QStringLiteral("/addons/two/plugin.cfg")),
                 QByteArray("two"));
        QCOMPARE(ModelFixture::read(fixture.files.root(QStringLiteral("imported-4.3-stable.txt"))),
                 QByteArray("ok"));
        const auto saved = ProjectInfo::fromJson(
            ModelFixture::read(fixture.files.root(QStringLiteral("info.json"))));
        QCOMPARE(saved, std::optional(model.info()));
        QCOMPARE(model.info().addons, (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
        QVERIFY(!QFileInfo::exists(fixture.files.root(QStringLiteral("unfinished"))));
        QVERIFY(fixture.files.leftovers().isEmpty());
    }

    void aSecondPlayStartsAtOnce()
    {
        PipelineFixture fixture;
        fixture.playUntilOpen();
        fixture.finish(20, 0);
        const auto asked = fixture.host.requests().size();
        fixture.files.restart();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QStringList headlines;
        connect(&fixture.model(), &AppModel::stepTextChanged, this,
                [&] { headlines << fixture.model().stepText(); });
        fixture.playUntilOpen();
        QCOMPARE(headlines, QStringList{QStringLiteral("Starting the game…")});
        QVERIFY(fixture.model().log.lines().first().startsWith(
            QStringLiteral("• Starting: Godot --path ")));
        QCOMPARE(fixture.host.requests().size(), asked);
        fixture.finish(11, 0);
    }

    void aRunWithoutLaunchEndsReady()
    {
        PipelineFixture fixture;
        fixture.model().startWork(false);
        QVERIFY(fixture.model().work());
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QVERIFY(!fixture.logHas(QStringLiteral("engine is playing")));
    }

    void whatAnInterruptedWriteLeftIsCleared_data()
    {
        QTest::addColumn<QString>("missing");
        QTest::newRow("of the description") << QStringLiteral("info.json");
        QTest::newRow("of the import marker") << QStringLiteral("imported-4.3-stable.txt");
    }
    void whatAnInterruptedWriteLeftIsCleared()
    {
        QFETCH(const QString, missing);
        PipelineFixture fixture;
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        const QStringList complete = Files::names(fixture.files.root());
        QVERIFY(complete.contains(missing));

        QVERIFY(QFile::remove(fixture.files.root(missing)));
        ModelFixture::write(fixture.files.root(QStringLiteral(".brindle-moving-1")), "half");
        if (missing == u"info.json") {
            ModelFixture::write(fixture.files.root(QStringLiteral("unfinished")), {});
        }
        fixture.files.restart();
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QCOMPARE(Files::names(fixture.files.root()), complete);
    }

    void aDescriptionThatCantBeSavedIsIgnored()
    {
        PipelineFixture fixture;
        // No file can be put in this folder's place.
        const QString info = fixture.files.root(u"info.json"_s);
        ModelFixture::write(info + u"/in the way"_s, "x");
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QVERIFY(!QFileInfo(info).isFile());
        const auto asked = fixture.host.requests().size();
        fixture.playUntilOpen();
        QVERIFY(!fixture.logHas(u"engine is importing"_s));
        QVERIFY(fixture.model().log.lines().first().startsWith(u"• Starting: "_s));
        QCOMPARE(fixture.host.requests().size(), asked);
        fixture.finish(11, 0);
        QCOMPARE(fixture.model().state(), AppState::ready());
    }

    void anImportMarkerThatCantBeSavedIsIgnored()
    {
        PipelineFixture fixture;
        fixture.offerEngine("#!/bin/sh\nmkdir -p \"$4/../../imported-4.3-stable.txt/in the way\"\n");
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QVERIFY(QFileInfo(fixture.files.root(u"imported-4.3-stable.txt"_s)).isDir());
    }

    void anAddonsRunDoesNotImportAgain()
    {
        PipelineFixture fixture;
        fixture.files.installByHand(ModelFixture::engineScript());
        ModelFixture::write(fixture.files.root(u"unfinished"_s), "x");
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QVERIFY(!fixture.logHas(u"engine is importing"_s));
        QVERIFY(!QFileInfo::exists(fixture.files.root(u"unfinished"_s)));
    }

    void aFirstDownloadThatFailsLeavesNothing()
    {
        PipelineFixture fixture;
        fixture.host.replace(ReleaseHost::gamePath(),
                             [](const HttpRequest &, HttpConnection &connection) {
                                 connection.respond(404, {}, {});
                             });
        fixture.playToTheEnd();
        QCOMPARE(fixture.model().state().phase, AppState::Phase::needs);
        QVERIFY(!QFileInfo::exists(fixture.files.root()));
        fixture.model().revealInFinder();
        QCOMPARE(fixture.files.desktop->alerts.first().message, u"Nothing downloaded yet"_s);
    }

    void aGameThatGoesDuringTheSetup()
    {
        PipelineFixture fixture;
        AppModel &model = fixture.model();
        connect(&model.log, &LogStore::linesChanged, this, [&] {
            if (model.log.lines().last().startsWith(u"• Game ready: "_s)) {
                QDir(fixture.files.root(u"Game"_s)).removeRecursively();
            }
        });
        fixture.playToTheEnd();
        QCOMPARE(model.state(), AppState::needs(u"The game folder could not be found."_s));
        QCOMPARE(model.log.lines().last(), u"• Problem: The game folder could not be found."_s);
    }

    void aNewGameIsImportedWhateverWasImportedBefore()
    {
        PipelineFixture fixture;
        fixture.files.installByHand(ModelFixture::engineScript());
        // As an update leaves it that was interrupted between two deletions.
        QVERIFY(QDir(fixture.files.root(QStringLiteral("Game"))).removeRecursively());
        QVERIFY(QFileInfo::exists(fixture.files.root(QStringLiteral("imported-4.3-stable.txt"))));
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QVERIFY(fixture.logHas(QStringLiteral("• Importing the project (first run)")));
    }

    void theSettingsReachTheGame()
    {
        PipelineFixture fixture;
        fixture.model().setFullscreen(true);
        fixture.model().setResolution(ResolutionChoice::r1440);
        fixture.playUntilOpen();
        QVERIFY(
            fixture.logHas(QStringLiteral("• Starting: Godot --path %1 --fullscreen --resolution "
                                          "2560x1440")
                               .arg(fixture.project())));
        QCOMPARE(arguments(fixture, "play"),
                 (QStringList{QStringLiteral("--path"), fixture.project(),
                              QStringLiteral("--fullscreen"), QStringLiteral("--resolution"),
                              QStringLiteral("2560x1440")}));
        fixture.finish(11, 0);
    }

    void aGameInCSharpGetsTheEngineForIt()
    {
        PipelineFixture fixture;
        fixture.offerGame(PipelineFixture::projectFile("4.3", "C#"));
        fixture.offerEngine(ModelFixture::engineScript(), QStringLiteral("4.3"), true);
        fixture.playUntilOpen();
        QVERIFY(fixture.logHas(QStringLiteral("• Game ready: Piped, needs Godot 4.3 (.NET)")));
        QVERIFY(QFileInfo::exists(fixture.files.root(QStringLiteral("Engine/4.3-stable-mono"))));
        QStringList markers = Files::names(fixture.files.root()).filter(QStringLiteral("imported"));
        QCOMPARE(markers, QStringList{QStringLiteral("imported-4.3-stable-mono.txt")});
        QCOMPARE(ModelFixture::read(fixture.files.root(markers.first())), QByteArray("ok"));
        fixture.finish(11, 0);

        fixture.files.restart();
        QCOMPARE(fixture.model().state(), AppState::ready());
        fixture.playUntilOpen();
        QVERIFY2(!fixture.logHas(QStringLiteral("engine is importing")), "it was imported before");
        fixture.finish(11, 0);
    }

    void aGameThatIsNotStartingAnyMoreDoesNotCountAsOpen_data()
    {
        QTest::addColumn<int>("phase");
        using Phase = AppState::Phase;
        for (const Phase phase : {Phase::notDownloaded, Phase::downloading, Phase::settingUp,
                                  Phase::needs, Phase::ready, Phase::playing}) {
            QTest::addRow("%d", static_cast<int>(phase)) << static_cast<int>(phase);
        }
    }
    void aGameThatIsNotStartingAnyMoreDoesNotCountAsOpen()
    {
        QFETCH(const int, phase);
        PipelineFixture fixture;
        fixture.files.installByHand(ModelFixture::engineScript());
        fixture.playUntilOpen();
        AppModel &model = fixture.model();
        const AppState other{static_cast<AppState::Phase>(phase), QStringLiteral("other")};
        model.set(&Status::state, other);
        fixture.clock->advance(Clock::Duration(10));
        serveTheQueue();
        serveTheQueue();
        QCOMPARE(model.state(), other);
        QCOMPARE(model.stepText(), QStringLiteral("Starting the game…"));
        fixture.finish(1, 0);
    }

    void whatARunHasInFlightEndsWithIt()
    {
        PipelineFixture fixture;
        fixture.offerGame(PipelineFixture::projectFile("4.9"));
        AppModel &model = fixture.model();
        model.startWork(true);
        const StatusBox status(&model);
        const ProgressCallback progress = model.progressHandler();
        // On its way when the run ends.
        connect(&model, &AppModel::stateChanged, this, [&] {
            if (model.state().phase == AppState::Phase::needs) {
                status.set(QStringLiteral("too late"));
                progress(1, 2, 3);
            }
        });
        fixture.files.waitUntilIdle();
        const AppState end = model.state();
        QCOMPARE(end.phase, AppState::Phase::needs);
        const QString step = model.stepText();
        serveTheQueue();
        QCOMPARE(model.state(), end);
        QCOMPARE(model.stepText(), step);
        QVERIFY(!model.progress());
        QCOMPARE(model.detail(), QString());

        // Nor does it reach the next run.
        fixture.stall(ReleaseHost::gamePath());
        model.updateGame();
        spinUntil([&] { return fixture.stalled.load(); });
        const AppState running = model.state();
        status.set(QStringLiteral("later still"));
        progress(1, 2, 3);
        serveTheQueue();
        QCOMPARE(model.state(), running);
        QVERIFY(!model.progress());
        QCOMPARE(model.detail(), QString());
        // Its own do.
        model.progressHandler()(1, 2, 3);
        serveTheQueue();
        QCOMPARE(model.progress(), std::optional(0.5));
        model.cancel();
        fixture.files.waitUntilIdle();
    }

    void aDownloadThatStallsHasNoTimeLeft()
    {
        PipelineFixture fixture;
        std::atomic<bool> goesOn = false;
        fixture.host.replace(
            ReleaseHost::bodyPath(
                ReleaseHost::enginePath(QStringLiteral("4.3-stable"), zipName(fixture))),
            [&](const HttpRequest &, HttpConnection &connection) {
                connection.respond(200, {{"Content-Length", "100000"}}, QByteArray(10'000, 'x'));
                while (!goesOn && connection.pause(std::chrono::milliseconds(1))) {
                }
                connection.write(QByteArray(10'000, 'x'));
                connection.waitUntilClosed();
            });
        AppModel &model = fixture.model();
        model.startWork(true);
        spinUntil([&] { return model.detail().startsWith(QStringLiteral("10 KB of 100 KB")); });
        fixture.clock->advance(Clock::Duration(5));
        goesOn = true;
        spinUntil([&] { return !model.timeLeft().isEmpty(); });
        QCOMPARE(model.timeLeft(), QStringLiteral("Less than a minute left"));
        fixture.clock->advance(Clock::Duration(4));
        spinUntil([&] { return model.timeLeft() == QStringLiteral("About 1 minute left"); });
        fixture.clock->advance(Clock::Duration(7));
        spinUntil([&] { return model.timeLeft().isEmpty(); });
        QVERIFY(model.detail().startsWith(QStringLiteral("20 KB of 100 KB")));
        model.cancel();
        fixture.files.waitUntilIdle();
    }

    void aFailedImportIsTriedAgain()
    {
        PipelineFixture fixture;
        fixture.files.installByHand(ModelFixture::engineScript(1));
        QFile::remove(fixture.files.root(QStringLiteral("imported-4.3-stable.txt")));
        const QString note = QStringLiteral("• Setup finished with exit code 1; Godot will try to "
                                            "import again while starting the game.");
        for (int round = 0; round < 2; ++round) {
            fixture.playUntilOpen();
            QVERIFY(fixture.logHas(note));
            fixture.finish(11, 0);
            QVERIFY(
                !QFileInfo::exists(fixture.files.root(QStringLiteral("imported-4.3-stable.txt"))));
        }
    }

    void aGameThatNeedsAnotherEngineGetsIt()
    {
        PipelineFixture fixture;
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        fixture.offerGame(PipelineFixture::projectFile("4.4.1"));
        fixture.offerEngine(ModelFixture::engineScript(), QStringLiteral("4.4.1"));
        fixture.model().updateGame();
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QCOMPARE(fixture.model().info().godotVersion, std::optional(QStringLiteral("4.4.1")));
        QVERIFY(QFileInfo::exists(fixture.files.root(QStringLiteral("imported-4.4.1-stable.txt"))));
        QVERIFY(QFileInfo::exists(fixture.files.root(QStringLiteral("Engine/4.3-stable"))));
        QVERIFY2(!QFileInfo::exists(fixture.files.root(QStringLiteral("imported-4.3-stable.txt"))),
                 "the new game must be imported again by every engine");
    }

    void setupFailuresAreShown_data()
    {
        QTest::addColumn<QByteArray>("projectFile");
        QTest::addColumn<QByteArray>("gitmodules");
        QTest::addColumn<QString>("message");
        const QByteArray none;
        QTest::newRow("no project") << QByteArray() << none
                                    << QStringLiteral("The downloaded game has no project.godot "
                                                      "file, so it can't be started.");
        QTest::newRow("Godot 3") << QByteArray("config_version=4\n") << none
                                 << QStringLiteral("This game was made with Godot 3 "
                                                   "(config_version 4). This app only runs Godot 4 "
                                                   "games.");
        QTest::newRow("no version")
            << QByteArray("config_version=5\nconfig/name=\"Piped\"\n") << none
            << QStringLiteral("The game's project.godot does not say which "
                              "Godot version it needs.");
        QTest::newRow("unknown engine")
            << PipelineFixture::projectFile("4.9") << none
            << QStringLiteral("Godot 4.9-stable was not found on the official download page "
                              "(status 404).");
        QTest::newRow("add-on elsewhere")
            << PipelineFixture::projectFile()
            << QByteArray("path = addons/x\nurl = https://elsewhere.example/x.git\n")
            << QStringLiteral("The game needs the add-on \"addons/x\" from "
                              "https://elsewhere.example/x.git, which this app can only fetch "
                              "from GitHub.");
        QTest::newRow("add-on outside")
            << PipelineFixture::projectFile()
            << QByteArray("path = {outside}\nurl = {host}/tessel-works/one\n")
            << QStringLiteral("The add-on \"../../x\" lies outside the game's folder, so it was "
                              "not fetched.");
    }

    void setupFailuresAreShown()
    {
        QFETCH(QByteArray, projectFile);
        QFETCH(QByteArray, gitmodules);
        QFETCH(QString, message);
        PipelineFixture fixture;
        fixture.offerGame(projectFile, gitmodules);
        if (projectFile.isEmpty()) {
            QTemporaryDir empty;
            const QString folder = empty.filePath(QStringLiteral("game"));
            ModelFixture::write(folder + QStringLiteral("/other.txt"), "x");
            const QString zip = empty.filePath(QStringLiteral("game.zip"));
            GitArchive::pack(folder, QStringLiteral("godot-brindle-main"), zip);
            fixture.host.offerGame(zip);
            fixture.playToTheEnd();
        } else {
            fixture.playToTheEnd();
        }
        QCOMPARE(fixture.model().state(), AppState::needs(message));
        QCOMPARE(fixture.model().log.lines().last(), QStringLiteral("• Problem: ") + message);
        QCOMPARE(fixture.logHas(QStringLiteral("• Game ready: Piped, needs Godot ?")),
                 message.endsWith(QStringLiteral("which Godot version it needs.")));
        QVERIFY(!fixture.model().failure());
        QVERIFY(!fixture.model().progress());
        QCOMPARE(fixture.model().detail(), QString());
        QVERIFY(fixture.files.leftovers().isEmpty());
        QCOMPARE(connectionsTo(quint16(fixture.host.url().port())), QList<int>());
        fixture.files.restart();
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
    }

    void anAddonThatFailsIsFetchedByTheNextPlay()
    {
        PipelineFixture fixture;
        const auto two = ReleaseHost::addonPath(QStringLiteral("tessel-works/two"));
        fixture.host.replace(two, [](const HttpRequest &, HttpConnection &connection) {
            connection.respond(500, {}, {});
        });
        fixture.playToTheEnd();
        QCOMPARE(fixture.model().state(),
                 AppState::needs(QStringLiteral("The server answered with status 500 for "
                                                "127.0.0.1.")));
        QVERIFY(!QFileInfo::exists(fixture.files.root(QStringLiteral("info.json"))));
        fixture.files.restart();
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());

        fixture.host.restore(two);
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QCOMPARE(fixture.host.requests().count(ReleaseHost::gamePath()), 1);
        QCOMPARE(fixture.host.requests().count(
                     ReleaseHost::addonPath(QStringLiteral("tessel-works/one"))),
                 1);
        QCOMPARE(fixture.host.requests().count(two), 2);
        QCOMPARE(fixture.model().info().name, QStringLiteral("Piped"));
    }

    void anOlderDescriptionNeverPicksTheEngine()
    {
        PipelineFixture fixture;
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        fixture.offerGame(PipelineFixture::projectFile("4.4"));
        fixture.offerEngine(ModelFixture::engineScript(), QStringLiteral("4.4"));
        const auto one = ReleaseHost::addonPath(QStringLiteral("tessel-works/one"));
        fixture.host.replace(one, [](const HttpRequest &, HttpConnection &connection) {
            connection.respond(404, {}, {});
        });
        fixture.model().updateGame();
        fixture.files.waitUntilIdle();
        fixture.host.restore(one);
        // The saved description still names 4.3, whose engine is installed.
        fixture.files.restart();
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
        fixture.model().startWork(false);
        fixture.files.waitUntilIdle();
        QCOMPARE(fixture.model().info().godotVersion, std::optional(QStringLiteral("4.4")));
        QVERIFY(QFileInfo::exists(fixture.files.root(QStringLiteral("Engine/4.4-stable"))));
    }

    void aTamperedEngineIsThrownAway()
    {
        PipelineFixture fixture;
        fixture.host.replace(
            ReleaseHost::enginePath(QStringLiteral("4.3-stable"), zipName(fixture)),
            [](const HttpRequest &, HttpConnection &connection) {
                connection.respond(200, {}, "not the engine");
            });
        fixture.playToTheEnd();
        QCOMPARE(fixture.model().state(),
                 AppState::needs(QStringLiteral("The engine download did not match its official "
                                                "checksum, so it was thrown away. Please try "
                                                "again.")));
        QVERIFY(!QFileInfo::exists(fixture.files.root(QStringLiteral("Engine"))));
        QVERIFY(fixture.files.leftovers().isEmpty());
    }

    void anEngineThatCannotStart()
    {
        PipelineFixture fixture;
        fixture.files.installByHand("#!/no/such/interpreter\n");
        fixture.playToTheEnd();
        const AppState state = fixture.model().state();
        QCOMPARE(state.phase, AppState::Phase::needs);
        QVERIFY(state.text.startsWith(QStringLiteral("Could not start the engine: ")));
        QVERIFY(!fixture.model().failure());
        QVERIFY(fixture.model().log.lines().last().startsWith(QStringLiteral("• Starting: ")));
    }

    void aModelThatGoesEndsItsGame()
    {
        PipelineFixture fixture;
        fixture.playUntilOpen();
        const auto process = fixture.model().runner.current();
        QVERIFY(process->isRunning());
        // The wait for the last lines is cut short by the cancellation.
        fixture.files.restart();
        QVERIFY(!process->isRunning());
        // Whoever watched the game lets go of it as well.
        spinUntil([&] { return process.use_count() == 1; });
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
};

QTEST_GUILESS_MAIN(TestPipeline)
#include "tst_pipeline.moc"
