// Tests that the log sheet shows the whole log, follows its end, and leaves selections alone.

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
using namespace Qt::StringLiterals;

namespace {

QString line(int number)
{
    return u"line %1"_s.arg(number);
}

} // namespace

class TestLogView : public QObject
{
    Q_OBJECT

    std::unique_ptr<ViewFixture> view_;
    QQuickItem *edit_ = nullptr;
    QQuickItem *scroller_ = nullptr;

    LogStore &log() { return view_->log(); }
    void append(int from, int to)
    {
        for (int i = from; i <= to; ++i) {
            log().append(line(i));
        }
    }
    void open()
    {
        QVERIFY(QTest::qWaitForWindowActive(view_->window()));
        view_->openSheet(u"log"_s);
        const QQuickItem *const pane = view_->find(u"logPane"_s);
        edit_ = pane->property("edit").value<QQuickItem *>();
        scroller_ = pane->property("scroller").value<QQuickItem *>();
    }
    /// Waits until the view shows the whole log.
    void catchUp()
    {
        const QStringList lines = log().lines();
        spinUntil([&] {
            return document()->blockCount() == lines.size() &&
                   document()->lastBlock().text() == lines.last();
        });
        QCOMPARE(text(), lines.join(u'\n'));
    }
    void openWith(int lines)
    {
        append(1, lines);
        open();
        catchUp();
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(view_->window(), key, modifiers);
    }

