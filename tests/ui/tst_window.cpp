// The main window on the real model.

#include "ModelFixture.h"
#include "ViewFixture.h"

#include "base/Clock.h"
#include "support/Await.h"
#include "ui/BrindleApp.h"
#include "ui/QuickDesktop.h"

#include <QQmlComponent>
#include <QQuickItem>
#include <QtTest>

using namespace brindle;

class TestWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModelFixture> fixture_;
    std::unique_ptr<QQmlEngine> engine_;
    std::unique_ptr<QQuickWindow> window_;

    AppModel &app() { return fixture_->model(); }
    QQuickItem *find(const char *name)
    {
        return ViewFixture::find(window_.get(), QLatin1String(name));
    }
    QString text(const char *name)
    {
        QQuickItem *const item = find(name);
        return item ? item->property("text").toString() : QString();
    }

private Q_SLOTS:
    void initTestCase() { ViewFixture::setUpApplication(); }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        fixture_ = std::make_unique<ModelFixture>();
        engine_ = std::make_unique<QQmlEngine>();
        QQmlComponent component(engine_.get(), BrindleApp::mainWindow());
        window_.reset(qobject_cast<QQuickWindow *>(component.createWithInitialProperties(
            {{QStringLiteral("model"), QVariant::fromValue<QObject *>(&app())}})));
        QVERIFY2(window_, qPrintable(component.errorString()));
        window_->show();
        QVERIFY(QTest::qWaitForWindowActive(window_.get()));
        ViewFixture::settle(window_.get());
    }

    void cleanup()
    {
        window_.reset();
        engine_.reset();
        fixture_.reset();
    }

    void neverSmallerThanItsContentNeeds()
    {
        QCOMPARE(window_->title(), QStringLiteral("Brindle"));
        QCOMPARE(window_->minimumSize(), QSize(560, 640));
        QVERIFY(window_->width() >= 560 && window_->height() >= 640);
    }

    void asHighAsItsContentWants_data()
    {
        QTest::addColumn<QSize>("room");
        QTest::addColumn<int>("controls");
        QTest::addColumn<QSize>("lowest");
        QTest::addColumn<QSize>("highest");
        QTest::newRow("a large screen")
            << QSize(1920, 1000) << 0 << QSize(640, 640) << QSize(640, 660);
        QTest::newRow("more to show")
            << QSize(1920, 1000) << 12 << QSize(640, 760) << QSize(640, 960);
        QTest::newRow("more than fits")
            << QSize(1920, 1000) << 50 << QSize(640, 1000) << QSize(640, 1000);
        QTest::newRow("1366x768 with a panel")
            << QSize(1366, 680) << 12 << QSize(640, 680) << QSize(640, 680);
        QTest::newRow("1920x1080 at 150 %")
            << QSize(1280, 650) << 12 << QSize(640, 650) << QSize(640, 650);
        QTest::newRow("a small screen")
            << QSize(520, 400) << 12 << QSize(560, 640) << QSize(560, 640);
    }

    void asHighAsItsContentWants()
    {
        QFETCH(QSize, room);
        QFETCH(int, controls);
        QFETCH(QSize, lowest);
        QFETCH(QSize, highest);
        ProjectInfo info;
        info.controls = QStringList(controls, QStringLiteral("a line"));
        app().set(&Status::info, info);
        QQmlComponent component(engine_.get(), BrindleApp::mainWindow());
        const std::unique_ptr<QObject> object(component.createWithInitialProperties(
            {{QStringLiteral("model"), QVariant::fromValue<QObject *>(&app())},
             {QStringLiteral("room"), room}}));
        auto *const window = qobject_cast<QQuickWindow *>(object.get());
        window->show();
        ViewFixture::settle(window);
        QVERIFY2(window->width() >= lowest.width() && window->width() <= highest.width(),
                 qPrintable(QString::number(window->width())));
        QVERIFY2(window->height() >= lowest.height() && window->height() <= highest.height(),
                 qPrintable(QString::number(window->height())));
        // It has room for the rows of a download.
        const int before = window->height();
        app().set(&Status::state, AppState::downloading(QStringLiteral("x")));
        app().set(&Status::stepText, QStringLiteral("the step"));
        app().updateProgress(1'000'000, 4'000'000, 2'000'000);
        ViewFixture::settle(window);
        QCOMPARE(window->height(), before);
        const auto *const scroller = ViewFixture::find(window, QStringLiteral("scroller"));
        if (before < room.height()) {
            QVERIFY(scroller->property("contentHeight").toReal() <= before);
        }
    }

    void aFailureGetsRoom_data()
    {
        QTest::addColumn<bool>("sized");
        QTest::newRow("in the first size") << false;
        QTest::newRow("in the player's size") << true;
    }
    void aFailureGetsRoom()
    {
        QFETCH(bool, sized);
        window_->setProperty("room", QSize(1920, 1000));
        if (sized) {
            window_->resize(700, 650);
        }
        ViewFixture::settle(window_.get());
        const QSize before = window_->size();
        app().set(&Status::failure,
                  FailureReport{QStringLiteral("summary"), {QStringLiteral("line")}});
        ViewFixture::settle(window_.get());
        const auto *const scroller = find("scroller");
        if (sized) {
            QCOMPARE(window_->size(), before);
        } else {
            QVERIFY(scroller->property("contentHeight").toReal() <= window_->height());
        }
    }

    void nothingMovesInAWindowThatIsNotSeen()
    {
        app().set(&Status::state, AppState::downloading(QStringLiteral("x")));
        const QQuickItem *const bar = find("indeterminateBar");
        QVERIFY(bar);
        const auto moves = [bar] { return bar->property("moving").toBool(); };
        QVERIFY(moves());
        window_->hide();
        QVERIFY(!moves());
        window_->show();
        QVERIFY(moves());
        window_->setVisibility(QWindow::Minimized);
        QVERIFY(!moves());
        window_->setVisibility(QWindow::Windowed);
        QVERIFY(moves());
    }

    void playByKeyboardTwice()
    {
        QTest::keyClick(window_.get(), Qt::Key_Space);
        const auto work = app().work();
        QVERIFY(work);
        QTest::keyClick(window_.get(), Qt::Key_Space);
        QCOMPARE(app().work(), work);
        // The second press was for Show log, which has the focus meanwhile.
        QTest::keyClick(window_.get(), Qt::Key_Escape);
        fixture_->waitUntilIdle();
        // Nothing listens at the fixture's address.
        QCOMPARE(text("statusTitle"), QStringLiteral("Needs something"));
        QVERIFY(!text("needsMessage").isEmpty());
        QVERIFY(find("playButton")->isEnabled());
        QTRY_VERIFY2(find("playButton")->hasActiveFocus(), "the focus must come back to Play");
    }

    void aHeldKeyPlaysOnce_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::newRow("space") << Qt::Key_Space;
        QTest::newRow("return") << Qt::Key_Return;
    }

    void aHeldKeyPlaysOnce()
    {
        QFETCH(Qt::Key, key);
        const auto repeat = [&] {
            for (const auto action : {QTest::Release, QTest::Press}) {
                QTest::simulateEvent(window_.get(), action == QTest::Press, key, {}, {}, true);
            }
        };
        QTest::keyPress(window_.get(), key);
        repeat();
        repeat();
        // Play comes back, and takes the focus; the key is still down.
        fixture_->waitUntilIdle();
        QTRY_VERIFY(find("playButton")->hasActiveFocus());
        const QStringList log = app().log.lines();
        repeat();
        repeat();
        fixture_->waitUntilIdle();
        QCOMPARE(app().log.lines(), log);
        QTest::keyRelease(window_.get(), key);
    }

    void aGameFromPlayToStop()
    {
        fixture_->installByHand(ModelFixture::engineScript());
        await(app().refreshState());
        QCOMPARE(text("statusTitle"), QStringLiteral("Ready"));
        QTest::keyClick(window_.get(), Qt::Key_Return);
        spinUntil(
            [this] { return app().log.lines().contains(QStringLiteral("engine is playing")); });
        QCOMPARE(text("statusTitle"), QStringLiteral("Starting…"));
        QQuickItem *const stop = find("stopButton");
        QVERIFY(stop);
        ViewFixture::settle(window_.get());
        spinUntil([stop] {
            return !stop->findChild<QQuickItem *>(QStringLiteral("guard"))->isVisible();
        });
        QTest::mouseClick(
            window_.get(), Qt::LeftButton, {},
            stop->mapToScene(QPointF(stop->width() / 2, stop->height() / 2)).toPoint());
        fixture_->waitUntilIdle();
        QVERIFY(app().log.lines().contains(QStringLiteral("• Game stopped")));
        QCOMPARE(text("statusTitle"), QStringLiteral("Ready"));
        QVERIFY(find("playButton"));
    }

    void aHeldKeyClosesOneLayer_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<Qt::KeyboardModifier>("modifier");
        QTest::newRow("Ctrl+W") << Qt::Key_W << Qt::ControlModifier;
        QTest::newRow("Escape") << Qt::Key_Escape << Qt::NoModifier;
    }
    void aHeldKeyClosesOneLayer()
    {
        QFETCH(Qt::Key, key);
        QFETCH(Qt::KeyboardModifier, modifier);
        find("content")->setProperty("settingsShown", true);
        QTRY_VERIFY(find("doneButton"));
        for (const bool repeated : {false, true, true, true}) {
            QTest::simulateEvent(window_.get(), true, key, modifier, {}, repeated);
            QTest::qWait(1);
        }
        QTRY_VERIFY(!find("doneButton"));
        for (int i = 0; i < 3; ++i) {
            QTest::simulateEvent(window_.get(), true, key, modifier, {}, true);
        }
        QVERIFY(window_->isVisible());
    }
};

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
