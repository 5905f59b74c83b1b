// The log sheet: that it shows the log, all of it and at once, follows its end, and leaves a
// selection alone.

#include "ViewFixture.h"

#include "support/Await.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickTextDocument>
#include <QTextBlock>
#include <QtTest>

#include <cmath>

using namespace brindle;

namespace {

QString line(int number)
{
    return QStringLiteral("line %1").arg(number);
}

} // namespace

class TestLogView : public QObject
{
    Q_OBJECT

    std::unique_ptr<ViewFixture> view_;
    QQuickWindow *sheet_ = nullptr;
    QQuickItem *edit_ = nullptr;
    QQuickItem *scroller_ = nullptr;

    void append(int from, int to)
    {
        for (int i = from; i <= to; ++i) {
            view_->log.append(line(i));
        }
    }

    void open()
    {
        sheet_ = view_->window();
        QVERIFY(QTest::qWaitForWindowActive(sheet_));
        view_->openSheet(QStringLiteral("log"));
        QQuickItem *const pane = view_->find(QStringLiteral("logPane"));
        edit_ = pane->property("edit").value<QQuickItem *>();
        scroller_ = pane->property("scroller").value<QQuickItem *>();
    }

    QTextDocument *document() const
    {
        return edit_->property("textDocument").value<QQuickTextDocument *>()->textDocument();
    }
    QString text() const { return document()->toPlainText(); }
    QString selected() const { return edit_->property("selectedText").toString(); }
    void select(int start, int end)
    {
        QMetaObject::invokeMethod(edit_, "select", Q_ARG(int, start), Q_ARG(int, end));
    }

    /// Serves frames until the view shows the whole log.
    void catchUp()
    {
        spinUntil([this] {
            const QString all = view_->log.lines().join(QLatin1Char('\n'));
            return text() == all;
        });
    }

    qreal contentY() const { return scroller_->property("contentY").toReal(); }
    qreal lastY() const
    {
        return qMax(0.0, scroller_->property("contentHeight").toReal() - scroller_->height());
    }

    /// The line at the top of the view.
    QString topLine() const
    {
        int position = -1;
        QMetaObject::invokeMethod(edit_, "positionAt", Q_RETURN_ARG(int, position),
                                  Q_ARG(qreal, 1.0), Q_ARG(qreal, contentY() + 6));
        return document()->findBlock(position).text();
    }

private Q_SLOTS:
    void init()
    {
        view_ = std::make_unique<ViewFixture>();
        ViewFixture::settle(view_->window());
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
    }
    void cleanup() { view_.reset(); }

    void showsWhatIsThereAndWhatComes()
    {
        append(1, 3);
        open();
        catchUp();
        QCOMPARE(text(), QStringLiteral("line 1\nline 2\nline 3"));
        append(4, 5);
        catchUp();
        QCOMPARE(text(), QStringLiteral("line 1\nline 2\nline 3\nline 4\nline 5"));
    }

    void aLongLogIsShownWholeFromItsEnd()
    {
        append(1, 5000);
        open();
        ViewFixture::settle(sheet_);
        QVERIFY(text().endsWith(line(5000)));
        QCOMPARE(contentY(), lastY());
        catchUp();
        QCOMPARE(contentY(), lastY());
    }