    QTextDocument *document() const
    {
        return edit_->property("textDocument").value<QQuickTextDocument *>()->textDocument();
    }
    QString text() const { return document()->toPlainText(); }
    QString selected() const { return edit_->property("selectedText").toString(); }
    void select(qsizetype start, qsizetype end)
    {
        QMetaObject::invokeMethod(edit_, "select", Q_ARG(int, int(start)), Q_ARG(int, int(end)));
    }
    qreal contentY() const { return scroller_->property("contentY").toReal(); }
    void scrollTo(qreal y) { scroller_->setProperty("contentY", y); }
    qreal lastY() const { return scroller_->property("lastY").toReal(); }
    qreal lineHeight() const { return scroller_->property("line").toReal(); }
    /// Returns the line at the top of the view.
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
        QTest::failOnWarning(QRegularExpression(u"."_s));
    }
    void cleanup() { view_.reset(); }

    void showsTheWholeLog()
    {
        openWith(3);
        append(4, 5);
        catchUp();
        press(Qt::Key_Escape);
        append(6, 7);
        open();
        catchUp();
        QVERIFY(!document()->isUndoAvailable());
        // Between two frames, append more than the whole log can hold.
        append(8, 12'000);
        catchUp();
    }

    void anEmptyLogSaysSo()
    {
        open();
        for (const int last : {2, 20}) {
            QCOMPARE(text(), u"Nothing yet."_s);
            QMetaObject::invokeMethod(edit_, "selectAll");
            QCOMPARE(selected(), u"Nothing yet."_s);
            append(1, last);
            catchUp();
            QCOMPARE(selected(), QString());
            log().setLines({});
        }
    }

    void longEntriesComeInSeveralFrames()
    {
        for (int i = 10; i < 50; ++i) {
            log().append(QString(3'500, u'x') + QString::number(i));
        }
        open();
        QVERIFY(document()->blockCount() < 40);
        QVERIFY(text().endsWith(u"49"));
        catchUp();
    }

    void anEndlessEntryIsCut()
    {
        log().append(QString(1'000'000, u'x'));
        open();
        spinUntil([this] { return text().endsWith(u'…'); });
        QCOMPARE(text().size(), 4'001);
    }

    void manyLinesAreOneChangeAFrame()
    {
        openWith(10);
        int changes = 0;
        connect(document(), &QTextDocument::contentsChange, this, [&] { ++changes; });
        append(11, 100);
        catchUp();
        QCOMPARE(changes, 1);
        // Append more short lines than one frame has time for.
        append(101, 1'000);
        catchUp();
        QVERIFY2(changes > 4 && changes < 20, qPrintable(QString::number(changes)));
    }

    void anEntryOfSeveralLinesIsOneBlock()
    {
        log().append(u"one\ntwo\nthree\r\nfour"_s);
        log().append(line(1));
        open();
        spinUntil([this] { return document()->blockCount() == 2; });
        QCOMPARE(document()->firstBlock().text().count(QChar::LineSeparator), 3);
        QCOMPARE(text(), u"one\ntwo\nthree\nfour\nline 1"_s);
    }

    void linesAreWholeAndClearOfTheEdge()
    {
        openWith(200);
        QCOMPARE(document()->size().height(), 200 * lineHeight());
        QCOMPARE(std::fmod(contentY(), lineHeight()), 0.0);
        QCOMPARE(std::fmod(scroller_->height(), lineHeight()), 0.0);
        QVERIFY(scroller_->y() >= 7);
        QVERIFY(scroller_->y() + scroller_->height() <= scroller_->parentItem()->height() - 7);
    }

    void followsTheEndAndKeepsOtherPlaces()
    {
        log().append(u"one\ntwo"_s); // dropped as a whole
        append(2, 5'000);
        open();
        QCOMPARE(contentY(), lastY());
        QVERIFY(text().endsWith(line(5'000)));
        catchUp();
        QCOMPARE(contentY(), lastY());
        const qsizetype start = text().indexOf(line(2'000));
        select(start, start + 9);
        append(5'001, 5'100);
        catchUp();
        QCOMPARE(contentY(), lastY());

        scrollTo(20'000);
        const QString before = topLine();
        QVERIFY(!before.isEmpty());
        append(5'101, 5'300);
        catchUp();
        QCOMPARE(topLine(), before);

        scrollTo(0);
        append(5'301, 5'400);
        catchUp();
        QCOMPARE(contentY(), 0.0);
        QCOMPARE(topLine(), line(401));
        QCOMPARE(selected(), line(2'000));
    }

    void keysScrollAtOnceAndMoreIsBelow()
    {
        openWith(200);
        QVERIFY(!view_->find(u"moreBelow"_s));
        const qreal page = scroller_->height() - lineHeight();
        press(Qt::Key_PageUp);
        QCOMPARE(contentY(), lastY() - page);
        QVERIFY(view_->find(u"moreBelow"_s));
        press(Qt::Key_PageUp);
        press(Qt::Key_PageDown);
        QCOMPARE(contentY(), lastY() - page);
        press(Qt::Key_End);
        QCOMPARE(contentY(), lastY());
        QVERIFY(!view_->find(u"moreBelow"_s));
        press(Qt::Key_Home);
        QCOMPARE(topLine(), line(1));
        view_->click(u"moreBelow"_s);
        QCOMPARE(contentY(), lastY());
        press(Qt::Key_Home);
        log().setLines({});
        QVERIFY2(!view_->find(u"moreBelow"_s), "nothing is below");
    }

    void theKeyboardSelects()
    {
        openWith(200);
        edit_->forceActiveFocus();
        // Without Shift, the keys must scroll.
        press(Qt::Key_Up);
        QCOMPARE(contentY(), lastY() - 3 * lineHeight());
        QCOMPARE(selected(), QString());
        // With Shift, the keys must select from a line in sight.
        scrollTo(50 * lineHeight());
        const QString first = topLine();
        press(Qt::Key_Down, Qt::ShiftModifier);
        QCOMPARE(selected().section(u'\n', 0, 0), first);
        QCOMPARE(contentY(), 50 * lineHeight());
        const auto extend = [this](Qt::Key key, int times) {
            for (int i = 0; i < times; ++i) {
                press(key, Qt::ShiftModifier);
            }
            return edit_->property("cursorRectangle").toRectF();
        };
        const QRectF below = extend(Qt::Key_Down, 60);
        QCOMPARE(selected().count(u'\n'), 61);
        QCOMPARE(contentY() + scroller_->height(), below.bottom());
        const QRectF above = extend(Qt::Key_Up, 50);
        QCOMPARE(contentY(), above.top());
        const int page = qRound(scroller_->height() / lineHeight()) - 1;
        const QRectF pagesAbove = extend(Qt::Key_PageUp, 2);
        QCOMPARE(selected().count(u'\n'), 2 * page - 11);
        QCOMPARE(contentY(), pagesAbove.top());
        const QRectF pageBelow = extend(Qt::Key_PageDown, 3);
        QCOMPARE(selected().count(u'\n'), page + 11);
        QCOMPARE(contentY() + scroller_->height(), pageBelow.bottom());
        press(Qt::Key_A, Qt::ControlModifier);
        press(Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), text());
    }

    void aSelectionUpToTheEndDoesNotGrow_data()
    {
        QTest::addColumn<bool>("isBackwards");
        QTest::newRow("forwards") << false;
        QTest::newRow("backwards") << true;
    }
    void aSelectionUpToTheEndDoesNotGrow()
    {
        QFETCH(const bool, isBackwards);
        openWith(10);
        const qsizetype end = text().size();
        select(isBackwards ? end : end - 7, isBackwards ? end - 7 : end);
        append(11, 20);
        catchUp();
        QCOMPARE(selected(), line(10));
        QCOMPARE(edit_->property("cursorPosition").toInt(), isBackwards ? end - 7 : end);
    }

    void selectingWithTheMouseWhileLinesArrive()
    {
        openWith(10);
        view_->settle();
        QQuickWindow *const window = view_->window();
        const QPoint to = edit_->mapToScene(QPointF(300, 18)).toPoint();
        QTest::mousePress(window, Qt::LeftButton, {}, edit_->mapToScene(QPointF(0, 5)).toPoint());
        append(11, 12);
        catchUp();
        QTest::mouseMove(window, to);
        append(13, 14);
        catchUp();
        QTest::mouseRelease(window, Qt::LeftButton, {}, to);
        append(15, 16);
        catchUp();
        QCOMPARE(selected(), u"line 1\nline 2"_s);
    }
};

QTEST_MAIN(TestLogView)
#include "tst_logview.moc"
