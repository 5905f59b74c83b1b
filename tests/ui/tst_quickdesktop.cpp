// Tests alerts and their answers, and requests to the file browser, web browser and clipboard.

#include "ViewFixture.h"

#include "ui/QuickDesktop.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QQuickItem>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestQuickDesktop : public QObject
{
    Q_OBJECT

    std::unique_ptr<ViewFixture> view_;
    std::unique_ptr<QuickDesktop> desktop_;
    QStringList answers_; // in the order of arrival
    QList<QUrl> opened_;

    void press(Qt::Key key) { QTest::keyClick(view_->window(), key); }
    bool hasFocus(const QString &name) const { return view_->find(name)->hasActiveFocus(); }
    QString message() const { return view_->text(u"alertMessage"_s); }

    /// Asks for an alert with the message `name`. Records its answer with the name.
    void ask(const QString &name, bool isUnprompted = false)
    {
        desktop_->runAlert({name, u"<b>Really?</b>"_s, {u"Remove"_s, u"Cancel"_s}, isUnprompted})
            .then([this, name](int button) { answers_ << u"%1: %2"_s.arg(name).arg(button); });
        view_->settle();
    }

private Q_SLOTS:
    void init()
    {
        view_ = std::make_unique<ViewFixture>();
        QVERIFY(QTest::qWaitForWindowActive(view_->window()));
        desktop_ = std::make_unique<QuickDesktop>(Platform::Command());
        desktop_->setWindow(view_->window());
        answers_.clear();
        QTest::failOnWarning(QRegularExpression(u"."_s));
    }
    void cleanup()
    {
        desktop_->dismissAlert();
        QCoreApplication::processEvents(); // lets the answers arrive
        desktop_.reset();
        view_.reset();
    }

    void anAlertLiesOverTheWindow()
    {
        ask(u"one"_s);
        QCOMPARE(message(), u"one"_s);
        QCOMPARE(view_->text(u"alertText"_s), u"<b>Really?</b>"_s);
        QCOMPARE(view_->find(u"alertText"_s)->property("textFormat").toInt(), 0); // plain
        QCOMPARE(view_->text(u"alertButton0"_s), u"Remove"_s);
        QCOMPARE(view_->text(u"alertButton1"_s), u"Cancel"_s);
        QVERIFY(!view_->find(u"alertButton2"_s));
        QCOMPARE(QGuiApplication::topLevelWindows().size(), 1);
        const QQuickItem *const alert = view_->find(u"alert"_s);
        QCOMPARE(alert->width(), 460);
        QVERIFY(view_->find(u"alertButton0"_s)->property("prominent").toBool());
        const QPointF apart = alert->mapToScene(alert->boundingRect().center()) -
                              QRectF({}, view_->window()->size()).center();
        QVERIFY(apart.manhattanLength() <= 2);
    }

    void everyAnswer_data()
    {
        QTest::addColumn<QList<Qt::Key>>("keys");
        QTest::addColumn<int>("expected");
        QTest::newRow("Return") << QList{Qt::Key_Return} << 0;
        QTest::newRow("Enter") << QList{Qt::Key_Enter} << 0;
        QTest::newRow("Space") << QList{Qt::Key_Space} << 0;
        QTest::newRow("Tab, Return") << QList{Qt::Key_Tab, Qt::Key_Return} << 1;
        QTest::newRow("Tab, Enter") << QList{Qt::Key_Tab, Qt::Key_Enter} << 1;
        QTest::newRow("Tab, Space") << QList{Qt::Key_Tab, Qt::Key_Space} << 1;
        QTest::newRow("around and back") << QList{Qt::Key_Tab, Qt::Key_Tab, Qt::Key_Return} << 0;
        QTest::newRow("Escape") << QList{Qt::Key_Escape} << 1;
        QTest::newRow("Return, then Escape") << QList{Qt::Key_Return, Qt::Key_Escape} << 0;
        QTest::newRow("a click") << QList<Qt::Key>() << 1;
    }
    void everyAnswer()
    {
        QFETCH(const QList<Qt::Key>, keys);
        QFETCH(const int, expected);
        ask(u"one"_s);
        QVERIFY(hasFocus(u"alertButton0"_s));
        for (const Qt::Key key : keys) {
            press(key);
        }
        if (keys.isEmpty()) {
            // This is the second click of the double click that opened the alert.
            view_->click(u"alertButton0"_s);
            QVERIFY(view_->find(u"alert"_s));
            view_->takeClicks();
            view_->click(u"alertButton1"_s);
        }
        QTRY_COMPARE(answers_, QStringList{u"one: %1"_s.arg(expected)});
        QTRY_VERIFY(!view_->find(u"alert"_s));
        QVERIFY2(hasFocus(u"playButton"_s), "the focus must come back");
    }

    void anUnpromptedAlertIgnoresInputAtFirst_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<QString>("answer");
        QTest::newRow("Return") << Qt::Key_Return << u"one: 0"_s;
        QTest::newRow("Escape") << Qt::Key_Escape << u"one: 1"_s;
    }
    void anUnpromptedAlertIgnoresInputAtFirst()
    {
        QFETCH(const Qt::Key, key);
        QFETCH(const QString, answer);
        ask(u"one"_s, true);
        for (const auto early : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape,
                                 Qt::Key_Tab, Qt::Key_Space}) {
            press(early);
        }
        view_->click(u"alertButton0"_s);
        QVERIFY(view_->find(u"alert"_s));
        view_->takeClicks();
        QTRY_VERIFY(hasFocus(u"alertButton0"_s));
        press(key);
        QTRY_COMPARE(answers_, QStringList{answer});
    }

    void aNoticeHasOneButton()
    {
        const Alert notice{u"No saves yet"_s, u"x"_s, {}};
        const int answer = view_->withAlert(notice, [this](QQuickItem *) {
            QCOMPARE(view_->text(u"alertButton0"_s), u"OK"_s);
            QCOMPARE(view_->find(u"alertButton0"_s)->width(), 52);
            QVERIFY(!view_->find(u"alertButton1"_s));
            press(Qt::Key_Escape);
        });
        QCOMPARE(answer, 0);
    }

    void alertsAreShownOneAfterAnother()
    {
        ask(u"one"_s);
        ask(u"two"_s);
        QCOMPARE(message(), u"one"_s);
        QQuickItem *const cancel = view_->find(u"alertButton1"_s);
        // A second answer comes while the first alert fades out.
        for (int i = 0; i < 2; ++i) {
            QMetaObject::invokeMethod(cancel, "clicked");
        }
        QTRY_COMPARE(message(), u"two"_s);
        QVERIFY(hasFocus(u"alertButton0"_s));
        press(Qt::Key_Return);
        QTRY_COMPARE(answers_, (QStringList{u"one: 1"_s, u"two: 0"_s}));
    }

    void escapeClosesTheAlertOverASheet()
    {
        const QPointer<QQuickItem> sheet = view_->openSheet(u"settings"_s);
        ask(u"one"_s);
        QVERIFY(hasFocus(u"alertButton0"_s));
        press(Qt::Key_Escape);
        QTRY_COMPARE(answers_, QStringList{u"one: 1"_s});
        QVERIFY(sheet);
        QTRY_VERIFY(hasFocus(u"closeButton"_s));
        press(Qt::Key_Escape);
        QTRY_VERIFY(!sheet);
    }

    void dismissingAnswersAllWithTheLast()
    {
        desktop_->dismissAlert(); // no alert is open
        ask(u"one"_s);
        ask(u"two"_s);
        desktop_->dismissAlert();
        ask(u"three"_s);
        QTRY_COMPARE(answers_, (QStringList{u"one: 1"_s, u"two: 1"_s}));
        QTRY_COMPARE(message(), u"three"_s);
        QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection);
        QTRY_COMPARE(answers_.size(), 3);
        QCOMPARE(answers_.last(), u"three: 1"_s);
    }

    void copyReplacesTheClipboard()
    {
        desktop_->copyText(u"one"_s);
        desktop_->copyText(u"<b>two</b>\n"_s);
        QCOMPARE(QGuiApplication::clipboard()->text(), u"<b>two</b>\n"_s);
    }

    void pagesAreOpenedInTheBrowser()
    {
        const QUrl page(u"https://github.com/tessel-works/godot-brindle"_s);
        QDesktopServices::setUrlHandler(u"https"_s, this, "open");
        desktop_->openPage(page);
        QDesktopServices::unsetUrlHandler(u"https"_s);
        QCOMPARE(opened_, QList<QUrl>{page});
    }

public Q_SLOTS:
    void open(const QUrl &url) { opened_ << url; }
};

QTEST_MAIN(TestQuickDesktop)
#include "tst_quickdesktop.moc"
