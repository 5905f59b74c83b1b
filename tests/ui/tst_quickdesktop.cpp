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
#include <QTimer>
#include <QtTest>

using namespace brindle;

namespace {

const Alert question{QStringLiteral("Remove the game and the engine?"),
                     QStringLiteral("This frees 1 MB. <b>Your</b> saved games are kept."),
                     {QStringLiteral("Remove"), QStringLiteral("Cancel")}};

Platform::Command touching(const QString &file)
{
    return {QStringLiteral("touch"), {QStringLiteral("{path}/") + file}};
}

} // namespace

class TestQuickDesktop : public QObject
{
    Q_OBJECT

    std::unique_ptr<ViewFixture> view_;
    std::unique_ptr<QQmlEngine> engine_;
    std::unique_ptr<QuickDesktop> desktop_;

    /// Shows an alert, lets `act` work on its window, and returns the answer.
    int run(const Alert &alert, const std::function<void(QQuickWindow *)> &act)
    {
        QTimer waiter;
        connect(&waiter, &QTimer::timeout, this, [&] {
            QQuickWindow *const window = desktop_->alertWindow();
            if (window && QGuiApplication::focusWindow() == window) {
                waiter.stop();
                const QPointer<QQuickWindow> shown = window;
                act(window);
                // A failed check leaves early, and nobody has answered.
                if (QTest::currentTestFailed() && shown) {
                    shown->close();
                }
            }
        });
        waiter.start(1);
        return await(desktop_->runAlert(alert));
    }

    /// Shows a path by these commands, and waits until that has ended.
    static void reveal(const QList<Platform::Command> &commands, const QString &path)
    {
        QuickDesktop desktop(commands);
        desktop.reveal(path);
        spinUntil([&] { return !desktop.isRevealing(); });
    }

    QQuickItem *find(QQuickWindow *window, const char *name)
    {
        return view_->find(QLatin1String(name), window);
    }

    /// As a player would: not with the second click of a double click.
    void click(QQuickWindow *window, const char *name)
    {
        const QQuickItem *const guard = find(window, "guard");
        QTRY_VERIFY(!guard || !guard->isVisible());
        clickAtOnce(window, name);
    }

    void clickAtOnce(QQuickWindow *window, const char *name)
    {
        ViewFixture::settle(window);
        QQuickItem *const button = find(window, name);
        const QPointF centre =
            button->mapToScene(QPointF(button->width() / 2, button->height() / 2));
        QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
    }

private Q_SLOTS:
    void init()
    {
        view_ = std::make_unique<ViewFixture>();
        QVERIFY(QTest::qWaitForWindowActive(view_->window()));
        engine_ = std::make_unique<QQmlEngine>();
        desktop_ = std::make_unique<QuickDesktop>(QList<Platform::Command>{});
        desktop_->setWindow(engine_.get(), view_->window());
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
    }

    void cleanup()
    {
        desktop_.reset();
        engine_.reset();
        view_.reset();
    }

    void aDoubleClickThatOpenedItDoesNotSayYes()
    {
        const int answer = run(question, [&](QQuickWindow *window) {
            clickAtOnce(window, "alertButton0");
            QTest::keyClick(window, Qt::Key_Escape);
        });
        QCOMPARE(answer, 1);
    }

    void showsTextsAndButtonsInOrder()
    {
        const int answer = run(question, [&](QQuickWindow *window) {
            QCOMPARE(find(window, "alertMessage")->property("text").toString(), question.message);
            QQuickItem *const text = find(window, "alertText");
            QCOMPARE(text->property("text").toString(), question.informativeText);
            QCOMPARE(text->property("textFormat").toInt(), 0); // plain
            QCOMPARE(find(window, "alertButton0")->property("text").toString(),
                     QStringLiteral("Remove"));
            QCOMPARE(find(window, "alertButton1")->property("text").toString(),
                     QStringLiteral("Cancel"));
            QVERIFY(!find(window, "alertButton2"));
            QCOMPARE(window->modality(), Qt::WindowModal);
            QCOMPARE(window->transientParent(), view_->window());
            QCOMPARE(window->minimumSize(), window->maximumSize());
            const QPoint apart = window->geometry().center() - view_->window()->geometry().center();
            QVERIFY(apart.manhattanLength() <= 2);
            QTest::keyClick(window, Qt::Key_Escape);
        });
        QCOMPARE(answer, 1);
        QVERIFY(!desktop_->alertWindow());
    }

