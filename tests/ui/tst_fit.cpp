// That every text has room for all that it says, and that everything can be reached, whatever font
// the desktop has. Run at several scales, on screens that people have.

#include "Scenes.h"
#include "ViewFixture.h"

#include <QFontDatabase>
#include <QQuickItem>
#include <QScreen>
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
        items += item->childItems();
        if (!item->inherits("QQuickText") || !item->isVisible() || item->opacity() == 0) {
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
    const QSize screen = window->screen()->availableSize();
    QVERIFY2(window->width() <= screen.width() && window->height() < screen.height(),
             qPrintable(QStringLiteral("%1 high").arg(window->height())));
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

    /// Shows a scene and lets `look` judge its window.
    static void show(const Scene &scene, const std::function<void(QQuickWindow *)> &look)
    {
        ViewFixture view;
        view.set(scene.properties);
        ViewFixture::settle(view.window());
        if (scene.sheet == QStringLiteral("alert")) {
            view.withAlert(question(), [&](QQuickWindow *alert) {
                ViewFixture::settle(alert);
                look(alert);
            });
        } else if (!scene.sheet.isEmpty()) {
            QQuickWindow *const sheet = view.openSheet(scene.sheet);
            ViewFixture::settle(sheet);
            look(sheet);
        } else {
            view.window()->resize(560, 640);
            ViewFixture::settle(view.window());
            look(view.window());
        }
    }

private Q_SLOTS:
    void initTestCase() { ViewFixture::setUpApplication(); }

    void init()
    {
        // The platform of the tests has no window manager to tell of a window's limits.
        QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!.*propagateSizeHints)")));
    }

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

    void theTimeLeftStandsBesideWhatIsThere_data()
    {
        QTest::addColumn<double>("share");
        QTest::addColumn<int>("pixels");
        for (const int pixels : {13, 26}) {
            for (const double share : {0.0, 0.49, 1.0}) {
                QTest::addRow("%d pixels, at %g", pixels, share) << share << pixels;
            }
        }
    }

    void theTimeLeftStandsBesideWhatIsThere()
    {
        QFETCH(double, share);
        QFETCH(int, pixels);
        ViewFixture::setFont(widest, pixels);
        ViewFixture view;
        QVariantMap properties = scenes().last().properties;
        properties[QStringLiteral("timeLeft")] = QStringLiteral("Less than a minute left");
        view.set(properties);
        view.window()->resize(560, 640);
        ViewFixture::settle(view.window());
        const auto place = [](const QQuickItem *item) {
            return item->mapRectToScene(item->boundingRect());
        };
        QQuickItem *const scroller = view.find(QStringLiteral("scroller"));
        const QQuickItem *const bar = view.find(QStringLiteral("progressBar"));
        const QRectF window(0, 0, 560, 640);
        // As far down in the window as the bar goes, at its edge, and as far up.
        const qreal end = qMax(0.0, scroller->property("contentHeight").toReal() - 640);
        for (const qreal to : {0.0, qBound(0.0, place(bar).bottom() - 640, end), end}) {
            scroller->setProperty("contentY", to);
            ViewFixture::settle(view.window());
            if (!window.contains(place(bar))) {
                continue;
            }
            const QRectF tip = place(view.restOnProgress(share));
            QVERIFY(window.adjusted(6, 6, -6, -6).contains(tip));
            QStringList free{QStringLiteral("progressBar"), QStringLiteral("cancelButton")};
            if (pixels == 13) {
                // Where there is room.
                free << QStringLiteral("stepText") << QStringLiteral("detail");
            }
            for (const QString &name : free) {
                QVERIFY2(!place(view.find(name)).intersects(tip), qPrintable(name));
            }
        }
    }

    void anAlertOfManyWordsScrolls()
    {
        ViewFixture::setFont(widest, 20);
        ViewFixture view;
        ViewFixture::settle(view.window());
        const Alert alert{QStringLiteral("A question"),
                          QStringLiteral("Many words. ").repeated(300),
                          {QStringLiteral("Yes"), QStringLiteral("No")}};
        view.withAlert(alert, [&](QQuickWindow *window) {
            ViewFixture::settle(window);
            ::everythingCanBeReached(window);
            QQuickItem *const scroller = ViewFixture::find(window, QStringLiteral("sheetScroller"));
            QVERIFY(scroller->property("contentHeight").toReal() > scroller->height());
        });
    }
};

QTEST_MAIN(TestFit)
#include "tst_fit.moc"
