// The application's way in and its ways out, on the process-wide model.

#include "ModelFixture.h"

#include "services/SteadyClock.h"
#include "support/Await.h"

#include "ui/BrindleApp.h"
#include "ui/Views.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QSignalSpy>
#include <QtTest>

using namespace brindle;

class TestBrindleApp : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModelFixture> files_;
    std::shared_ptr<QuickDesktop> desktop_ =
        std::make_shared<QuickDesktop>(QList<Platform::Command>());
    std::unique_ptr<BrindleApp> app_;
    std::unique_ptr<QSignalSpy> endings_;

    static AppModel &model() { return AppModel::shared(); }
    QString project() const { return files_->root(QStringLiteral("Game/godot-brindle-main")); }
    QQuickWindow *alert() const { return desktop_->alertWindow(); }

    void startGame()
    {
        const auto games = [] {
            return model().log.lines().count(QStringLiteral("engine is playing"));
        };
        const auto before = games();
        model().startWork(true);
        spinUntil([games, before] { return games() > before; });
    }

    void finishGame()
    {
        ModelFixture::finishGame(project(), 0);
        spinUntil([] { return !model().work(); });
    }

    /// Makes a request that leads to a question; while it is shown calls `meanwhile`, then presses
    /// the button of that index. The request serves events until then, so all of it runs from
    /// there.
    void ask(
        const std::function<void()> &request, int button,
        const std::function<void()> &meanwhile = [] {})
    {
        bool answered = false;
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&] {
            if (alert() && alert()->isExposed()) {
                watch.stop();
                meanwhile();
                answered = true;
                QMetaObject::invokeMethod(alert(), "answered", Q_ARG(int, button));
            }
        });
        watch.start(5);
        request();
        spinUntil([&] { return answered && !alert(); });
    }

    QString alertText(const char *name) const
    {
        auto *const item = alert()->findChild<QQuickItem *>(QLatin1String(name));
        return item ? item->property("text").toString() : QString();
    }

    void close() { app_->window()->close(); }
    void quit() { app_->quit(); }

private Q_SLOTS:
    void initTestCase()
    {
        Views::prepare();
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        files_ = std::make_unique<ModelFixture>(std::make_shared<SteadyClock>());
        files_->installByHand(ModelFixture::engineScript());
        AppModel::compose([this] {
            AppModelParts parts;
            parts.storageRoot = files_->root();
            parts.temporaryFolder = files_->temporaryFolder();
            parts.settings =
                std::make_unique<QSettings>(files_->settingsFile(), QSettings::IniFormat);
            parts.codeHost = files_->codeHost;
            parts.platform = files_->platform;
            parts.desktop = desktop_;
            parts.clock = files_->clock;
            return parts;
        });
    }

    void init()
    {
        // An earlier test's end of the application still keeps event loops from running.
        QTimer::singleShot(0, this, [] { QCoreApplication::exit(0); });
        QGuiApplication::exec();
        app_ = std::make_unique<BrindleApp>(desktop_);
        endings_ = std::make_unique<QSignalSpy>(app_.get(), &BrindleApp::ending);
        app_->open();
        QVERIFY(QTest::qWaitForWindowExposed(app_->window()));
    }

    void cleanup()
    {
        if (model().work()) {
            model().cancel();
            spinUntil([] { return !model().work(); });
        }
        app_.reset();
    }

    void oneWindow()
    {
        QCOMPARE(app_->window()->title(), QStringLiteral("Brindle"));
        QCOMPARE(app_->window()->minimumSize(), QSize(560, 640));
        QCOMPARE(QGuiApplication::topLevelWindows().size(), 1);
        QCOMPARE(app_->launcher().phase(), QStringLiteral("ready"));
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
        spinUntil([this] { return !endings_->isEmpty(); });
        QVERIFY(!alert());
    }

    void keepOpenKeepsTheProcessWithoutAWindow()
    {
        startGame();
        ask([this] { close(); }, 1,
            [this] {
                QCOMPARE(alertText("alertMessage"), QStringLiteral("The game is still running"));
                QCOMPARE(alertText("alertText"),
                         QStringLiteral("Quitting will close the game too."));
                QVERIFY(!app_->window()->isVisible());
            });
        QVERIFY(!app_->window()->isVisible());
        QVERIFY(endings_->isEmpty());
        QVERIFY(model().gameRunning());

        // Starting the launcher again brings the window back.
        app_->open("a token");
        QVERIFY(app_->window()->isVisible());
        finishGame();
        QVERIFY(endings_->isEmpty());
    }

    void theWindowComesBackWhenTheGameHasEnded()
    {
        startGame();
        ask([this] { close(); }, 1);
        QVERIFY(!app_->window()->isVisible());
        finishGame();
        QVERIFY(app_->window()->isVisible());
        QVERIFY(endings_->isEmpty());
    }

    void aGameThatEndsDuringTheQuestionBringsItBackAfterwards()
    {
        startGame();
        ask([this] { close(); }, 1,
            [this] {
                finishGame();
                QVERIFY(!app_->window()->isVisible());
            });
        spinUntil([this] { return app_->window()->isVisible(); });
        QVERIFY(endings_->isEmpty());
    }

    void twoRequestsAskTwice()
    {
        startGame();
        for (int i = 0; i < 2; ++i) {
            ask([this] { quit(); }, 1, [this] { QVERIFY(app_->window()->isVisible()); });
            QVERIFY(endings_->isEmpty());
        }
        finishGame();
    }

    void aRequestDuringTheQuestionOpensNoSecondOne()
    {
        startGame();
        ask([this] { quit(); }, 1,
            [this] {
                const QPointer<QQuickWindow> first = alert();
                app_->quit();
                QCOMPARE(alert(), first.data());
                QVERIFY(endings_->isEmpty());
            });
        finishGame();
    }

    void quitEndsTheGameFirst()
    {
        startGame();
        ask([this] { quit(); }, 0);
        QCOMPARE(endings_->size(), 1);
        QVERIFY(!app_->window()->isVisible());
        spinUntil([] { return !model().work(); });
        QVERIFY(model().log.lines().contains(QStringLiteral("• Game stopped")));
        // Nothing brings the window back now.
        app_->open();
        QVERIFY(!app_->window()->isVisible());
        QCOMPARE(endings_->size(), 1);
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
        app_->window()->requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(app_->window()));
        QTest::keyClick(app_->window(), key, Qt::ControlModifier);
        spinUntil([this] { return !endings_->isEmpty(); });
    }

    void thePlatformsQuitAsks()
    {
        startGame();
        QEvent request(QEvent::Quit);
        ask([&request] { QCoreApplication::sendEvent(qGuiApp, &request); }, 1);
        QVERIFY(!request.isAccepted());
        QVERIFY(endings_->isEmpty());
        finishGame();
    }

    void theEndOfTheProcessAsksNothing()
    {
        startGame();
        app_->end();
        QVERIFY(!alert());
        QCOMPARE(endings_->size(), 1);
        spinUntil([] { return !model().work(); });
        app_->end();
        QCOMPARE(endings_->size(), 1);
    }

    void aMinimizedWindowIsBroughtBack()
    {
        app_->window()->showMinimized();
        app_->open();
        QVERIFY(!(app_->window()->windowStates() & Qt::WindowMinimized));
        QVERIFY(app_->window()->isVisible());
    }
};

QTEST_MAIN(TestBrindleApp)
#include "tst_brindleapp.moc"
