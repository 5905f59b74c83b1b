// Tests the application's start and end, on the process-wide model.

#include "AppFixture.h"

#include "support/Await.h"

#include <QGuiApplication>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestBrindleApp : public AppFixture
{
    Q_OBJECT

    QQuickWindow &window() { return *app().window(); }
    void close() { window().close(); }
private Q_SLOTS:
    void initTestCase() { prepare(); }
    void init() { start(); }
    void cleanup() { stop(); }

    void oneWindow()
    {
        QCOMPARE(window().title(), u"Brindle"_s);
        QCOMPARE(window().minimumSize(), QSize(560, 640));
        QCOMPARE(QGuiApplication::topLevelWindows().size(), 1);
        QCOMPARE(model().state(), AppState::ready());
    }

    void theIconIsThere()
    {
        QGuiApplication::setWindowIcon({});
        stop();
        start();
        spinUntil([] { return !QGuiApplication::windowIcon().isNull(); });
        for (const int side : {16, 128}) {
            const QImage icon = QGuiApplication::windowIcon().pixmap(side).toImage();
            QCOMPARE(icon.width(), side);
            QCOMPARE(qAlpha(icon.pixel(side / 2, side / 2)), 255);
        }
    }

    void anIdleApplicationEndsAtOnce_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::newRow("the window is closed") << QString();
        QTest::newRow("quit") << u"Ctrl+Q"_s;
        QTest::newRow("close window") << u"Ctrl+W"_s;
    }
    void anIdleApplicationEndsAtOnce()
    {
        QFETCH(const QString, keys);
        if (keys.isEmpty()) {
            close();
        } else {
            window().requestActivate();
            QVERIFY(QTest::qWaitForWindowActive(&window()));
            QTest::keySequence(&window(), QKeySequence(keys));
        }
        spinUntil([this] { return endings() > 0; });
        QVERIFY(!alert());
    }

    void keepOpenKeepsTheProcessWithoutAWindow()
    {
        startGame();
        const auto closeTheWindow = [this] {
            ask([this] { close(); }, 1,
                [this] {
                    QCOMPARE(text(u"alertMessage"_s), u"The game is still running"_s);
                    QCOMPARE(text(u"alertText"_s), u"Quitting will close the game too."_s);
                    QVERIFY2(window().isVisible(), "the question is asked in the window");
                    close(); // repeats the request
                });
            QTRY_VERIFY(!window().isVisible());
            QVERIFY(model().gameRunning());
        };
        closeTheWindow();
        // Starting the launcher again brings the window back.
        app().open("a token");
        QVERIFY(window().isVisible());
        QCOMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), "a token");
        qunsetenv("XDG_ACTIVATION_TOKEN");
        // A request to quit brings the window back, too, with its question.
        closeTheWindow();
        ask([this] { app().requestQuit(); }, 1, [this] { QVERIFY(window().isVisible()); });
        // The Dock's click brings the window back, too.
        closeTheWindow();
        Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationActive);
        QVERIFY(window().isVisible());
        // The game's end brings the window back, too.
        closeTheWindow();
        finishGame();
        QVERIFY(window().isVisible());
        QCOMPARE(endings(), 0);
    }

    void theWindowStaysWhenTheGameHasEndedBefore()
    {
        startGame();
        ask([this] { close(); }, 1, [this] { finishGame(); });
        QCoreApplication::processEvents();
        QVERIFY(window().isVisible());
        QCOMPARE(endings(), 0);
    }

    void aSecondStartBringsTheQuestionForward()
    {
        startGame();
        ask([this] { app().requestQuit(); }, 1,
            [this] {
                const QPointer<QQuickItem> question = alert();
                window().setWindowStates(Qt::WindowMaximized | Qt::WindowMinimized);
                app().open("a token");
                QCOMPARE(window().windowStates(), Qt::WindowMaximized);
                QCOMPARE(alert(), question.data());
            });
        finishGame();
    }

    void everyRequestAsksAgain()
    {
        const auto ours = [this] { app().requestQuit(); };
        const auto thePlatforms = [] {
            QEvent event(QEvent::Quit);
            QCoreApplication::sendEvent(qGuiApp, &event);
            QVERIFY(!event.isAccepted());
        };
        startGame();
        for (const std::function<void()> &request : {std::function<void()>(ours), {thePlatforms}}) {
            ask(request, 1, [&] {
                const QPointer<QQuickItem> first = alert();
                request(); // the open question answers it
                QCOMPARE(alert(), first.data());
            });
            QCOMPARE(endings(), 0);
        }
        finishGame();
    }

    void quitEndsTheGameFirst()
    {
        startGame();
        ask([this] { app().requestQuit(); }, 0);
        QTRY_COMPARE(endings(), 1);
        QVERIFY(!window().isVisible());
        spinUntil([] { return !model().work(); });
        QVERIFY(model().log.lines().contains(u"• Game stopped"_s));
        // While the application ends, nothing brings the window back.
        app().open();
        QVERIFY(!window().isVisible());
        QCOMPARE(endings(), 1);
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
                QCOMPARE(text(u"alertMessage"_s), u"Remove the game and the engine?"_s);
                isQuit ? app().requestQuit() : app().forceQuit();
                QCOMPARE(endings(), 1);
                QVERIFY(!alert());
            });
        QVERIFY2(QFileInfo::exists(root()), "nobody has said Remove");
        QCOMPARE(model().state(), AppState::ready());
    }

    void aNoticeGivesWayToTheQuestion()
    {
        startGame();
        bool isAsked = false;
        ask([] { model().showSaves(); }, 1,
            [&] {
                QCOMPARE(text(u"alertMessage"_s), u"No saves yet"_s);
                ask([this] { app().requestQuit(); }, 1,
                    [&] {
                        isAsked = true;
                        QCOMPARE(text(u"alertMessage"_s), u"The game is still running"_s);
                    });
            });
        QVERIFY(isAsked);
        QCOMPARE(endings(), 0);
        finishGame();
    }
};

QTEST_MAIN(TestBrindleApp)
#include "tst_brindleapp.moc"
