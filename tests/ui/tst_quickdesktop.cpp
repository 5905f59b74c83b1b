// Alerts, the file browser and the clipboard.

#include "ViewFixture.h"

#include "support/Await.h"
#include "ui/QuickDesktop.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QQuickItem>
#include <QTemporaryDir>
#include <QtTest>

using namespace brindle;

namespace {

const Alert question{QStringLiteral("Remove the game and the engine?"),
                     QStringLiteral("This frees 1 MB. <b>Your</b> saved games are kept."),
                     {QStringLiteral("Remove"), QStringLiteral("Cancel")}};

Platform::Command touching(const QString &file)
{
    return {QStringLiteral("sh"),
            {QStringLiteral("-c"), QStringLiteral("touch \"$0/%1\"").arg(file),
             QStringLiteral("{path}")}};
}

} // namespace

class TestQuickDesktop : public QObject
{
    Q_OBJECT

    std::unique_ptr<ViewFixture> view_;
    std::unique_ptr<QuickDesktop> desktop_;
    QStringList answers_; // in the order in which they came

    QQuickItem *find(const char *name) { return view_->find(QLatin1String(name)); }
    QString shown(const char *name)
    {
        QQuickItem *const item = find(name);
        return item ? item->property("text").toString() : QString();
    }
    void press(Qt::Key key) { QTest::keyClick(view_->window(), key); }

    /// Asks for an alert whose message is `name`. Its answer is recorded with the name.
    void ask(const QString &name, bool unprompted = false)
    {
        desktop_->runAlert({name, question.informativeText, question.buttons, unprompted})
            .then([this, name](int button) {
                answers_ << QStringLiteral("%1: %2").arg(name).arg(button);
            });
        ViewFixture::settle(view_->window());
    }

    /// As a player would: not with the second click of a double click.
    void click(const char *name)
    {
        spinUntil([this] { return !find("guard"); });
        view_->click(QLatin1String(name));
    }

    /// Shows a path by these commands, and waits until that has ended.
    static void reveal(const QList<Platform::Command> &commands, const QString &path)
    {
        QuickDesktop desktop(commands);
        desktop.reveal(path);
        spinUntil([&] { return !desktop.isRevealing(); });
    }

private Q_SLOTS:
    void init()
    {
        view_ = std::make_unique<ViewFixture>();
        QVERIFY(QTest::qWaitForWindowActive(view_->window()));
        spinUntil([this] { return !find("guard"); });
        desktop_ = std::make_unique<QuickDesktop>(QList<Platform::Command>{});
        desktop_->setWindow(view_->engine(), view_->window());
        answers_.clear();
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
    }

    void cleanup()
    {
        desktop_->dismissAlert();
        QCoreApplication::processEvents(); // those who asked go on, and end
        desktop_.reset();
        view_.reset();
    }

    void anAlertLiesOverTheWindow()
    {
        ask(question.message);
        QCOMPARE(shown("alertMessage"), question.message);
        QCOMPARE(shown("alertText"), question.informativeText);
        QCOMPARE(find("alertText")->property("textFormat").toInt(), 0); // plain
        QCOMPARE(shown("alertButton0"), QStringLiteral("Remove"));
        QCOMPARE(shown("alertButton1"), QStringLiteral("Cancel"));
        QVERIFY(!find("alertButton2"));
        QCOMPARE(QGuiApplication::topLevelWindows().size(), 1);
        const QQuickItem *const alert = find("alert");
        QCOMPARE(alert->width(), 420);
        const QPointF apart = alert->mapToScene(alert->boundingRect().center()) -
                              QRectF({}, view_->window()->size()).center();
        QVERIFY(apart.manhattanLength() <= 2);
    }

