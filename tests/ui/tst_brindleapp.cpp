// The application's way in and its ways out, on the process-wide model.

#include "AppFixture.h"

#include "support/Await.h"
#include "support/WorkerHold.h"

#include <QGuiApplication>
#include <QtTest>

using namespace brindle;

class TestBrindleApp : public AppFixture
{
    Q_OBJECT

    void close() { app().window()->close(); }
    void quit() { app().requestQuit(); }

private Q_SLOTS:
    void initTestCase() { prepare(); }
    void init() { start(); }
    void cleanup() { stop(); }

    void oneWindow()
    {
        QCOMPARE(app().window()->title(), QStringLiteral("Brindle"));
        QCOMPARE(app().window()->minimumSize(), QSize(560, 640));
        QCOMPARE(QGuiApplication::topLevelWindows().size(), 1);
        QCOMPARE(model().state(), AppState::ready());
    }

    void theIconIsThereInTheSizesThatDesktopsShow()
    {
        QGuiApplication::setWindowIcon({});
        stop();
        start();
        spinUntil([] { return !QGuiApplication::windowIcon().isNull(); });
        for (const int side : {16, 24, 32, 48, 64, 128}) {
            const QIcon icon = QGuiApplication::windowIcon();
            QVERIFY(icon.availableSizes().contains(QSize(side, side)));
            QVERIFY(qAlpha(icon.pixmap(side).toImage().pixel(side / 2, side / 2)) == 255);
        }
    }

    void theDelegatesAnswers()
    {
        AppDelegate delegate;
        QVERIFY(delegate.applicationShouldTerminateAfterLastWindowClosed());
        QCOMPARE(delegate.applicationShouldTerminate(), AppDelegate::TerminateReply::now);
        QCOMPARE(static_cast<int>(AppDelegate::TerminateReply::now), 1);
        QCOMPARE(static_cast<int>(AppDelegate::TerminateReply::cancel), 0);
    }

    void closingAnIdleWindowQuits()
    {
        close();
        spinUntil([this] { return endings() > 0; });
        QVERIFY(!alert());
    }