    void longEntriesComeInSeveralFrames()
    {
        const QString wide(3'500, u'x');
        for (int i = 0; i < 100; ++i) {
            view_->log.append(wide + QString::number(i));
        }
        open();
        catchUp();
        QCOMPARE(document()->blockCount(), 100);
    }

    void anEndlessEntryIsCut()
    {
        view_->log.append(QString(1'000'000, u'x'));
        open();
        spinUntil([this] { return text().endsWith(u'…'); });
        QCOMPARE(text().size(), 4'001);
    }

    void whatTheLogDropsGoesAway()
    {
        append(1, 4990);
        open();
        catchUp();
        append(4991, 5100);
        catchUp();
        QCOMPARE(document()->blockCount(), 5000);
        QVERIFY(text().startsWith(line(101)));
    }

    void moreThanTheWholeLogBetweenTwoFrames()
    {
        append(1, 100);
        open();
        catchUp();
        append(101, 12'000);
        catchUp();
        QVERIFY(text().startsWith(line(7001)));
        QVERIFY(text().endsWith(line(12'000)));
    }

    void manyLinesAreOneChangeAFrame()
    {
        append(1, 10);
        open();
        catchUp();
        int changes = 0;
        connect(document(), &QTextDocument::contentsChange, this, [&] { ++changes; });
        append(11, 100);
        catchUp();
        QCOMPARE(changes, 1);
        // More short lines than a frame has time for.
        append(101, 1'000);
        catchUp();
        QVERIFY2(changes > 4 && changes < 20, qPrintable(QString::number(changes)));
    }

    void anEntryOfSeveralLinesIsOneBlock()
    {
        view_->log.append(QStringLiteral("one\ntwo\nthree\r\nfour"));
        append(1, 1);
        open();
        spinUntil([this] { return document()->blockCount() == 2; });
        QCOMPARE(document()->firstBlock().text().count(QChar::LineSeparator), 3);
        QVERIFY(text().startsWith(QStringLiteral("one\ntwo\nthree\nfour\n")));
        for (int i = 0; i < 4999; ++i) {
            view_->log.append(line(i));
        }
        spinUntil(
            [this] { return text().endsWith(line(4998)) && document()->blockCount() == 5000; });
        QVERIFY2(text().startsWith(QStringLiteral("line 1")), "the whole entry must have gone");
    }

    void aSelectionIsCopiedWithoutControlCharacters()
    {
        view_->log.append(QStringLiteral("\x1b[201~rm\r\u202ecod\x07"));
        view_->log.append(QStringLiteral("\tשלום 🎮"));
        open();
        spinUntil([this] { return document()->blockCount() == 2; });
        QMetaObject::invokeMethod(edit_, "selectAll");
        QMetaObject::invokeMethod(edit_, "copy");
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("[201~rmcod\n\tשלום 🎮"));
    }

    void emptied()
    {
        append(1, 50);
        open();
        catchUp();
        view_->log.setLines({});
        QCOMPARE(text(), QStringLiteral("Nothing yet."));
        append(7, 8);
        catchUp();
        QCOMPARE(text(), QStringLiteral("line 7\nline 8"));
    }

    void anEmptyLogSaysSoInTheTextItself()
    {
        open();
        QCOMPARE(text(), QStringLiteral("Nothing yet."));
        QMetaObject::invokeMethod(edit_, "selectAll");
        QCOMPARE(selected(), QStringLiteral("Nothing yet."));
        append(1, 2);
        catchUp();
        QCOMPARE(text(), QStringLiteral("line 1\nline 2"));
        QCOMPARE(selected(), QString());
    }

    void linesAreWholeAndClearOfTheEdge()
    {
        append(1, 200);
        open();
        catchUp();
        const qreal line = scroller_->property("line").toReal();
        QCOMPARE(document()->size().height(), 200 * line);
        QCOMPARE(std::fmod(contentY(), line), 0.0);
        QCOMPARE(std::fmod(scroller_->height(), line), 0.0);
        QVERIFY(scroller_->y() >= 7);
        QVERIFY(scroller_->y() + scroller_->height() <= scroller_->parentItem()->height() - 7);
    }

    void keysScrollAtOnceAndMoreIsBelow()
    {
        append(1, 200);
        open();
        catchUp();
        QVERIFY(!view_->find(QStringLiteral("moreBelow")));
        const qreal page = scroller_->height() - scroller_->property("line").toReal();
        const auto press = [this](Qt::Key key) { QTest::keyClick(view_->window(), key); };
        press(Qt::Key_PageUp);
        QCOMPARE(contentY(), lastY() - page);
        QVERIFY(view_->find(QStringLiteral("moreBelow")));
        press(Qt::Key_PageUp);
        press(Qt::Key_PageDown);
        QCOMPARE(contentY(), lastY() - page);
        press(Qt::Key_End);
        QCOMPARE(contentY(), lastY());
        QVERIFY(!view_->find(QStringLiteral("moreBelow")));
        // Away from the end the view stays, and the button leads back.
        press(Qt::Key_Home);
        append(201, 300);
        catchUp();
        QCOMPARE(topLine(), line(1));
        view_->click(QStringLiteral("moreBelow"));
        QCOMPARE(contentY(), lastY());
    }

    void theKeyboardSelects()
    {
        append(1, 200);
        open();
        catchUp();
        ViewFixture::settle(sheet_);
        edit_->forceActiveFocus();
        // Without Shift the keys scroll.
        QTest::keyClick(sheet_, Qt::Key_Up);
        QVERIFY(contentY() < lastY());
        QCOMPARE(selected(), QString());
        scroller_->setProperty("contentY", 700);
        const QString first = topLine();
        // With it they select, from where the eye is.
        QTest::keyClick(sheet_, Qt::Key_Down, Qt::ShiftModifier);
        QCOMPARE(selected().section(u'\n', 0, 0), first);
        QCOMPARE(contentY(), 700.0);
        for (int i = 0; i < 60; ++i) {
            QTest::keyClick(sheet_, Qt::Key_Down, Qt::ShiftModifier);
        }
        QCOMPARE(selected().count(u'\n'), 61);
        QVERIFY2(contentY() > 700, "the end of the selection must be followed");
        QTest::keyClick(sheet_, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(selected(), text());
        QTest::keyClick(sheet_, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), text());
    }

    void followsTheEnd()
    {
        append(1, 100);
        open();
        catchUp();
        QCOMPARE(contentY(), lastY());
        append(101, 200);
        catchUp();
        QVERIFY(lastY() > 0);
        QCOMPARE(contentY(), lastY());
    }

    void elsewhereItKeepsItsPlace()
    {
        append(1, 5000);
        open();
        catchUp();
        scroller_->setProperty("contentY", 20'000);
        const QString before = topLine();
        QVERIFY(!before.isEmpty());
        append(5001, 5200);
        catchUp();
        QCOMPARE(topLine(), before);
        scroller_->setProperty("contentY", lastY());
        append(5201, 5300);
        catchUp();
        QCOMPARE(contentY(), lastY());
    }

    void atTheFrontItStaysThereWhileLinesGo()
    {
        append(1, 5000);
        open();
        catchUp();
        scroller_->setProperty("contentY", 0);
        append(5001, 5100);
        catchUp();
        QCOMPARE(contentY(), 0.0);
        QCOMPARE(topLine(), line(101));
    }

    void aSelectionSurvives()
    {
        append(1, 4990);
        open();
        catchUp();
        const int start = int(text().indexOf(line(2000)));
        select(start, start + 9);
        QCOMPARE(selected(), line(2000));
        append(4991, 5100);
        catchUp();
        QCOMPARE(selected(), line(2000));
    }

    void aSelectionUpToTheEndDoesNotGrow_data()
    {
        QTest::addColumn<bool>("backwards");
        QTest::newRow("forwards") << false;
        QTest::newRow("backwards") << true;
    }

    void aSelectionUpToTheEndDoesNotGrow()
    {
        QFETCH(bool, backwards);
        append(1, 10);
        open();
        catchUp();
        const int end = int(text().size());
        select(backwards ? end : end - 7, backwards ? end - 7 : end);
        QCOMPARE(selected(), line(10));
        append(11, 20);
        catchUp();
        QCOMPARE(selected(), line(10));
        QCOMPARE(edit_->property("cursorPosition").toInt(), backwards ? end - 7 : end);
    }

    void selectingWithTheMouseWhileLinesArrive()
    {
        append(1, 10);
        open();
        catchUp();
        ViewFixture::settle(sheet_);
        const QPoint from = edit_->mapToScene(QPointF(0, 5)).toPoint();
        const QPoint to = edit_->mapToScene(QPointF(300, 18)).toPoint();
        QTest::mousePress(sheet_, Qt::LeftButton, {}, from);
        append(11, 12);
        catchUp();
        QTest::mouseMove(sheet_, to);
        append(13, 14);
        catchUp();
        QTest::mouseRelease(sheet_, Qt::LeftButton, {}, to);
        QCOMPARE(selected(), QStringLiteral("line 1\nline 2"));
        append(15, 16);
        catchUp();
        QCOMPARE(selected(), QStringLiteral("line 1\nline 2"));
    }

    void openedAgainItStartsOver()
    {
        append(1, 5);
        open();
        catchUp();
        QTest::keyClick(sheet_, Qt::Key_Escape);
        append(6, 7);
        open();
        catchUp();
        QVERIFY(text().endsWith(line(7)));
    }
};

QTEST_MAIN(TestLogView)
#include "tst_logview.moc"
