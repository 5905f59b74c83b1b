// Tests the main window's size, and that a held key acts once.

#include "ModelFixture.h"
#include "ViewFixture.h"

#include "support/Await.h"

#include <QQuickItem>
#include <QStyleHints>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModelFixture> fixture_;
    std::unique_ptr<ViewFixture> view_;

    QQuickWindow *window() { return view_->window(); }
    void show(const QVariantMap &properties = {})
    {
        view_ = std::make_unique<ViewFixture>(properties);
        QVERIFY(QTest::qWaitForWindowActive(window()));
        view_->settle();
    }
    /// Shows the window on a real model.
    void showModel() { show({{u"model"_s, QVariant::fromValue<QObject *>(&fixture_->model())}}); }

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u"."_s));
        fixture_ = std::make_unique<ModelFixture>();
    }
    void cleanup()
    {
        view_.reset();
        fixture_.reset();
    }

    void theHeightFitsTheContent_data()
    {
        QTest::addColumn<QSize>("room");
        QTest::addColumn<int>("controls");
        QTest::addColumn<QSize>("lowest");
        QTest::addColumn<QSize>("highest");
        const auto row = [](const char *name, QSize room, int controls, QSize lowest,
                            QSize highest) {
            QTest::newRow(name) << room << controls << lowest << highest;
        };
        row("a large screen", {1920, 1000}, 0, {640, 640}, {640, 660});
        row("more to show", {1920, 1000}, 12, {640, 760}, {640, 960});
        row("more than fits", {1920, 1000}, 50, {640, 1000}, {640, 1000});
        row("1366x768 with a panel", {1366, 680}, 12, {640, 680}, {640, 680});
        row("1920x1080 at 150 %", {1280, 650}, 12, {640, 650}, {640, 650});
        row("a small screen", {520, 400}, 12, {560, 640}, {560, 640});
    }
    void theHeightFitsTheContent()
    {
        QFETCH(const QSize, room);
        QFETCH(const int, controls);
        QFETCH(const QSize, lowest);
        QFETCH(const QSize, highest);
        show({{u"room"_s, room}});
        view_->set({{u"controls"_s, QStringList(controls, u"a line"_s)}});
        view_->settle();
        const QSize size = window()->size();
        QCOMPARE(size, size.expandedTo(lowest).boundedTo(highest));
        // The window must have room for the rows of a download.
        view_->enter("Downloading");
        view_->set({{u"stepText"_s, u"the step"_s},
                    {u"hasProgress"_s, true},
                    {u"detail"_s, u"1 MB of 4 MB"_s}});
        view_->settle();
        QCOMPARE(window()->size(), size);
        const QQuickItem *const scroller = view_->find(u"scroller"_s);
        QCOMPARE(view_->find(u"content"_s)->property("wantedHeight"),
                 scroller->property("leastHeight"));
        if (size.height() < room.height()) {
            QCOMPARE(scroller->property("lastY").toReal(), 0.0);
        }
    }

    void aFailureGetsRoomInTheFirstSize()
    {
        show({{u"room"_s, QSize(1920, 1000)}});
        const auto fail = [this](bool hasFailure) {
            view_->set({{u"hasFailure"_s, hasFailure}});
            view_->settle();
            return window()->size();
        };
        const QSize first = window()->size();
        const QSize grown = fail(true);
        const QQuickItem *const scroller = view_->find(u"scroller"_s);
        QCOMPARE(scroller->property("contentHeight"), scroller->property("leastHeight"));
        QCOMPARE(scroller->property("lastY").toReal(), 0.0);
        // GNOME may restore an earlier size when the focus changes at the same time.
        window()->resize(first);
        Q_EMIT window()->activeChanged();
        QTRY_COMPARE(window()->size(), grown);
        fail(false);
        // The size that the player chose must stay.
        window()->resize(700, 650);
        QCOMPARE(fail(true), QSize(700, 650));
    }

    void growsIntoHalfOfTheRoom()
    {
        show({{u"room"_s, QSize(1920, 800)}, {u"share"_s, 0.5}});
        const int first = window()->height();
        view_->set({{u"hasFailure"_s, true}});
        view_->settle();
        QCOMPARE(window()->height(), first + (800 - first) / 2);
    }

    void nothingMovesInAnUnseenWindow()
    {
        showModel();
        fixture_->model().set(&Status::state, AppState::downloading(u"x"_s));
        const QQuickItem *const bar = view_->find(u"progressBar"_s);
        const auto moves = [bar] { return bar->property("moving").toBool(); };
        QVERIFY(moves());
        for (const auto unseen : {QWindow::Hidden, QWindow::Minimized}) {
            window()->setVisibility(unseen);
            QVERIFY(!moves());
            window()->setVisibility(QWindow::Windowed);
            QVERIFY(moves());
        }
    }

    void aQuickSecondPressIsForTheSameControl_data()
    {
        QTest::addColumn<int>("interval");
        QTest::addColumn<bool>("taken");
        QTest::newRow("quick") << 60'000 << false;
        QTest::newRow("not so quick") << 0 << true;
    }
    void aQuickSecondPressIsForTheSameControl()
    {
        QFETCH(const int, interval);
        QFETCH(const bool, taken);
        QGuiApplication::styleHints()->setMouseDoubleClickInterval(interval);
        show();
        const auto isLogShown = [this] {
            return view_->find(u"content"_s)->property("logShown").toBool();
        };
        QTest::keyClick(window(), Qt::Key_Space);
        view_->enter("Downloading");
        QTRY_VERIFY(view_->find(u"showLogButton"_s)->hasActiveFocus());
        QTest::keyClick(window(), Qt::Key_Space);
        QGuiApplication::styleHints()->setMouseDoubleClickInterval(-1);
        QCOMPARE(isLogShown(), taken);
        if (taken) {
            return;
        }
        // The focus moves by a key that is not a press, so the next press counts.
        for (const auto key : {Qt::Key_Tab, Qt::Key_Backtab, Qt::Key_Space}) {
            QTest::keyClick(window(), key);
        }
        QVERIFY(isLogShown());
    }

    void aHeldKeyPlaysOnce_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::newRow("Space") << Qt::Key_Space;
        QTest::newRow("Return") << Qt::Key_Return;
        QTest::newRow("Enter") << Qt::Key_Enter;
    }
    void aHeldKeyPlaysOnce()
    {
        QFETCH(const Qt::Key, key);
        showModel();
        const auto repeat = [&] {
            for (const auto action : {QTest::Release, QTest::Press}) {
                QTest::simulateEvent(window(), action == QTest::Press, key, {}, {}, true);
            }
        };
        QTest::keyPress(window(), key);
        for (int i = 0; i < 2; ++i) {
            repeat();
            // The run fails at once, because nothing listens at the fixture's address. So Play
            // returns while the key is still down.
            fixture_->waitUntilIdle();
            QTRY_VERIFY(view_->find(u"playButton"_s)->hasActiveFocus());
        }
        QTest::keyRelease(window(), key);
        fixture_->waitUntilIdle();
        QCOMPARE(fixture_->model().log.lines().filter(u"• Problem: "_s).size(), 1);
        QCOMPARE(view_->text(u"statusTitle"_s), u"Needs something"_s);
        QVERIFY(!view_->text(u"needsMessage"_s).isEmpty());
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
        QFETCH(const Qt::Key, key);
        QFETCH(const Qt::KeyboardModifier, modifier);
        show();
        view_->openSheet(u"settings"_s);
        for (const bool isRepeated : {false, true, true, true}) {
            QTest::simulateEvent(window(), true, key, modifier, {}, isRepeated);
            QCoreApplication::processEvents();
        }
        QTRY_VERIFY(!view_->find(u"closeButton"_s));
        QTest::simulateEvent(window(), true, key, modifier, {}, true);
        QVERIFY(window()->isVisible());
    }
};

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
