// Draws every view in each state, light and dark, into the build's folder "pictures".

#include "Scenes.h"

#include <QDir>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestPictures : public QObject
{
    Q_OBJECT

    QQmlEngine engine_;
    QDir folder_{qEnvironmentVariable("PICTURES_FOLDER", PICTURES_FOLDER u""_s)};

private Q_SLOTS:
    void initTestCase()
    {
        ViewFixture::setUpApplication();
        QVERIFY(folder_.mkpath(u"."_s));
    }
    void init() { QTest::failOnWarning(QRegularExpression(u"."_s)); }

    void everyView_data()
    {
        QTest::addColumn<int>("scene");
        QTest::addColumn<bool>("isDark");
        const auto all = scenes();
        for (int i = 0; i < all.size(); ++i) {
            QTest::addRow("%s-light", all.at(i).name) << i << false;
            QTest::addRow("%s-dark", all.at(i).name) << i << true;
        }
    }
    void everyView()
    {
        QFETCH(const int, scene);
        QFETCH(const bool, isDark);
        ViewFixture::setDark(isDark);
        scenes().at(scene).show(engine_, false, [this](ViewFixture &view) {
            const QImage image = view.window()->grabWindow();
            QVERIFY(
                image.save(folder_.filePath(QLatin1String(QTest::currentDataTag()) + u".png"_s)));
            // A picture of one colour shows that nothing was drawn.
            QSet<QRgb> colours;
            for (int y = 0; y < image.height(); y += 3) {
                for (int x = 0; x < image.width(); x += 3) {
                    colours.insert(image.pixel(x, y));
                }
            }
            QVERIFY(colours.size() > 5);
        });
    }
};

QTEST_MAIN(TestPictures)
#include "tst_pictures.moc"