    void everyWayToAnswer_data()
    {
        QTest::addColumn<QList<int>>("keys");
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<int>("expected");
        const QByteArray none;
        QTest::newRow("Return") << QList<int>{Qt::Key_Return} << none << 0;
        QTest::newRow("Enter") << QList<int>{Qt::Key_Enter} << none << 0;
        QTest::newRow("Space") << QList<int>{Qt::Key_Space} << none << 0;
        QTest::newRow("Tab, Return") << QList<int>{Qt::Key_Tab, Qt::Key_Return} << none << 1;
        QTest::newRow("Tab, Enter") << QList<int>{Qt::Key_Tab, Qt::Key_Enter} << none << 1;
        QTest::newRow("Tab, Space") << QList<int>{Qt::Key_Tab, Qt::Key_Space} << none << 1;
        QTest::newRow("around and back")
            << QList<int>{Qt::Key_Tab, Qt::Key_Tab, Qt::Key_Return} << none << 0;
        QTest::newRow("Escape") << QList<int>{Qt::Key_Escape} << none << 1;
        QTest::newRow("the first button") << QList<int>() << QByteArray("alertButton0") << 0;
        QTest::newRow("the last button") << QList<int>() << QByteArray("alertButton1") << 1;
    }
    void everyWayToAnswer()
    {
        QFETCH(QList<int>, keys);
        QFETCH(QByteArray, button);
        QFETCH(int, expected);
        ask(QStringLiteral("one"));
        QVERIFY(find("alertButton0")->hasActiveFocus());
        for (const int key : std::as_const(keys)) {
            press(Qt::Key(key));
        }
        if (!button.isEmpty()) {
            click(button.constData());
        }
        QTRY_COMPARE(answers_, QStringList{QStringLiteral("one: %1").arg(expected)});
        QTRY_VERIFY(!find("alert"));
        QVERIFY2(find("playButton")->hasActiveFocus(), "the focus must come back");
    }

    void theFirstAnswerCounts()
    {
        ask(QStringLiteral("one"));
        press(Qt::Key_Return);
        press(Qt::Key_Escape);
        QTRY_COMPARE(answers_, QStringList{QStringLiteral("one: 0")});
        QVERIFY(!desktop_->alert());
    }

    void aDoubleClickThatOpenedItAnswersNothing()
    {
        ask(QStringLiteral("one"));
        view_->click(QStringLiteral("alertButton0"));
        view_->click(QStringLiteral("alertButton1"));
        QVERIFY(desktop_->alert());
        click("alertButton0");
        QTRY_COMPARE(answers_, QStringList{QStringLiteral("one: 0")});
    }

