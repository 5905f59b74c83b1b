// The application's icon, as pixels and as an SVG file.

#include "ui/AppIcon.h"

#include <QGuiApplication>
#include <QXmlStreamReader>
#include <QtTest>

using namespace brindle;

class TestAppIcon : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isDrawnAtEverySize_data()
    {
        QTest::addColumn<int>("side");
        for (const int side : {16, 24, 32, 48, 64, 128, 256, 512, 1024}) {
            QTest::addRow("%d", side) << side;
        }
    }

    void isDrawnAtEverySize()
    {
        QFETCH(const int, side);
        const QImage image = AppIcon::image(side);
        QCOMPARE(image.size(), QSize(side, side));
        // Round corners, and a tile that goes from dark blue to orange below flags nearly white.
        QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
        QCOMPARE(image.pixelColor(side - 1, side - 1).alpha(), 0);
        const QColor first = image.pixelColor(side / 4, side / 8);
        const QColor last = image.pixelColor(side * 7 / 8, side * 3 / 4);
        QVERIFY(first.alpha() > 250);
        QVERIFY(last.alpha() > 250);
        QVERIFY(first.blue() > first.red());
        QVERIFY(last.red() > last.blue());
        int white = 0;
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                white += image.pixelColor(x, y).lightness() > 160 ? 1 : 0;
            }
        }
        QVERIFY2(white > side * side / 20 && white < side * side / 2,
                 qPrintable(QString::number(white)));
    }

    void isKnownInTheSizesThatDesktopsShow()
    {
        const QIcon icon = AppIcon::icon();
        for (const int side : {16, 24, 32, 48, 64, 128}) {
            QVERIFY(icon.availableSizes().contains(QSize(side, side)));
        }
    }

    void isWellFormedAsSvg()
    {
        QXmlStreamReader reader(AppIcon::svg());
        int shapes = 0;
        int stops = 0;
        while (!reader.atEnd()) {
            if (reader.readNext() == QXmlStreamReader::StartElement) {
                if (reader.name() == u"path") {
                    ++shapes;
                    const QString data = reader.attributes().value(QLatin1String("d")).toString();
                    QVERIFY(data.startsWith(QLatin1Char('M')) && data.endsWith(QLatin1Char('Z')));
                    QVERIFY(!data.contains(QStringLiteral("nan")));
                }
                stops += reader.name() == u"stop" ? 1 : 0;
            }
        }
        QVERIFY2(!reader.hasError(), qPrintable(reader.errorString()));
        QCOMPARE(shapes, 2);
        QCOMPARE(stops, 3);
    }
};

QTEST_MAIN(TestAppIcon)
#include "tst_appicon.moc"
