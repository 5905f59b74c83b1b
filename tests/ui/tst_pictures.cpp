// Draws every view in each state, light and dark, into the build's "pictures" folder, with a
// contact sheet that one look can judge.

#include "Scenes.h"
#include "ViewFixture.h"

#include <QDir>
#include <QPainter>
#include <QQuickItem>
#include <QtTest>

using namespace brindle;

class TestPictures : public QObject
{
    Q_OBJECT

    struct Picture
    {
        QString name;
        QImage image;
    };
    QList<Picture> pictures_;
    // Another one when the test runs at another scale.
    QDir folder_{qEnvironmentVariable("PICTURES_FOLDER", QStringLiteral(PICTURES_FOLDER))};

    void draw(const Scene &scene, bool dark)
    {
        ViewFixture::setDark(dark);
        ViewFixture view;
        for (int i = 1; i <= scene.logLines; ++i) {
            view.log.append(i % 9 == 0
                                ? QStringLiteral("• Fetching add-on addons/minimap %1").arg(i)
                                : QStringLiteral("reimport: step %1: res://assets/models/"
                                                 "tank_%1.png")
                                      .arg(i));
        }
        view.set(scene.properties);
        QQuickWindow *const window = view.window();
        ViewFixture::settle(window);
        if (scene.sheet == QStringLiteral("alert")) {
            view.withAlert(question(), [&](QQuickItem *) { keep(scene, dark, window); });
            return;
        }
        if (!scene.sheet.isEmpty()) {
            view.openSheet(scene.sheet);
        }
        ViewFixture::settle(window);
        for (int i = 0; i < scene.tabs; ++i) {
            QTest::keyClick(window, Qt::Key_Tab);
            ViewFixture::settle(window);
        }
        keep(scene, dark, window);
    }

    void keep(const Scene &scene, bool dark, QQuickWindow *window)
    {
        const QString name =
            QLatin1String(scene.name) + (dark ? QStringLiteral("-dark") : QStringLiteral("-light"));
        const QImage image = window->grabWindow();
        QVERIFY2(!image.isNull(), qPrintable(name));
        // A picture of one colour shows that nothing was drawn.
        QSet<QRgb> colours;
        for (int y = 0; y < image.height(); y += 3) {
            for (int x = 0; x < image.width(); x += 3) {
                colours.insert(image.pixel(x, y));
            }
        }
        QVERIFY2(colours.size() > 5, qPrintable(name));
        QVERIFY(image.save(folder_.filePath(name + QStringLiteral(".png"))));
        pictures_.append({name, image});
    }

private Q_SLOTS:
    void initTestCase()
    {
        ViewFixture::setUpApplication();
        QVERIFY(folder_.mkpath(QStringLiteral(".")));
    }

    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("."))); }

    void everyView_data()
    {
        QTest::addColumn<int>("scene");
        QTest::addColumn<bool>("dark");
        const auto all = scenes();
        for (int i = 0; i < all.size(); ++i) {
            QTest::addRow("%s light", all.at(i).name) << i << false;
            QTest::addRow("%s dark", all.at(i).name) << i << true;
        }
    }

    void everyView()
    {
        QFETCH(int, scene);
        QFETCH(bool, dark);
        draw(scenes().at(scene), dark);
    }

    void contactSheet()
    {
        constexpr int columns = 6;
        constexpr int cell = 300;
        constexpr int gap = 16;
        constexpr int caption = 20;
        int y = gap;
        QList<QPair<QRect, int>> places;
        for (int row = 0; row * columns < pictures_.size(); ++row) {
            int tallest = 0;
            for (int column = 0; column < columns; ++column) {
                const int i = row * columns + column;
                if (i < pictures_.size()) {
                    const QSize size = pictures_.at(i).image.size();
                    const QSize fitted(cell, size.height() * cell / size.width());
                    places.append({QRect({gap + column * (cell + gap), y}, fitted), i});
                    tallest = qMax(tallest, fitted.height());
                }
            }
            y += tallest + caption + gap;
        }
        QImage sheet(gap + columns * (cell + gap), y, QImage::Format_RGB32);
        sheet.fill(QColor(0x80, 0x80, 0x86));
        QPainter painter(&sheet);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        QFont font = QGuiApplication::font();
        font.setPixelSize(12);
        painter.setFont(font);
        painter.setPen(Qt::white);
        for (const auto &[place, i] : places) {
            painter.drawImage(place,
                              pictures_.at(i).image.scaled(place.size(), Qt::IgnoreAspectRatio,
                                                           Qt::SmoothTransformation));
            painter.drawText(place.left(), place.bottom() + 15, pictures_.at(i).name);
        }
        painter.end();
        QCOMPARE(pictures_.size(), scenes().size() * 2);
        QVERIFY(sheet.save(folder_.filePath(QStringLiteral("index.png"))));
    }
};

QTEST_MAIN(TestPictures)
#include "tst_pictures.moc"