    void keepOpenKeepsTheProcessWithoutAWindow()
    {
        startGame();
        ask([this] { close(); }, 1,
            [this] {
                QCOMPARE(alertMessage(), QStringLiteral("The game is still running"));
                QCOMPARE(alertText(), QStringLiteral("Quitting will close the game too."));
                QVERIFY2(app().window()->isVisible(), "the question is asked in the window");
                // Closing it once more is the same request.
                close();
            });
        QTRY_VERIFY(!app().window()->isVisible());
        QVERIFY(endings() == 0);
        QVERIFY(model().gameRunning());

        // Starting the launcher again brings the window back.
        app().open("a token", "an id");
        QVERIFY(app().window()->isVisible());
        QCOMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), "a token");
        app().open({}, "an id");
        QCOMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), "an id");
        qunsetenv("XDG_ACTIVATION_TOKEN");
        finishGame();
        QVERIFY(endings() == 0);
    }

    void theWindowComesBackWhenTheGameHasEnded()
    {
        startGame();
        ask([this] { close(); }, 1);
        QTRY_VERIFY(!app().window()->isVisible());
        finishGame();
        QVERIFY(app().window()->isVisible());
        QVERIFY(endings() == 0);
    }

    void aWindowThatNothingBringsBackStaysOpen()
    {
        startGame();
        ask([this] { close(); }, 1, [this] { finishGame(); });
        QCoreApplication::processEvents();
        QVERIFY(app().window()->isVisible());
        QVERIFY(endings() == 0);
    }

    void aRequestWithoutAWindowShowsItWithTheQuestion()
    {
        startGame();
        ask([this] { close(); }, 1);
        QTRY_VERIFY(!app().window()->isVisible());
        ask([this] { quit(); }, 1, [this] { QVERIFY(app().window()->isVisible()); });
        QVERIFY(endings() == 0);
        finishGame();
    }

    void aSecondStartBringsTheQuestionForward()
    {
        startGame();
        ask([this] { quit(); }, 1,
            [this] {
                const QPointer<QObject> question = alert();
                app().window()->showMinimized();
                app().open("a token");
                QVERIFY(!(app().window()->windowStates() & Qt::WindowMinimized));
                QCOMPARE(alert(), question.data());
            });
        finishGame();
    }

    void twoRequestsAskTwice()
    {
        startGame();
        for (int i = 0; i < 2; ++i) {
            ask([this] { quit(); }, 1, [this] { QVERIFY(app().window()->isVisible()); });
            QVERIFY(endings() == 0);
        }
        finishGame();
    }

    void aRequestDuringTheQuestionOpensNoSecondOne()
    {
        startGame();
        ask([this] { quit(); }, 1,
            [this] {
                const QPointer<QObject> first = alert();
                app().requestQuit();
                QCOMPARE(alert(), first.data());
                QVERIFY(endings() == 0);
            });
        finishGame();
    }

    void quitEndsTheGameFirst()
    {
        startGame();
        ask([this] { quit(); }, 0);
        QTRY_COMPARE(endings(), 1);
        QVERIFY(!app().window()->isVisible());
        spinUntil([] { return !model().work(); });
        QVERIFY(model().log.lines().contains(QStringLiteral("• Game stopped")));
        // Nothing brings the window back now.
        app().open();
        QVERIFY(!app().window()->isVisible());
        QCOMPARE(endings(), 1);
    }

    void theKeyboardQuits_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::newRow("quit") << Qt::Key_Q;
        QTest::newRow("close window") << Qt::Key_W;
    }
    void theKeyboardQuits()
    {
        QFETCH(Qt::Key, key);
        app().window()->requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(app().window()));
        QTest::keyClick(app().window(), key, Qt::ControlModifier);
        spinUntil([this] { return endings() > 0; });
    }

    void thePlatformsQuitAsks()
    {
        startGame();
        QEvent request(QEvent::Quit);
        ask([&request] { QCoreApplication::sendEvent(qGuiApp, &request); }, 1);
        QVERIFY(!request.isAccepted());
        QVERIFY(endings() == 0);
        finishGame();
    }

    void theEndOfTheProcessAsksNothing()
    {
        startGame();
        app().forceQuit();
        QVERIFY(!alert());
        QCOMPARE(endings(), 1);
        spinUntil([] { return !model().work(); });
        app().forceQuit();
        QCOMPARE(endings(), 1);
    }

    void everyEndAnswersAnOpenQuestion_data()
    {
        QTest::addColumn<bool>("isQuit");
        QTest::newRow("quit") << true;
        QTest::newRow("the end of the process") << false;
    }
    void everyEndAnswersAnOpenQuestion()
    {
        QFETCH(const bool, isQuit);
        ask(
            [] {
                model().removeEverything();
                spinUntil([] { return !model().work(); });
            },
            0,
            [&] {
                QCOMPARE(alertMessage(), QStringLiteral("Remove the game and the engine?"));
                if (isQuit) {
                    quit();
                } else {
                    app().forceQuit();
                }
                QCOMPARE(endings(), 1);
                QVERIFY2(!alert(), "it is left to nobody");
            });
        QVERIFY2(QFileInfo::exists(root()), "nobody has said Remove");
        QCOMPARE(model().state(), AppState::ready());
    }

    void anEndDuringTheQuestionWhetherToQuit()
    {
        startGame();
        ask([this] { quit(); }, 1,
            [this] {
                app().forceQuit();
                QVERIFY(!alert());
            });
        spinUntil([] { return !model().work(); });
        QCOMPARE(endings(), 1);
        QVERIFY(!app().window()->isVisible());
    }

    void aNoticeGivesWayToTheQuestion()
    {
        startGame();
        bool asked = false;
        ask([] { model().showSaves(); }, 1,
            [this, &asked] {
                QCOMPARE(alertMessage(), QStringLiteral("No saves yet"));
                ask([this] { quit(); }, 1,
                    [this, &asked] {
                        asked = true;
                        QCOMPARE(alertMessage(), QStringLiteral("The game is still running"));
                    });
            });
        QVERIFY(asked);
        QCOMPARE(endings(), 0);
        finishGame();
    }

    void nothingIsAskedOnceTheWindowHasGone()
    {
        WorkerHold workers;
        model().removeEverything();
        QCoreApplication::processEvents();
        quit();
        QCOMPARE(endings(), 1);
        QVERIFY(!app().window()->isVisible());
        workers.open();
        spinUntil([] { return !model().work(); });
        QVERIFY(!alert());
        QVERIFY(QFileInfo::exists(root()));
    }

    void aMinimizedWindowIsBroughtBack()
    {
        app().window()->showMinimized();
        app().open();
        QVERIFY(!(app().window()->windowStates() & Qt::WindowMinimized));
        QVERIFY(app().window()->isVisible());
    }
};

QTEST_MAIN(TestBrindleApp)
#include "tst_brindleapp.moc"
