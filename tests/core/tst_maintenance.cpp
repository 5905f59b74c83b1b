// The actions besides Play and Cancel.

#include "PipelineFixture.h"
#include "base/Text.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/WorkerHold.h"

#include <QtTest>

#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(brindle::AppState)

namespace {

/// A setup that is complete, with something in every place.
struct Complete
{
    Complete()
    {
        fixture.files.installByHand(ModelFixture::engineScript());
        ModelFixture::write(fixture.files.root(QStringLiteral("Game/old.txt")), "old");
    }
    AppModel &model() { return fixture.model(); }
    bool exists(const char *name)
    {
        return QFileInfo::exists(fixture.files.root(QLatin1String(name)));
    }

    PipelineFixture fixture;
    RecordingDesktop &desktop = *fixture.files.desktop;
};

} // namespace

class TestMaintenance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theGameIsFetchedAgain_data()
    {
        QTest::addColumn<bool>("engineToo");
        QTest::addColumn<AppState>("before");
        const auto needs = AppState::needs(u"x"_s);
        QTest::newRow("update, ready") << false << AppState::ready();
        QTest::newRow("update, needs something") << false << needs;
        QTest::newRow("reinstall, ready") << true << AppState::ready();
        QTest::newRow("reinstall, needs something") << true << needs;
    }

    void theGameIsFetchedAgain()
    {
        QFETCH(const bool, engineToo);
        QFETCH(const AppState, before);
        Complete setup;
        AppModel &model = setup.model();
        model.set(&Status::state, before);
        model.set(&Status::failure, FailureReport{u"x"_s, {}});
        if (engineToo) {
            model.reinstall();
        } else {
            model.updateGame();
        }
        QVERIFY(model.work());
        QVERIFY(!model.failure());
        QCOMPARE(model.state(), AppState::downloading(u"Step 1 of 3 · Downloading the game"_s));
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(model.state(), AppState::ready());
        QCOMPARE(model.info().name, u"Piped"_s);
        QVERIFY(!setup.exists("Game/old.txt"));
        QVERIFY(setup.exists("imported-4.3-stable.txt"));
        QVERIFY(setup.fixture.logHas(u"• Importing the project (first run)"_s));
        QCOMPARE(setup.fixture.host.requests().filter(u"builds"_s).size(), engineToo ? 2 : 0);
        QVERIFY(!setup.fixture.logHas(u"engine is playing"_s));
        QVERIFY(setup.desktop.alerts.isEmpty());
    }

    void interruptedRemovalsAreFinished()
    {
        Complete setup;
        const QString inside = setup.fixture.files.root(QStringLiteral(".brindle-removing-1/x"));
        const QString beside =
            setup.fixture.files.root() + QStringLiteral("/../.brindle-removing-2/x");
        ModelFixture::write(inside, "x");
        ModelFixture::write(beside, "x");
        setup.model().updateGame();
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.model().state(), AppState::ready());
        QVERIFY(!QFileInfo::exists(inside));
        QVERIFY(!QFileInfo::exists(beside));
    }

    void busyGuardsThreeActions_data()
    {
        QTest::addColumn<int>("phase");
        using Phase = AppState::Phase;
        for (const Phase phase :
             {Phase::downloading, Phase::settingUp, Phase::starting, Phase::playing}) {
            QTest::addRow("%d", static_cast<int>(phase)) << static_cast<int>(phase);
        }
    }

    void busyGuardsThreeActions()
    {
        QFETCH(int, phase);
        Complete setup;
        const AppState busy{static_cast<AppState::Phase>(phase), QStringLiteral("busy")};
        setup.model().set(&Status::state, busy);
        setup.model().updateGame();
        setup.model().reinstall();
        setup.model().removeEverything();
        QVERIFY(!setup.model().work());
        QCOMPARE(setup.model().state(), busy);
        QVERIFY(setup.exists("Game/old.txt"));
        QVERIFY(setup.exists("Engine"));
        QVERIFY(setup.desktop.alerts.isEmpty());
    }

    void aRunningTaskGuardsToo()
    {
        Complete setup;
        setup.fixture.stall(ReleaseHost::gamePath());
        setup.model().updateGame();
        const auto work = setup.model().work();
        setup.model().removeEverything();
        setup.model().reinstall();
        QCOMPARE(setup.model().work(), work);
        spinUntil([&] { return setup.fixture.stalled.load(); });
        QVERIFY(setup.exists("Engine"));
        setup.model().cancel();
        setup.fixture.files.waitUntilIdle();
        QVERIFY(setup.desktop.alerts.isEmpty());
    }

    void aTaskOfAnIdleModelGuardsToo()
    {
        Complete setup;
        setup.desktop.answer = 1;
        setup.model();
        WorkerHold workers;
        setup.model().removeEverything();
        QCoreApplication::processEvents();
        // It measures, and the state says nothing of it.
        const auto work = setup.model().work();
        QVERIFY(work);
        QCOMPARE(setup.model().state(), AppState::ready());
        setup.model().updateGame();
        setup.model().reinstall();
        setup.model().removeEverything();
        QCOMPARE(setup.model().work(), work);
        QCOMPARE(setup.model().state(), AppState::ready());
        workers.open();
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.desktop.alerts.size(), 1);
        QVERIFY(setup.exists("Game/old.txt"));
        QVERIFY(setup.exists("Engine"));
    }

    void aDeletionIsCancelled_data()
    {
        QTest::addColumn<bool>("engineToo");
        QTest::addColumn<bool>("begun");
        QTest::newRow("update, before it begins") << false << false;
        QTest::newRow("update, while it runs") << false << true;
        QTest::newRow("reinstall, before it begins") << true << false;
        QTest::newRow("reinstall, while it runs") << true << true;
    }

    void aDeletionIsCancelled()
    {
        QFETCH(const bool, engineToo);
        QFETCH(const bool, begun);
        Complete setup;
        setup.model();
        WorkerHold workers;
        if (engineToo) {
            setup.model().reinstall();
        } else {
            setup.model().updateGame();
        }
        QVERIFY(setup.model().canCancel());
        QCoreApplication::processEvents();
        if (begun) {
            workers.letPass();
        }
        setup.model().cancel();
        workers.open();
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.model().log.lines(), QStringList{QStringLiteral("• Cancelled")});
        QVERIFY(setup.fixture.host.requests().isEmpty());
        QCOMPARE(setup.model().state(), begun ? AppState::notDownloaded() : AppState::ready());
        QCOMPARE(setup.exists("Game/old.txt"), !begun);
        QCOMPARE(setup.exists("imported-4.3-stable.txt"), !begun);
        QCOMPARE(setup.exists("Engine"), !(begun && engineToo));

        setup.model().startWork(false);
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.model().state(), AppState::ready());
    }

    void clearingMarkersLeavesTheRest()
    {
        Complete setup;
        ModelFixture::write(
            setup.fixture.files.root(QStringLiteral("imported-4.2-stable-mono.txt")), "ok");
        const QStringList others{u"other.txt"_s, u"imported"_s, u"not-imported-4.3.txt"_s};
        for (const QString &name : others) {
            ModelFixture::write(setup.fixture.files.root(name), "x");
        }
        setup.fixture.stall(ReleaseHost::gamePath());
        setup.model().updateGame();
        spinUntil([&] { return setup.fixture.stalled.load(); });
        QVERIFY(!setup.exists("imported-4.3-stable.txt"));
        QVERIFY(!setup.exists("imported-4.2-stable-mono.txt"));
        QVERIFY(setup.exists("info.json"));
        QVERIFY(setup.exists("Engine"));
        for (const QString &name : others) {
            QVERIFY2(QFileInfo::exists(setup.fixture.files.root(name)), qPrintable(name));
        }
        setup.model().cancel();
        setup.fixture.files.waitUntilIdle();
    }

    void removingEverythingAsksFirst()
    {
        Complete setup;
        AppModel &model = setup.model();
        setup.desktop.answer = 1;
        model.log.append(u"kept"_s);
        model.setResolution(ResolutionChoice::r900);
        model.set(&Status::failure, FailureReport{u"kept"_s, {u"as well"_s}});
        model.set(&Status::stepText, u"kept"_s);
        model.updateProgress(1, 2, 3);
        const Status before = model.status();
        const QString root = setup.fixture.files.root();
        const QByteArray description = ModelFixture::read(root + u"/info.json"_s);
        const QStringList files = Files::names(root);
        const QString size = Text::byteCount(Paths::folderSize(root));
        QVERIFY(size != Text::byteCount(Paths::folderSize(root + u"/Game"_s)));
        model.removeEverything();
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.desktop.alerts,
                 QList<Alert>{(Alert{u"Remove the game and the engine?"_s,
                                     u"This frees "_s + size +
                                         u". Your saved games (in Godot's own folder) are kept."_s,
                                     {u"Remove"_s, u"Cancel"_s},
                                     true})});
        QVERIFY(model.status() == before);
        QCOMPARE(model.resolution(), ResolutionChoice::r900);
        QCOMPARE(model.log.lines(), QStringList{u"kept"_s});
        QVERIFY(setup.exists("Game/old.txt"));
        QCOMPARE(Files::names(root), files);
        QCOMPARE(ModelFixture::read(root + u"/info.json"_s), description);
    }

    void aRemovalShowsThatItIsAtWork()
    {
        Complete setup;
        AppModel &model = setup.model();
        setup.desktop.waits = true;
        WorkerHold workers;
        QSignalSpy changes(&model, &AppModel::removingChanged);
        model.removeEverything();
        QVERIFY(model.removing());
        QCoreApplication::processEvents();
        workers.letPass(); // it has been measured
        spinUntil([&] { return !setup.desktop.open.isEmpty(); });
        QVERIFY(!model.removing());
        setup.desktop.press(0);
        spinUntil([&] { return model.removing(); });
        QVERIFY(model.property("removing").toBool());
        workers.open();
        setup.fixture.files.waitUntilIdle();
        QVERIFY(!model.removing());
        QCOMPARE(changes.size(), 4);
        QVERIFY(!QFileInfo::exists(setup.fixture.files.root()));
    }

    void removingEverythingResets()
    {
        Complete setup;
        setup.model().log.append(QStringLiteral("gone"));
        setup.model().set(&Status::failure, FailureReport{QStringLiteral("x"), {}});
        ModelFixture::write(setup.model().savesFolder() + QStringLiteral("/save.dat"), "save");
        setup.model().removeEverything();
        setup.fixture.files.waitUntilIdle();
        QVERIFY(!QFileInfo::exists(setup.fixture.files.root()));
        QCOMPARE(setup.model().state(), AppState::notDownloaded());
        QCOMPARE(setup.model().info(), ProjectInfo::placeholder);
        QVERIFY(!setup.model().failure());
        QVERIFY(setup.model().log.lines().isEmpty());
        QVERIFY(
            QFileInfo::exists(setup.fixture.files.saves() + QStringLiteral("/By hand/save.dat")));
    }

    void removingEverythingFollowsTheRootsLink()
    {
        Complete setup;
        const QString elsewhere = setup.fixture.files.temporaryFolder() + QStringLiteral("/disk");
        QVERIFY(QDir().rename(setup.fixture.files.root(), elsewhere));
        QVERIFY(QFile::link(elsewhere, setup.fixture.files.root()));
        await(setup.model().refreshState());
        QCOMPARE(setup.model().state(), AppState::ready());
        setup.model().removeEverything();
        setup.fixture.files.waitUntilIdle();
        QVERIFY(!setup.desktop.alerts.first().informativeText.contains(QStringLiteral("Zero KB")));
        QVERIFY2(!QFileInfo::exists(elsewhere), "what was measured is what is to go");
        QVERIFY(!QFileInfo(setup.fixture.files.root()).isSymLink());
        QCOMPARE(setup.model().state(), AppState::notDownloaded());
    }

    void aRemovalThatFailsLeavesNoTask()
    {
        Complete setup;
        setup.desktop.onAlert = [] { throw std::runtime_error("no alert to be had"); };
        setup.model().removeEverything();
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.model().state(), AppState::needs(QStringLiteral("no alert to be had")));
        QCOMPARE(setup.model().log.lines().last(), QStringLiteral("• Problem: no alert to be had"));
        QVERIFY(setup.exists("Game/old.txt"));
    }

    void savesAreShownOnceThereAreSome()
    {
        Complete setup;
        setup.model().showSaves();
        QCOMPARE(setup.desktop.alerts,
                 QList<Alert>{(Alert{QStringLiteral("No saves yet"),
                                     QStringLiteral("Godot creates its save folder the first time "
                                                    "the game saves something."),
                                     {}})});
        QVERIFY(setup.desktop.revealed.isEmpty());
        QDir().mkpath(setup.model().savesFolder());
        setup.model().showSaves();
        QCOMPARE(setup.desktop.revealed,
                 QStringList{setup.fixture.files.saves() + QStringLiteral("/By hand")});
        QCOMPARE(setup.desktop.alerts.size(), 1);
    }

    void theSaveFolderIsNamedAsTheEngineNamesIt_data()
    {
        QTest::addColumn<QString>("project");
        QTest::addColumn<QString>("folder");
        QTest::newRow("plain") << QStringLiteral("A game") << QStringLiteral("A game");
        QTest::newRow("what no folder's name may hold")
            << QStringLiteral("a:b*c?d\"e<f>g|h/i\\j") << QStringLiteral("a-b-c-d-e-f-g-h-i-j");
        QTest::newRow("dot") << QStringLiteral(".") << QStringLiteral("dot");
        QTest::newRow("dots") << QStringLiteral("..") << QStringLiteral("twodots");
        QTest::newRow("dots and blanks") << QStringLiteral(" .. ") << QStringLiteral("twodots");
        QTest::newRow("a way up") << QStringLiteral("../..") << QStringLiteral("..-..");
        QTest::newRow("none") << QString() << QStringLiteral("[unnamed project]");
        QTest::newRow("blank") << QStringLiteral(" ") << QStringLiteral("[unnamed project]");
    }

    void theSaveFolderIsNamedAsTheEngineNamesIt()
    {
        QFETCH(const QString, project);
        QFETCH(const QString, folder);
        Complete setup;
        ProjectInfo info;
        info.name = project;
        setup.model().set(&Status::info, info);
        QCOMPARE(setup.model().savesFolder(), setup.fixture.files.saves() + u'/' + folder);
        // Nothing is shown that is not the game's own.
        QDir().mkpath(setup.fixture.files.saves());
        setup.model().showSaves();
        QVERIFY(setup.desktop.revealed.isEmpty());
    }

    void filesAreRevealedOnceThereAreSome()
    {
        Complete setup;
        setup.model().revealInFinder();
        QCOMPARE(setup.desktop.revealed, QStringList{setup.fixture.files.root()});
        QDir(setup.fixture.files.root()).removeRecursively();
        setup.model().revealInFinder();
        QCOMPARE(setup.desktop.revealed.size(), 1);
        QCOMPARE(setup.desktop.alerts,
                 QList<Alert>{(Alert{QStringLiteral("Nothing downloaded yet"),
                                     QStringLiteral("Press Play first; the files will then appear "
                                                    "here."),
                                     {}})});
    }

    void failuresAndLogsAreCopied()
    {
        Complete setup;
        setup.model().copyFailure();
        QVERIFY(setup.desktop.copied.isEmpty());
        setup.model().set(&Status::failure, FailureReport{QStringLiteral("Sum."), {}});
        setup.model().copyFailure();
        setup.model().set(&Status::failure, FailureReport{QStringLiteral("Sum."), {QStringLiteral("a"), QStringLiteral("b")}});
        setup.model().copyFailure();
        setup.model().copyLog();
        setup.model().log.append(QStringLiteral("one"));
        setup.model().log.append(QStringLiteral("two"));
        setup.model().copyLog();
        QCOMPARE(setup.desktop.copied,
                 (QStringList{QStringLiteral("Sum.\n\n"), QStringLiteral("Sum.\n\na\nb"), QString(),
                              QStringLiteral("one\ntwo")}));
    }

    void copiesHoldNoControlCharacters()
    {
        Complete setup;
        const QString hostile = QStringLiteral("\x1b[201~rm\r\u202ecod\x07");
        const QString honest = QStringLiteral("\tשלום 🎮\n") + QString(100'000, u'x');
        setup.model().log.append(hostile);
        setup.model().log.append(honest);
        setup.model().copyLog();
        setup.model().set(&Status::failure, FailureReport{hostile, {hostile, honest}});
        setup.model().copyFailure();
        const QString clean = QStringLiteral("[201~rmcod");
        QCOMPARE(setup.desktop.copied,
                 (QStringList{clean + u'\n' + honest,
                              clean + QStringLiteral("\n\n") + clean + u'\n' + honest}));
    }

    void quittingWhileIdleAsksNothing()
    {
        Complete setup;
        QVERIFY(setup.model().confirmQuit());
        QVERIFY(setup.desktop.alerts.isEmpty());
    }

    void quittingWhileTheGameRuns()
    {
        Complete setup;
        setup.fixture.playUntilOpen();
        setup.desktop.answer = 1;
        QVERIFY(!setup.model().confirmQuit());
        QVERIFY(!setup.model().confirmQuit());
        QVERIFY(setup.model().runner.current()->isRunning());
        setup.desktop.answer = 0;
        QVERIFY(setup.model().confirmQuit());
        const Alert expected{QStringLiteral("The game is still running"),
                             QStringLiteral("Quitting will close the game too."),
                             {QStringLiteral("Quit"), QStringLiteral("Keep open")}};
        QCOMPARE(setup.desktop.alerts, (QList<Alert>{expected, expected, expected}));
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.model().log.lines().last(), QStringLiteral("• Game stopped"));
    }

    void theQuestionWhetherToQuitIsAwaited_data()
    {
        QTest::addColumn<int>("pressed");
        QTest::addColumn<bool>("quits");
        QTest::newRow("Quit") << 0 << true;
        QTest::newRow("Keep open") << 1 << false;
        QTest::newRow("the application ends") << -1 << false;
    }

    void theQuestionWhetherToQuitIsAwaited()
    {
        QFETCH(const int, pressed);
        QFETCH(const bool, quits);
        Complete setup;
        setup.fixture.stall(ReleaseHost::gamePath());
        setup.model().updateGame();
        setup.desktop.waits = true;
        // A notice that is open neither holds up its action nor the question.
        QDir(setup.fixture.files.saves()).removeRecursively();
        setup.model().showSaves();
        QCOMPARE(setup.desktop.open.size(), 1);
        QTimer::singleShot(0, this, [&] {
            if (pressed < 0) {
                QCoreApplication::exit();
            } else {
                setup.desktop.open.takeLast().resume(pressed);
            }
        });
        QCOMPARE(setup.model().confirmQuit(), quits);
        setup.model().cancel();
        setup.fixture.files.waitUntilIdle();
    }

    void quittingWhileARemovalMeasures()
    {
        Complete setup;
        setup.model();
        WorkerHold workers;
        setup.model().removeEverything();
        QCoreApplication::processEvents();
        QVERIFY(setup.model().confirmQuit());
        workers.open();
        setup.fixture.files.waitUntilIdle();
        QVERIFY2(setup.desktop.alerts.isEmpty(), "nobody is there to answer any more");
        QVERIFY(setup.exists("Game/old.txt"));
    }

    void quittingWhileARemovalAsks()
    {
        Complete setup;
        setup.desktop.answer = 1;
        setup.desktop.onAlert = [&] { QVERIFY(setup.model().confirmQuit()); };
        setup.model().removeEverything();
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.desktop.alerts.size(), 1);
        QVERIFY(setup.exists("Game/old.txt"));
    }

    void quittingWhileARemovalDeletes()
    {
        Complete setup;
        setup.model();
        WorkerHold workers;
        setup.model().removeEverything();
        QCoreApplication::processEvents();
        workers.letPass();
        spinUntil([&] { return !setup.desktop.alerts.isEmpty(); });
        setup.desktop.answer = 1;
        QVERIFY(!setup.model().confirmQuit());
        QCOMPARE(setup.desktop.alerts.last().message,
                 QStringLiteral("A download is still running"));
        workers.open();
        setup.fixture.files.waitUntilIdle();
        QVERIFY(!QFileInfo::exists(setup.fixture.files.root()));
    }

    void quittingWhileATaskRuns()
    {
        Complete setup;
        setup.fixture.stall(ReleaseHost::gamePath());
        setup.model().updateGame();
        spinUntil([&] { return setup.fixture.stalled.load(); });
        QVERIFY(setup.model().confirmQuit());
        QCOMPARE(setup.desktop.alerts,
                 QList<Alert>{(Alert{QStringLiteral("A download is still running"),
                                     QStringLiteral("Quitting will cancel it."),
                                     {QStringLiteral("Quit"), QStringLiteral("Keep open")}})});
        setup.fixture.files.waitUntilIdle();
        QCOMPARE(setup.model().log.lines().last(), QStringLiteral("• Cancelled"));
    }
};

QTEST_GUILESS_MAIN(TestMaintenance)
#include "tst_maintenance.moc"