    void everyWayToAnswer_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<int>("expected");
        QTest::newRow("return") << int(Qt::Key_Return) << QByteArray() << 0;
        QTest::newRow("enter") << int(Qt::Key_Enter) << QByteArray() << 0;
        QTest::newRow("escape") << int(Qt::Key_Escape) << QByteArray() << 1;
        QTest::newRow("first") << 0 << QByteArray("alertButton0") << 0;
        QTest::newRow("last") << 0 << QByteArray("alertButton1") << 1;
        QTest::newRow("close") << 0 << QByteArray() << 1;
    }

    void everyWayToAnswer()
    {
        QFETCH(int, key);
        QFETCH(QByteArray, button);
        QFETCH(int, expected);
        const int answer = run(question, [&](QQuickWindow *window) {
            if (key != 0) {
                QTest::keyClick(window, Qt::Key(key));
            } else if (!button.isEmpty()) {
                click(window, button.constData());
            } else {
                window->close();
            }
        });
        QCOMPARE(answer, expected);
    }

    void theFirstAnswerCounts()
    {
        const int answer = run(question, [](QQuickWindow *window) {
            for (const int index : {0, 1}) {
                QMetaObject::invokeMethod(window, "answered", Q_ARG(int, index));
            }
        });
        QCOMPARE(answer, 0);
    }

    void tabAndSpacePressTheOtherButton()
    {
        const int answer = run(question, [&](QQuickWindow *window) {
            QVERIFY(find(window, "alertButton0")->hasActiveFocus());
            QTest::keyClick(window, Qt::Key_Tab);
            QVERIFY(find(window, "alertButton1")->hasActiveFocus());
            QTest::keyClick(window, Qt::Key_Space);
        });
        QCOMPARE(answer, 1);
    }

    void aNoticeHasOneButton()
    {
        const Alert notice{QStringLiteral("No saves yet"), QStringLiteral("x"), {}};
        const int answer = run(notice, [&](QQuickWindow *window) {
            QCOMPARE(find(window, "alertButton0")->property("text").toString(),
                     QStringLiteral("OK"));
            QVERIFY(!find(window, "alertButton1"));
            QTest::keyClick(window, Qt::Key_Escape);
        });
        QCOMPARE(answer, 0);
    }

    void alertsAreShownOneAfterAnother()
    {
        std::optional<int> second;
        const int first = run(question, [&](QQuickWindow *window) {
            desktop_->runAlert(question).then([&](int pressed) { second = pressed; });
            QCOMPARE(desktop_->alertWindow(), window);
            QTest::keyClick(window, Qt::Key_Escape);
        });
        QCOMPARE(first, 1);
        spinUntil([&] {
            return desktop_->alertWindow() &&
                   QGuiApplication::focusWindow() == desktop_->alertWindow();
        });
        QVERIFY(!second);
        QTest::keyClick(desktop_->alertWindow(), Qt::Key_Return);
        spinUntil([&] { return second.has_value(); });
        QCOMPARE(*second, 0);
        QVERIFY(!desktop_->alertWindow());
    }

    void eventsAreServedMeanwhile()
    {
        int served = 0;
        QTimer::singleShot(0, this, [&] { ++served; });
        run(question, [](QQuickWindow *window) { window->close(); });
        QCOMPARE(served, 1);
    }

    void anAlertLiesOverTheOpenSheet()
    {
        QQuickWindow *const sheet = view_->openSheet(QStringLiteral("settings"));
        QVERIFY(QTest::qWaitForWindowActive(sheet));
        run(question, [&](QQuickWindow *window) {
            QCOMPARE(window->transientParent(), sheet);
            window->close();
        });
    }

    void withoutAWindowItStandsAlone()
    {
        view_->window()->close();
        const int answer = run(question, [&](QQuickWindow *window) {
            QVERIFY(!window->transientParent());
            QCOMPARE(window->modality(), Qt::ApplicationModal);
            QTest::keyClick(window, Qt::Key_Return);
        });
        QCOMPARE(answer, 0);
    }

    void dismissingAnswersWithTheLast()
    {
        desktop_->dismissAlert(); // nothing is asked
        int second = -1;
        const int answer = run(question, [&](QQuickWindow *window) {
            desktop_->dismissAlert();
            QVERIFY(!window->isVisible());
            // Another one is shown next, although the first call has not returned.
            second =
                run(question, [](QQuickWindow *next) { QTest::keyClick(next, Qt::Key_Return); });
        });
        QCOMPARE(second, 0);
        QCOMPARE(answer, 1);
    }

    void theApplicationsEndAnswersWithTheLast()
    {
        const int answer = run(question, [](QQuickWindow *) {
            QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection);
        });
        QCOMPARE(answer, 1);
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
            {QStringLiteral("cp"), {QStringLiteral("{path}"), QStringLiteral("{folder}/copy")}}};
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
