// Tests that every text has room and every control can be reached, in any font of the desktop.
// CTest runs this test for several common screens and scales.

#include "Scenes.h"

#include <QFontDatabase>
#include <QQuickItem>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const QString widest = u"DejaVu Sans"_s;

/// Fails if any text is cut. Only the game's name may be cut.
void nothingIsCut(const ViewFixture &view)
{
    QList<QQuickItem *> items{view.window()->contentItem()};
    int texts = 0;
    while (!items.isEmpty()) {
        QQuickItem *const item = items.takeFirst();
        if (!item->isVisible() || item->opacity() == 0) {
            continue;
        }
        items += item->childItems();
        if (!item->inherits("QQuickText")) {
            continue;
        }
        ++texts;
        const QByteArray text = item->property("text").toString().toUtf8();
        QVERIFY2(item->objectName() == u"name" || !item->property("truncated").toBool(), text);
        QVERIFY2(item->property("paintedWidth").toReal() <= item->width() + 1, text);
        QVERIFY2(item->property("paintedHeight").toReal() <= item->height() + 1, text);
        QVERIFY2(item->property("font").value<QFont>().pixelSize() >= 11, text);
        const QRectF place = item->mapRectToScene({0, 0, item->width(), item->height()});
        QVERIFY2(place.left() >= 0 && place.right() <= view.window()->width(), text);
        // A control's text must stay inside the control.
        for (QQuickItem *above = item->parentItem(); above; above = above->parentItem()) {
            if (above->inherits("QQuickAbstractButton")) {
                const QRectF control = above->mapRectToScene(above->boundingRect());
                QVERIFY2(control.adjusted(-0.5, -0.5, 0.5, 0.5).contains(place), text);
            }
        }
    }
    QVERIFY(texts > 0);
}

/// Fails unless Tab shows each control whole, and End scrolls each long sheet to its end.
void everythingCanBeReached(const ViewFixture &view)
{
    QQuickWindow *const window = view.window();
    QQuickItem *const scroller = view.find(u"sheetScroller"_s);
    const QRectF whole(0, 0, window->width(), window->height());
    const QQuickItem *const first = window->activeFocusItem();
    QVERIFY(first);
    do {
        const QQuickItem *const stop = window->activeFocusItem();
        const bool scrolls = scroller && scroller->isAncestorOf(stop);
        const QRectF seen = scrolls ? scroller->mapRectToScene(scroller->boundingRect()) : whole;
        QVERIFY2(seen.contains(stop->mapRectToScene(stop->boundingRect())),
                 qPrintable(stop->objectName()));
        QTest::keyClick(window, Qt::Key_Tab);
    } while (window->activeFocusItem() != first);
    if (scroller) {
        QTest::keyClick(window, Qt::Key_End);
        QCOMPARE(scroller->property("contentY"), scroller->property("lastY"));
    }
}

} // namespace

class TestFit : public QObject
{
    Q_OBJECT

    QQmlEngine engine_;

private Q_SLOTS:
    void initTestCase() { ViewFixture::setUpApplication(); }
    void init() { QTest::failOnWarning(QRegularExpression(u"."_s)); }

    void everyTextHasRoom_data()
    {
        QTest::addColumn<QString>("family");
        QTest::addColumn<int>("pixels");
        QTest::newRow("narrow") << u"Inter"_s << 13;
        QTest::newRow("high") << u"Noto Sans"_s << 13;
        QTest::newRow("high and large") << u"Noto Sans"_s << 20;
        QTest::newRow("wide") << widest << 13;
        QTest::newRow("wide and larger") << widest << 16;
        QTest::newRow("wide and large") << widest << 20;
        QTest::newRow("200 %") << widest << 26;
    }
    void everyTextHasRoom()
    {
        QFETCH(const QString, family);
        QFETCH(const int, pixels);
        QVERIFY2(QFontDatabase::hasFamily(family), "script/bootstrap installs the fonts");
        ViewFixture::setFont(family, pixels);
        const auto all = scenes();
        for (const Scene &scene : all) {
            scene.show(engine_, true, nothingIsCut);
            QVERIFY2(!QTest::currentTestFailed(), scene.name);
        }
    }

    void everythingCanBeReached_data()
    {
        QTest::addColumn<QString>("sheet");
        QTest::addColumn<int>("pixels");
        for (const char *sheet : {"settings", "about", "log", "alert"}) {
            for (const int pixels : {13, 20}) {
                QTest::addRow("%s %d", sheet, pixels) << QString::fromLatin1(sheet) << pixels;
            }
        }
    }
    void everythingCanBeReached()
    {
        QFETCH(const QString, sheet);
        QFETCH(const int, pixels);
        ViewFixture::setFont(widest, pixels);
        Scene{.sheet = sheet}.show(engine_, true, ::everythingCanBeReached);
    }

    void anAlertOfManyWordsScrolls()
    {
        ViewFixture::setFont(widest, 20);
        ViewFixture view;
        const Alert alert{u"A question"_s, u"Many words. "_s.repeated(300), {u"Yes"_s, u"No"_s}};
        view.withAlert(alert, [&](const QQuickItem *shown) {
            QVERIFY(shown->height() <= view.window()->height());
            ::everythingCanBeReached(view);
            QVERIFY(view.find(u"sheetScroller"_s)->property("lastY").toReal() > 0);
        });
    }
};

QTEST_MAIN(TestFit)
#include "tst_fit.moc"
