// The model's state: what it reads at the start, how it derives its phase from the disk, what it
// stores, and how it announces changes.

#include "ModelFixture.h"
#include "base/Clock.h"
#include "base/Error.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/ManualClock.h"
#include "support/WorkerHold.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QtTest>

#include <atomic>
#include <thread>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

std::shared_ptr<Clock> realClock()
{
    return std::make_shared<SteadyClock>();
}

bool isCancellation(auto error)
{
    return AppModel::isCancellation(std::make_exception_ptr(error));
}

} // namespace

Q_DECLARE_METATYPE(brindle::AppState)

class TestAppModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsEmptyOnAnEmptyDisk()
    {
        ModelFixture fixture(realClock());
        AppModel &model = fixture.model();
        QCOMPARE(model.state(), AppState::notDownloaded());
        QCOMPARE(model.stepText(), QString());
        QVERIFY(!model.progress());
        QCOMPARE(model.detail(), QString());
        QVERIFY(!model.failure());
        QCOMPARE(model.info(), ProjectInfo::placeholder);
        QCOMPARE(model.fullscreen(), false);
        QCOMPARE(model.resolution(), ResolutionChoice::gameDefault);
        QVERIFY(model.log.lines().isEmpty());
        QVERIFY(!model.work());
        QVERIFY(!model.projectURL());
        QVERIFY(!model.runner.current());
        QVERIFY(!model.runner.userStopped());
        QVERIFY2(!QFileInfo::exists(fixture.root()), "starting must not write anything");
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
        ModelFixture fixture(realClock());
        if (saved.isValid()) {
            QSettings(fixture.settingsFile(), QSettings::IniFormat)
                .setValue(u"resolution"_s, saved);
        }
        QCOMPARE(fixture.model().resolution(), expected);
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
        ModelFixture fixture(realClock());
        ModelFixture::write(fixture.settingsFile(), "[General]\n" + line);
        QCOMPARE(fixture.model().fullscreen(), fullscreen);
    }

    void storesSettingsAtOnce()
    {
        ModelFixture fixture(realClock());
        const auto stored = [&] { return ModelFixture::read(fixture.settingsFile()); };
        QCOMPARE(stored(), QByteArray());
        for (qsizetype i = ResolutionChoices::rawValues.size() - 1; i >= 0; --i) {
            const auto choice = static_cast<ResolutionChoice>(i);
            fixture.model().setFullscreen(i % 2 == 1);
            fixture.model().setResolution(choice);
            QCOMPARE(fixture.model().resolution(), choice);
            // The default is stored as well.
            QCOMPARE(stored(), QByteArray("[General]\nfullscreen=") +
                                   (i % 2 == 1 ? "true" : "false") + "\nresolution=" +
                                   ResolutionChoices::rawValues.at(i).toUtf8() + "\n");
            fixture.restart();
            QCOMPARE(fixture.model().fullscreen(), i % 2 == 1);
            QCOMPARE(fixture.model().resolution(), choice);
        }
    }

    void saysThatSettingsCantBeStored()
    {
        ModelFixture fixture(realClock());
        AppModel &model = fixture.model();
        // Nobody can write a file here.
        QVERIFY(QDir().mkpath(fixture.settingsFile() + QStringLiteral("/in the way")));
        model.setFullscreen(true);
        spinUntil([&] { return !model.log.lines().isEmpty(); });
        QCOMPARE(model.log.lines(),
                 QStringList{QStringLiteral("• Problem: The settings could not be saved in ") +
                             fixture.settingsFile() + QStringLiteral(".")});
        QVERIFY2(model.fullscreen(), "it holds for this run");

        QVERIFY(QDir(fixture.settingsFile()).removeRecursively());
        model.setResolution(ResolutionChoice::r900);
        spinUntil([&] { return QFileInfo(fixture.settingsFile()).isFile(); });
        QCoreApplication::processEvents();
        QCOMPARE(model.log.lines().size(), 1);
        fixture.restart();
        QCOMPARE(fixture.model().fullscreen(), true);
        QCOMPARE(fixture.model().resolution(), ResolutionChoice::r900);
    }

    void readsTheSavedDescription()
    {
        ModelFixture fixture(realClock());
        ProjectInfo info;
        info.name = QStringLiteral("Saved");
        info.godotVersion = std::nullopt;
        ModelFixture::write(fixture.root(QStringLiteral("info.json")), info.toJson());
        QCOMPARE(fixture.model().info(), info);
    }

    void anUnreadableDescriptionIsIgnored_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("no JSON") << QByteArray("{\"name\":");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("missing key") << QByteArray("{\"name\":\"Half\"}");
        // Nobody can read it then, not even the administrator.
        QTest::newRow("a folder") << QByteArray("/");
    }

    void anUnreadableDescriptionIsIgnored()
    {
        QFETCH(QByteArray, content);
        ModelFixture fixture(realClock());
        const QString file = fixture.root(QStringLiteral("info.json"));
        if (content == "/") {
            QVERIFY(QDir().mkpath(file));
        } else {
            ModelFixture::write(file, content);
        }
        QCOMPARE(fixture.model().info(), ProjectInfo::placeholder);
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
        QVERIFY(fixture.model().log.lines().isEmpty());
    }

    void aGameWithItsEngineIsReady()
    {
        ModelFixture fixture(realClock());
        fixture.installByHand(ModelFixture::engineScript());
        QCOMPARE(fixture.model().state(), AppState::ready());
        QCOMPARE(fixture.model().projectURL(),
                 std::optional(fixture.root(QStringLiteral("Game/godot-brindle-main"))));
    }

    void aGameWithoutItsEngineIsNotDownloaded()
    {
        ModelFixture fixture(realClock());
        fixture.installByHand(ModelFixture::engineScript());
        QDir(fixture.root(QStringLiteral("Engine"))).removeRecursively();
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
        QVERIFY(fixture.model().projectURL());
    }

    void anEngineWithoutItsGameIsNotDownloaded()
    {
        ModelFixture fixture(realClock());
        fixture.installByHand(ModelFixture::engineScript());
        QDir(fixture.root(QStringLiteral("Game"))).removeRecursively();
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
        QVERIFY(!fixture.model().projectURL());
    }

    void aGameThatNoEngineFitsIsNotDownloaded()
    {
        ModelFixture fixture(realClock());
        fixture.installByHand(ModelFixture::engineScript());
        ProjectInfo info;
        info.configVersion = 4;
        ModelFixture::write(fixture.root(QStringLiteral("info.json")), info.toJson());
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
    }

    void anUnfinishedGameIsNotDownloaded()
    {
        ModelFixture fixture(realClock());
        fixture.installByHand(ModelFixture::engineScript());
        ModelFixture::write(fixture.root(QStringLiteral("unfinished")), "x");
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
    }

    void theFirstLookWaitsForNoWorker_data()
    {
        QTest::addColumn<QString>("missing");
        QTest::addColumn<AppState>("first");
        QTest::addColumn<AppState>("then");
        const auto none = AppState::notDownloaded();
        QTest::newRow("complete") << QString() << AppState::ready() << AppState::ready();
        QTest::newRow("no game") << u"Game"_s << none << none;
        QTest::newRow("no engine") << u"Engine"_s << none << none;
        QTest::newRow("no description") << u"info.json"_s << none << AppState::ready();
        QTest::newRow("no project") << u"Game/godot-brindle-main/project.godot"_s
                                    << AppState::ready() << none;
    }

    void theFirstLookWaitsForNoWorker()
    {
        QFETCH(const QString, missing);
        QFETCH(const AppState, first);
        QFETCH(const AppState, then);
        ModelFixture fixture(realClock());
        fixture.installByHand(ModelFixture::engineScript());
        if (!missing.isEmpty()) {
            Files::remove(fixture.root(missing));
        }
        WorkerHold workers;
        QCOMPARE(fixture.modelAtStart().state(), first);
        QSignalSpy changes(&fixture.modelAtStart(), &AppModel::stateChanged);
        workers.open();
        WorkerHold().open();
        QCoreApplication::processEvents();
        QCOMPARE(fixture.modelAtStart().state(), then);
        QCOMPARE(changes.size(), first == then ? 0 : 1);
    }

    void aLookThatATaskOvertakesChangesNothing()
    {
        ModelFixture fixture(realClock());
        fixture.installByHand(ModelFixture::engineScript());
        WorkerHold workers;
        AppModel &model = fixture.modelAtStart();
        model.updateGame();
        const AppState shown = model.state();
        QVERIFY(model.canCancel());
        workers.letPass(); // the look at the start
        for (int i = 0; i < 10; ++i) {
            QCoreApplication::processEvents();
        }
        QCOMPARE(model.state(), shown);
        model.cancel();
        workers.open();
        fixture.waitUntilIdle();
    }

    void refreshingClearsTheStatusLines()
    {
        ModelFixture fixture(realClock());
        AppModel &model = fixture.model();
        model.set(&Status::state, AppState::needs(QStringLiteral("x")));
        model.set(&Status::stepText, QStringLiteral("x"));
        model.set(&Status::progress, 0.5);
        model.set(&Status::detail, QStringLiteral("x"));
        await(model.refreshState());
        QCOMPARE(model.state(), AppState::notDownloaded());
        QCOMPARE(model.stepText(), QString());
        QVERIFY(!model.progress());
        QCOMPARE(model.detail(), QString());
    }

    void whatIsAsItWasIsNotAnnounced()
    {
        ModelFixture fixture(realClock());
        AppModel &model = fixture.model();
        QSignalSpy changes(&model, &AppModel::willChange);
        await(model.refreshState());
        QCOMPARE(changes.size(), 0);
        model.updateProgress(1, 2, 0);
        QCOMPARE(changes.size(), 1);
        model.updateProgress(1, 2, 0);
        QCOMPARE(changes.size(), 1);
    }

    void derivedFlagsFollowTheState_data()
    {
        QTest::addColumn<int>("phase");
        QTest::addColumn<bool>("gameRunning");
        QTest::addColumn<bool>("canCancel");
        using Phase = AppState::Phase;
        const auto row = [](const char *name, Phase phase, bool running, bool cancel) {
            QTest::newRow(name) << static_cast<int>(phase) << running << cancel;
        };
        row("notDownloaded", Phase::notDownloaded, false, false);
        row("downloading", Phase::downloading, false, true);
        row("settingUp", Phase::settingUp, false, true);
        row("needs", Phase::needs, false, false);
        row("ready", Phase::ready, false, false);
        row("starting", Phase::starting, true, false);
        row("playing", Phase::playing, true, false);
    }

    void derivedFlagsFollowTheState()
    {
        QFETCH(int, phase);
        QFETCH(bool, gameRunning);
        QFETCH(bool, canCancel);
        ModelFixture fixture(realClock());
        fixture.model().set(&Status::state, AppState{static_cast<AppState::Phase>(phase), QString()});
        QCOMPARE(fixture.model().gameRunning(), gameRunning);
        QCOMPARE(fixture.model().canCancel(), canCancel);
    }

    void statesCompareByPhaseAndText()
    {
        QVERIFY(AppState::needs(QStringLiteral("a")) == AppState::needs(QStringLiteral("a")));
        QVERIFY(!(AppState::needs(QStringLiteral("a")) == AppState::needs(QStringLiteral("b"))));
        QVERIFY(
            !(AppState::needs(QStringLiteral("a")) == AppState::downloading(QStringLiteral("a"))));
    }

    void aHeadlineFromAWorkerSetsThreeFieldsInOrder()
    {
        ModelFixture fixture(realClock());
        AppModel &model = fixture.model();
        model.set(&Status::progress, 0.5);
        QStringList order;
        connect(&model, &AppModel::stepTextChanged, this, [&] { order << QStringLiteral("step"); });
        connect(&model, &AppModel::stateChanged, this, [&] { order << QStringLiteral("state"); });
        connect(&model, &AppModel::progressChanged, this,
                [&] { order << QStringLiteral("progress"); });
        const StatusBox box(&model);
        std::thread([&] { box.set(QStringLiteral("Headline")); }).join();
        QVERIFY2(order.isEmpty(), "the model is touched on its own thread only");
        spinUntil([&] { return order.size() == 3; });
        QCOMPARE(order.join(QLatin1Char(' ')), QStringLiteral("step state progress"));
        QCOMPARE(model.stepText(), QStringLiteral("Headline"));
        QCOMPARE(model.state(), AppState::downloading(QStringLiteral("Headline")));
        QVERIFY(!model.progress());
    }

    void headlinesAreNotMerged()
    {
        ModelFixture fixture(realClock());
        QSignalSpy changes(&fixture.model(), &AppModel::stepTextChanged);
        const StatusBox box(&fixture.model());
        box.set(QStringLiteral("a"));
        box.set(QStringLiteral("b"));
        spinUntil([&] { return fixture.model().stepText() == QStringLiteral("b"); });
        QCOMPARE(changes.size(), 2);
    }

    void aHeadlineForAModelThatIsGoneDoesNothing()
    {
        ModelFixture fixture(realClock());
        auto model = std::make_unique<ModelFixture>(realClock());
        const StatusBox box(&model->model());
        const ProgressCallback progress = model->model().progressHandler();
        box.set(QStringLiteral("too late"));
        progress(1, 2, 3);
        model.reset();
        box.set(QStringLiteral("later still"));
        progress(1, 2, 3);
        // Whoever comes after it hears nothing of it.
        AppModel &next = fixture.model();
        QSignalSpy changes(&next, &AppModel::willChange);
        bool served = false;
        QMetaObject::invokeMethod(this, [&] { served = true; }, Qt::QueuedConnection);
        spinUntil([&] { return served; });
        QCOMPARE(changes.size(), 0);
        QCOMPARE(next.state(), AppState::notDownloaded());
    }

    void progressWithAKnownTotal()
    {
        ModelFixture fixture(realClock());
        AppModel &model = fixture.model();
        model.updateProgress(1, 1, 0);
        QCOMPARE(model.progress(), std::optional(1.0));
        QCOMPARE(model.detail(), u"1 byte of 1 byte · Zero KB/s"_s);
        model.updateProgress(25'000'000, 100'000'000, 1'250'000.9);
        QCOMPARE(model.progress(), std::optional(0.25));
        QCOMPARE(model.detail(), QStringLiteral("25 MB of 100 MB · 1.3 MB/s"));
    }

    void eachStartOfTheGameHasItsOwnPermission()
    {
        ModelFixture fixture(realClock());
        fixture.installByHand(
            "#!/bin/sh\ncase \"$*\" in *--import*) what=import ;; *) what=game ;; "
            "esac\necho \"$what: '$XDG_ACTIVATION_TOKEN'\"\n");
        QVERIFY(QFile::remove(fixture.root(QStringLiteral("imported-4.3-stable.txt"))));
        qputenv("XDG_ACTIVATION_TOKEN", "ours");
        fixture.model().startWork(false);
        fixture.waitUntilIdle();
        QVERIFY(fixture.model().log.lines().contains(QStringLiteral("import: ''")));
        QCOMPARE(fixture.desktop->askedStarts, 0);
        for (int i = 1; i <= 2; ++i) {
            fixture.model().startWork(true);
            fixture.waitUntilIdle();
            QVERIFY(
                fixture.model().log.lines().contains(QStringLiteral("game: 'start %1'").arg(i)));
        }
        qunsetenv("XDG_ACTIVATION_TOKEN");
        QCOMPARE(fixture.desktop->askedStarts, 2);
    }

    void theTimeLeft()
    {
        const auto clock = std::make_shared<ManualClock>();
        ModelFixture fixture(clock);
        AppModel &model = fixture.model();
        QSignalSpy changes(&model, &AppModel::timeLeftChanged);
        model.updateProgress(0, 100'000'000, 0);
        QCOMPARE(model.timeLeft(), QString());
        clock->advance(Clock::Duration(2));
        model.updateProgress(2'000'000, 100'000'000, 0);
        QCOMPARE(model.timeLeft(), QStringLiteral("About 2 minutes left"));
        QCOMPARE(model.property("timeLeft").toString(), model.timeLeft());
        clock->advance(Clock::Duration(2));
        model.updateProgress(60'000'000, 100'000'000, 0);
        QCOMPARE(model.timeLeft(), QStringLiteral("Less than a minute left"));
        QCOMPARE(changes.size(), 2);
        // Nothing comes.
        clock->advance(Clock::Duration(8));
        model.updateProgress(60'000'000, 100'000'000, 0);
        QCOMPARE(model.timeLeft(), QStringLiteral("Less than a minute left"));
        clock->advance(Clock::Duration(1));
        model.updateProgress(60'000'000, 100'000'000, 0);
        QCOMPARE(model.timeLeft(), QString());
        // Whatever a server says.
        model.updateProgress(100'000'001, 100'000'000, 0);
        QCOMPARE(model.timeLeft(), QString());

        // The next download is another one.
        model.updateProgress(60'000'000, 100'000'000, 0);
        StatusBox(&model).set(QStringLiteral("Checking"));
        spinUntil([&] { return model.stepText() == QStringLiteral("Checking"); });
        QCOMPARE(model.timeLeft(), QString());
        clock->advance(Clock::Duration(2));
        model.updateProgress(90'000'000, 100'000'000, 0);
        QCOMPARE(model.timeLeft(), QString());
        clock->advance(Clock::Duration(2));
        model.updateProgress(90'100'000, 100'000'000, 0);
        QCOMPARE(model.timeLeft(), QStringLiteral("About 3 minutes left"));
        model.updateProgress(90'200'000, 0, 0);
        QCOMPARE(model.timeLeft(), QString());
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
        ModelFixture fixture(realClock());
        AppModel &model = fixture.model();
        model.set(&Status::progress, 0.5);
        model.updateProgress(2000, total, 999);
        QVERIFY(!model.progress());
        QCOMPARE(model.detail(), QStringLiteral("2 KB · 999 bytes/s"));
    }

    void cancellationsAreToldFromFailures()
    {
        QVERIFY(isCancellation(CancellationError()));
        QVERIFY(!isCancellation(TransferError(QStringLiteral("x"))));
        QVERIFY(!isCancellation(SetupError(QStringLiteral("x"))));
        QVERIFY(!isCancellation(std::runtime_error("x")));
    }

    void hintsFollowTheLog_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("hint");
        const auto graphics = QStringLiteral("The graphics system reported a problem. The game may "
                                             "need a faster Mac or a newer macOS.");
        const auto scripts =
            QStringLiteral("The game's scripts reported errors. The log below shows where.");
        const auto other = QStringLiteral("The last lines of the log below may show why.");
        const auto lines = [](const char *text) { return QStringList{QString::fromUtf8(text)}; };
        QTest::newRow("vulkan") << lines("ERROR: Vulkan is missing") << graphics;
        QTest::newRow("metal") << lines("METAL device lost") << graphics;
        QTest::newRow("gpu") << lines("no GPU") << graphics;
        QTest::newRow("rendering") << lines("Rendering failed") << graphics;
        QTest::newRow("parse error in capitals") << lines("Parse Error: x") << scripts;
        QTest::newRow("script error") << lines("SCRIPT ERROR: x") << scripts;
        QTest::newRow("both") << QStringList{QStringLiteral("Parse Error"), QStringLiteral("gpu")}
                              << graphics;
        QTest::newRow("neither") << lines("something else") << other;
        QTest::newRow("no lines") << QStringList() << other;
        QTest::newRow("word across lines")
            << QStringList{QStringLiteral("parse"), QStringLiteral("error")} << other;
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
