// That every text has room for all that it says, and that everything can be reached, whatever font
// the desktop has. Run at several scales, on screens that people have.

#include "Scenes.h"
#include "ViewFixture.h"

#include <QFontDatabase>
#include <QQuickItem>
#include <QtTest>

using namespace brindle;

namespace {

const QString widest = QStringLiteral("DejaVu Sans");

/// Only the name, which anybody may make as long as they like, is cut by design.
void nothingIsCut(QQuickWindow *window)
{
    QList<QQuickItem *> items{window->contentItem()};
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
        const QString text = item->property("text").toString();
        if (item->objectName() != QStringLiteral("name")) {
            QVERIFY2(!item->property("truncated").toBool(), qPrintable(text));
        }
        QVERIFY2(item->property("paintedWidth").toReal() <= item->width() + 1, qPrintable(text));
        QVERIFY2(item->property("paintedHeight").toReal() <= item->height() + 1, qPrintable(text));
        QVERIFY2(item->property("font").value<QFont>().pixelSize() >= 11, qPrintable(text));
        const QRectF place = item->mapRectToScene({0, 0, item->width(), item->height()});
        QVERIFY2(place.left() >= 0 && place.right() <= window->width(), qPrintable(text));
        // What a control says stays inside it.
        for (QQuickItem *above = item->parentItem(); above; above = above->parentItem()) {
            if (above->inherits("QQuickAbstractButton")) {
                const QRectF control = above->mapRectToScene(above->boundingRect());
                QVERIFY2(control.adjusted(-0.5, -0.5, 0.5, 0.5).contains(place), qPrintable(text));
            }
        }
    }
    QVERIFY(texts > 0);
}

/// Every stop of the Tab key can be seen whole, and the keyboard scrolls to the end of the rest.
void everythingCanBeReached(QQuickWindow *window)
{
    QQuickItem *const scroller = ViewFixture::find(window, QStringLiteral("sheetScroller"));
    const QRectF whole(0, 0, window->width(), window->height());
    const QQuickItem *const first = window->activeFocusItem();
    QVERIFY(first);
    do {
        const QQuickItem *const stop = window->activeFocusItem();
        const QRectF place = stop->mapRectToScene(stop->boundingRect());
        const bool scrolled = scroller && scroller->isAncestorOf(stop);
        const QRectF seen = scrolled ? scroller->mapRectToScene(scroller->boundingRect()) : whole;
        QVERIFY2(seen.contains(place), qPrintable(stop->objectName()));
        QTest::keyClick(window, Qt::Key_Tab);
        ViewFixture::settle(window);
    } while (window->activeFocusItem() != first);
    if (scroller) {
        QTest::keyClick(window, Qt::Key_End);
        const qreal last =
            qMax(0.0, scroller->property("contentHeight").toReal() - scroller->height());
        QCOMPARE(scroller->property("contentY").toReal(), last);
    }
}

} // namespace

class TestFit : public QObject
{
    Q_OBJECT

    /// Shows a scene in the smallest window, and lets `look` judge it.
    static void show(const Scene &scene, const std::function<void(QQuickWindow *)> &look)
    {
        ViewFixture view;
        view.set(scene.properties);
        view.window()->resize(560, 640);
        QVERIFY(QTest::qWaitForWindowActive(view.window()));
        if (scene.sheet == QStringLiteral("alert")) {
            view.withAlert(question(), [&](QQuickItem *) { look(view.window()); });
            return;
        }
        if (!scene.sheet.isEmpty()) {
            view.openSheet(scene.sheet);
        }
        ViewFixture::settle(view.window());
        look(view.window());
    }

private Q_SLOTS:
    void initTestCase() { ViewFixture::setUpApplication(); }

    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("."))); }

    void everyTextHasRoom_data()
    {
        QTest::addColumn<QString>("family");
        QTest::addColumn<int>("pixels");
        for (const QString &family :
             {QStringLiteral("Inter"), widest, QStringLiteral("Noto Sans")}) {
            for (const int pixels : {13, 16, 20}) {
                QTest::addRow("%s %d", qPrintable(family), pixels) << family << pixels;
            }
        }
        QTest::newRow("200 %") << widest << 26;
    }

    void everyTextHasRoom()
    {
        QFETCH(QString, family);
        QFETCH(int, pixels);
        QVERIFY2(QFontDatabase::hasFamily(family), "script/bootstrap installs the fonts");
        ViewFixture::setFont(family, pixels);
        const auto all = scenes();
        for (const Scene &scene : all) {
            show(scene, nothingIsCut);
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
        QFETCH(QString, sheet);
        QFETCH(int, pixels);
        ViewFixture::setFont(widest, pixels);
        show({"", {}, sheet}, ::everythingCanBeReached);
    }

    void anAlertOfManyWordsScrolls()
    {
        ViewFixture::setFont(widest, 20);
        ViewFixture view;
        ViewFixture::settle(view.window());
        const Alert alert{QStringLiteral("A question"),
                          QStringLiteral("Many words. ").repeated(300),
                          {QStringLiteral("Yes"), QStringLiteral("No")}};
        view.withAlert(alert, [&](QQuickItem *shown) {
            QVERIFY(shown->height() <= view.window()->height());
            ::everythingCanBeReached(view.window());
            QQuickItem *const scroller = view.find(QStringLiteral("sheetScroller"));
            QVERIFY(scroller->property("contentHeight").toReal() > scroller->height());
        });
    }
};

QTEST_MAIN(TestFit)
#include "tst_fit.moc"
