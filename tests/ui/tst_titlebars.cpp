// Tests that Qt draws title bars under Wayland only if the compositor draws none.

#include "ui/SystemStyle.h"

#include <QGuiApplication>
#include <QRasterWindow>
#include <QtTest>

using namespace brindle;

class TestTitleBars : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theCompositorsTitleBarIsTheOnlyOne()
    {
        SystemStyle style;
        QRasterWindow window;
        window.resize(300, 200);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window, 60'000));
        const QMargins before = window.frameMargins();
        style.colourTitleBars(Qt::black, Qt::white);
        style.colourTitleBars(Qt::white, Qt::black);
        QGuiApplication::sync();
        QCOMPARE(window.frameMargins(), before);
    }
};

QTEST_MAIN(TestTitleBars)
#include "tst_titlebars.moc"
