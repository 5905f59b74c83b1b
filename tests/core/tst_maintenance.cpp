// Tests the actions besides Play and Cancel.

#include "ModelFixture.h"
#include "base/Text.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/WorkerHold.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestMaintenance : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    AppModel &model() { return fixture_->model(); }
    RecordingDesktop &desktop() { return *fixture_->desktop; }
    bool exists(const char *name) { return QFileInfo::exists(fixture_->root(QLatin1String(name))); }

private Q_SLOTS:
    /// Makes a complete setup with one more file.
    void init()
    {
        fixture_ = std::make_unique<PipelineFixture>();
        fixture_->installByHand();
        writeFile(fixture_->root(u"Game/old.txt"_s), "old");
        model();
    }
    void cleanup()
    {
        // An alert without an answer would leak its coroutine.
        while (!desktop().open.isEmpty()) {
            desktop().press(1);
            WorkerHold().open();
            QCoreApplication::processEvents();
        }
        fixture_.reset();
    }

    void theGameIsFetchedAgain_data()
    {
        QTest::addColumn<bool>("engineToo");
        QTest::newRow("update") << false;
        QTest::newRow("reinstall") << true;
    }
    void theGameIsFetchedAgain()
    {
        QFETCH(const bool, engineToo);
        model().set(&Status::failure, FailureReport{u"x"_s, {}});
        if (engineToo) {
            model().reinstall();
        } else {
            model().updateGame();
        }
        QVERIFY(model().work());
        QVERIFY(!model().failure());
        QCOMPARE(model().state(), AppState::downloading(u"Step 1 of 3 · Downloading the game"_s));
        fixture_->waitUntilIdle();
        QCOMPARE(model().state(), AppState::ready());
        QCOMPARE(model().info().name, u"Piped"_s);
        QVERIFY(!exists("Game/old.txt"));
        QVERIFY(exists("imported-4.3-stable.txt"));
        QVERIFY(fixture_->logHas(u"• Importing the project (first run)"_s));
        QCOMPARE(fixture_->host.requests().filter(u"builds"_s).size(), engineToo ? 2 : 0);
        QVERIFY(!fixture_->logHas(u"engine is playing"_s));
        QVERIFY(desktop().alerts.isEmpty());
    }

    void aTaskOfAnIdleModelGuardsToo()
    {
        desktop().answer = 1;
        QList<bool> said{true};
        connect(&model(), &AppModel::changed, this, [&] {
            if (said.last() != model().canPlay()) {
                said << model().canPlay();
            }
        });
        WorkerHold workers;
        model().removeEverything();
        QCoreApplication::processEvents();
        const auto work = model().work();
        QVERIFY(work);
        QCOMPARE(model().state(), AppState::ready()); // while the removal measures
        model().play();
        model().updateGame();
        model().reinstall();
        model().removeEverything();
        QCOMPARE(model().work(), work);
        QCOMPARE(model().state(), AppState::ready());
        workers.open();
        fixture_->waitUntilIdle();
        QCOMPARE(said, (QList<bool>{true, false, true}));
        QCOMPARE(desktop().alerts.size(), 1);
        QVERIFY(exists("Game/old.txt"));
        QVERIFY(exists("Engine"));
    }

    void aDeletionIsCancelled_data()
    {
        QTest::addColumn<bool>("begun");
        QTest::newRow("before it begins") << false;
        QTest::newRow("while it runs") << true;
    }
    void aDeletionIsCancelled()
    {
        QFETCH(const bool, begun);
        WorkerHold workers;
        model().reinstall();
        QVERIFY(model().canCancel());
        QCoreApplication::processEvents();
        if (begun) {
            workers.letPass();
        }
        model().cancel();
        workers.open();
        fixture_->waitUntilIdle();
        QCOMPARE(model().log.lines(), QStringList{u"• Cancelled"_s});
        QVERIFY(fixture_->host.requests().isEmpty());
        QCOMPARE(model().state(), begun ? AppState::notDownloaded() : AppState::ready());
        QCOMPARE(exists("Game/old.txt"), !begun);
        QCOMPARE(exists("imported-4.3-stable.txt"), !begun);
        QCOMPARE(exists("Engine"), !begun);

        fixture_->setUp();
        QCOMPARE(model().state(), AppState::ready());
    }

    void removingEverythingAsksFirst()
    {
        desktop().answer = 1;
        model().log.append(u"kept"_s);
        model().setResolution(ResolutionChoice::r900);
        model().set(&Status::failure, FailureReport{u"kept"_s, {u"as well"_s}});
        model().set(&Status::stepText, u"kept"_s);
        model().updateProgress(1, 2, 3);
        const QString root = fixture_->root();
        const QStringList files = Files::names(root);
        const QString size = Text::byteCount(Paths::folderSize(root));
        QVERIFY(size != Text::byteCount(Paths::folderSize(root + u"/Game"_s)));
        model().set(&Status::storageSize, size);
        const Status before = model().status();
        model().removeEverything();
        fixture_->waitUntilIdle();
        QCOMPARE(desktop().alerts,
                 QList<Alert>{(Alert{u"Remove the game and the engine?"_s,
                                     u"This frees "_s + size +
                                         u". Your saved games (in Godot's own folder) are kept."_s,
                                     {u"Remove"_s, u"Cancel"_s},
                                     true})});
        QVERIFY(model().status() == before);
        QCOMPARE(model().resolution(), ResolutionChoice::r900);
        QCOMPARE(model().log.lines(), QStringList{u"kept"_s});
        QVERIFY(exists("Game/old.txt"));
        QCOMPARE(Files::names(root), files);
        // Quitting during the next task asks again.
        model().updateGame();
        QVERIFY(!model().confirmQuit());
        QCOMPARE(desktop().alerts.last().message, u"A download is still running"_s);
    }

    void removingEverythingResets()
    {
        model().log.append(u"gone"_s);
        model().set(&Status::failure, FailureReport{u"x"_s, {}});
        writeFile(model().savesFolder() + u"/save.dat"_s, "save");
        desktop().waits = true;
        WorkerHold workers;
        model().removeEverything();
        QVERIFY(model().removing());
        QCoreApplication::processEvents();
        workers.letPass(); // finishes the measurement
        spinUntil([&] { return !desktop().open.isEmpty(); });
        QVERIFY(!model().removing());
        desktop().press(0);
        spinUntil([&] { return model().removing(); });
        workers.open();
        fixture_->waitUntilIdle();
        QVERIFY(!model().removing());
        QVERIFY(!QFileInfo::exists(fixture_->root()));
        QCOMPARE(model().state(), AppState::notDownloaded());
        QCOMPARE(model().info(), ProjectInfo::placeholder);
        QVERIFY(!model().failure());
        QVERIFY(model().log.lines().isEmpty());
        QVERIFY(QFileInfo::exists(fixture_->saves() + u"/By hand/save.dat"_s));
    }

    void foldersAreShownOnceTheyExist()
    {
        using Action = void (AppModel::*)();
        const Alert noSaves{
            u"No saves yet"_s,
            u"Godot creates its save folder the first time the game saves something."_s,
            {}};
        const Alert nothing{u"Nothing downloaded yet"_s,
                            u"Press Play first; the files will then appear here."_s,
                            {}};
        const auto check = [&](Action action, const QString &folder, const Alert &otherwise) {
            QDir(folder).removeRecursively();
            (model().*action)();
            QCOMPARE(desktop().alerts.last(), otherwise);
            QDir().mkpath(folder);
            const auto before = desktop().alerts.size();
            (model().*action)();
            QCOMPARE(desktop().revealed.last(), folder);
            QCOMPARE(desktop().alerts.size(), before);
        };
        check(&AppModel::showSaves, fixture_->saves() + u"/By hand"_s, noSaves);
        check(&AppModel::revealInFinder, fixture_->root(), nothing);
        QCOMPARE(desktop().revealed.size(), 2);
    }

    void saveFolderFollowsTheEngine_data()
    {
        QTest::addColumn<QString>("project");
        QTest::addColumn<QString>("folder");
        QTest::newRow("plain") << u"A game"_s << u"A game"_s;
        QTest::newRow("special characters")
            << u"a:b*c?d\"e<f>g|h/i\\j"_s << u"a-b-c-d-e-f-g-h-i-j"_s;
        QTest::newRow("blanks around it") << u" a "_s << u"a"_s;
        QTest::newRow("a path up") << u"../.."_s << u"..-.."_s;
    }

    void saveFolderFollowsTheEngine()
    {
        QFETCH(const QString, project);
        QFETCH(const QString, folder);
        ProjectInfo info;
        info.name = project;
        model().set(&Status::info, info);
        QCOMPARE(model().savesFolder(), fixture_->saves() + u'/' + folder);
    }

    void failuresAndLogsAreCopied()
    {
        const QString hostile = u"\x1b[201~a\r\u202eb\x07"_s;
        model().copyFailure();
        QVERIFY(desktop().copied.isEmpty());
        model().set(&Status::failure, FailureReport{u"Sum."_s, {}});
        model().copyFailure();
        model().set(&Status::failure, FailureReport{hostile, {hostile, u"c"_s}});
        model().copyFailure();
        model().copyLog();
        model().log.append(u"one"_s);
        model().log.append(hostile);
        model().copyLog();
        QCOMPARE(desktop().copied, (QStringList{u"Sum.\n\n"_s, u"[201~ab\n\n[201~ab\nc"_s,
                                                QString(), u"one\n[201~ab"_s}));
    }

    void quittingWhileIdleAsksNothing()
    {
        QVERIFY(model().confirmQuit());
        QVERIFY(desktop().alerts.isEmpty());
    }

    void quittingWhileTheGameRuns()
    {
        fixture_->playUntilOpen();
        desktop().answer = 1;
        QVERIFY(!model().confirmQuit());
        QVERIFY(!model().confirmQuit());
        QVERIFY(model().runner.current()->isRunning());
        desktop().answer = 0;
        QVERIFY(model().confirmQuit());
        const Alert expected{u"The game is still running"_s,
                             u"Quitting will close the game too."_s,
                             {u"Quit"_s, u"Keep open"_s}};
        QCOMPARE(desktop().alerts, (QList<Alert>{expected, expected, expected}));
        fixture_->waitUntilIdle();
        QCOMPARE(model().log.lines().last(), u"• Game stopped"_s);
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
        fixture_->stall(ReleaseHost::gamePath());
        model().updateGame();
        desktop().waits = true;
        // An open notice delays neither the removal nor its question.
        QDir(fixture_->saves()).removeRecursively();
        model().showSaves();
        QCOMPARE(desktop().open.size(), 1);
        QTimer::singleShot(0, this, [&] {
            if (pressed < 0) {
                QCoreApplication::exit();
            } else {
                desktop().press(pressed, desktop().open.size() - 1);
            }
        });
        QCOMPARE(model().confirmQuit(), quits);
        const Alert expected{u"A download is still running"_s,
                             u"Quitting will cancel it."_s,
                             {u"Quit"_s, u"Keep open"_s}};
        QCOMPARE(desktop().alerts.last(), expected);
        QCOMPARE(model().work()->stop_requested(), quits);
        model().cancel();
        fixture_->waitUntilIdle();
        QCOMPARE(model().log.lines().last(), u"• Cancelled"_s);
    }

    void quittingWhileARemovalMeasures()
    {
        WorkerHold workers;
        model().removeEverything();
        QCoreApplication::processEvents();
        QVERIFY(model().confirmQuit());
        workers.open();
        fixture_->waitUntilIdle();
        QVERIFY2(desktop().alerts.isEmpty(), "no question after the quit");
        QVERIFY(exists("Game/old.txt"));
    }

    void quittingWhileARemovalDeletes()
    {
        WorkerHold workers;
        model().removeEverything();
        QCoreApplication::processEvents();
        workers.letPass();
        spinUntil([&] { return !desktop().alerts.isEmpty(); });
        desktop().answer = 1;
        QVERIFY(!model().confirmQuit());
        QCOMPARE(desktop().alerts.last().message, u"A download is still running"_s);
        workers.open();
        fixture_->waitUntilIdle();
        QVERIFY(!QFileInfo::exists(fixture_->root()));
    }
};

QTEST_GUILESS_MAIN(TestMaintenance)
#include "tst_maintenance.moc"