    void anUnpromptedAlertIgnoresKeysAtFirst_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<int>("expected");
        QTest::newRow("Return") << Qt::Key_Return << 0;
        QTest::newRow("Escape") << Qt::Key_Escape << 1;
    }
    void anUnpromptedAlertIgnoresKeysAtFirst()
    {
        QFETCH(Qt::Key, key);
        QFETCH(int, expected);
        ask(QStringLiteral("one"), true);
        for (const auto early : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape}) {
            press(early);
        }
        press(Qt::Key_Tab);
        press(Qt::Key_Space);
        view_->click(QStringLiteral("alertButton0"));
        QVERIFY(desktop_->alert());
        spinUntil([this] { return !find("guard"); });
        QTRY_VERIFY(find("alertButton0")->hasActiveFocus());
        press(key);
        QTRY_COMPARE(answers_, QStringList{QStringLiteral("one: %1").arg(expected)});
    }

    void aNoticeHasOneButton()
    {
        const Alert notice{QStringLiteral("No saves yet"), QStringLiteral("x"), {}};
        const int answer = view_->withAlert(notice, [this](QQuickItem *) {
            QCOMPARE(shown("alertButton0"), QStringLiteral("OK"));
            QVERIFY(!find("alertButton1"));
            press(Qt::Key_Escape);
        });
        QCOMPARE(answer, 0);
    }

    void alertsAreShownOneAfterAnother()
    {
        ask(QStringLiteral("one"));
        ask(QStringLiteral("two"));
        QCOMPARE(shown("alertMessage"), QStringLiteral("one"));
        press(Qt::Key_Escape);
        QTRY_COMPARE(shown("alertMessage"), QStringLiteral("two"));
        QVERIFY(find("alertButton0")->hasActiveFocus());
        press(Qt::Key_Return);
        QTRY_COMPARE(answers_, (QStringList{QStringLiteral("one: 1"), QStringLiteral("two: 0")}));
    }

    void anAlertLiesOverTheOpenSheet()
    {
        const QPointer<QQuickItem> sheet = view_->openSheet(QStringLiteral("settings"));
        ask(QStringLiteral("one"));
        QVERIFY(find("alertButton0")->hasActiveFocus());
        press(Qt::Key_Escape);
        QTRY_COMPARE(answers_, QStringList{QStringLiteral("one: 1")});
        QVERIFY2(sheet, "Escape closes one of them only");
        QTRY_VERIFY(find("doneButton")->hasActiveFocus());
        press(Qt::Key_Escape);
        QTRY_VERIFY(!sheet);
    }

    void aHiddenWindowIsShownForTheQuestion()
    {
        QTest::ignoreMessage(QtWarningMsg, "This plugin does not support raise()");
        view_->window()->hide();
        ask(QStringLiteral("one"));
        QVERIFY(view_->window()->isVisible());
        press(Qt::Key_Return);
        QTRY_COMPARE(answers_, QStringList{QStringLiteral("one: 0")});
    }

    void dismissingAnswersAllWithTheLast()
    {
        desktop_->dismissAlert(); // nothing is asked
        ask(QStringLiteral("one"));
        ask(QStringLiteral("two"));
        desktop_->dismissAlert();
        ask(QStringLiteral("three"));
        QTRY_COMPARE(answers_, (QStringList{QStringLiteral("one: 1"), QStringLiteral("two: 1")}));
        QTRY_COMPARE(shown("alertMessage"), QStringLiteral("three"));
        QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection);
        QTRY_COMPARE(answers_.size(), 3);
        QCOMPARE(answers_.last(), QStringLiteral("three: 1"));
    }

    void copyReplacesTheClipboard()
    {
        desktop_->copyText(QStringLiteral("one"));
        desktop_->copyText(QStringLiteral("<b>two</b>\n"));
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("<b>two</b>\n"));
    }

    void pagesAreOpenedInTheBrowser()
    {
        const QUrl page(QStringLiteral("https://github.com/tessel-works/godot-brindle"));
        QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "opened");
        desktop_->openPage(page);
        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
        QCOMPARE(opened_, QList<QUrl>{page});
    }

    void revealTriesUntilOneSucceeds()
    {
        QTemporaryDir folder;
        const QList<Platform::Command> commands{
            {QStringLiteral("/no/such/program"), {}},
            {QStringLiteral("false"), {}},
            touching(QStringLiteral("first")),
            touching(QStringLiteral("second")),
        };
        reveal(commands, folder.path());
        QVERIFY(QFile::exists(folder.filePath(QStringLiteral("first"))));
        QVERIFY2(!QFile::exists(folder.filePath(QStringLiteral("second"))),
                 "a command ran although the one before it had succeeded");
    }

    void revealEndsWhenNothingWorked()
    {
        reveal({{QStringLiteral("false"), {}}}, QStringLiteral("/"));
        reveal({}, QStringLiteral("/"));
    }

    void revealOpensTheFolderOfAFile()
    {
        QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("a, b;$(c) 'd'")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        const QList<Platform::Command> commands{
            {QStringLiteral("sh"),
             {QStringLiteral("-c"), QStringLiteral("cp \"$0\" \"$1/copy\""),
              QStringLiteral("{path}"), QStringLiteral("{folder}")}}};
        reveal(commands, file.fileName());
        QVERIFY(QFile::exists(folder.filePath(QStringLiteral("copy"))));
    }

    void revealDoesNotWait()
    {
        QTemporaryDir folder;
        QuickDesktop desktop({touching(QStringLiteral("done"))});
        desktop.reveal(folder.path());
        QVERIFY(desktop.isRevealing());
        const QString mark = folder.filePath(QStringLiteral("done"));
        spinUntil([&] { return QFile::exists(mark); });
        spinUntil([&] { return !desktop.isRevealing(); });
    }

public Q_SLOTS:
    void opened(const QUrl &url) { opened_ << url; }

private:
    QList<QUrl> opened_;
};

QTEST_MAIN(TestQuickDesktop)
#include "tst_quickdesktop.moc"
