// Draws every view in each state, light and dark, into the build's "pictures" folder, with a
// contact sheet that one look can judge.

#include "ViewFixture.h"

#include "core/Alert.h"
#include "ui/QuickDesktop.h"

#include <QDir>
#include <QPainter>
#include <QQuickItem>
#include <QTimer>
#include <QtTest>

#include <functional>

using namespace brindle;

namespace {

const QStringList controls{
    QStringLiteral("WASD or arrow keys: move the camera"), QStringLiteral("Mouse wheel: zoom"),
    QStringLiteral("Left click: select units"),
    QStringLiteral("Right click: move, attack or gather"), QStringLiteral("Esc: menu")};

QVariantMap with(QVariantMap properties)
{
    QVariantMap all{{QStringLiteral("controls"), controls}};
    all.insert(properties);
    return all;
}

QVariantMap busy(const QString &phase, const QString &step, QVariantMap more = {})
{
    QVariantMap all = with({{QStringLiteral("phase"), phase},
                            {QStringLiteral("stepText"), step},
                            {QStringLiteral("canCancel"), true},
                            {QStringLiteral("canPlay"), false}});
    all.insert(more);
    return all;
}

QVariantMap running(const QString &phase, const QString &step)
{
    return with({{QStringLiteral("phase"), phase},
                 {QStringLiteral("stepText"), step},
                 {QStringLiteral("gameRunning"), true},
                 {QStringLiteral("canPlay"), false}});
}

QString failureText()
{
    QStringList lines{QStringLiteral("Godot Engine v4.3.stable.official"),
                      QStringLiteral("OpenGL API 4.6 - Compatibility - Using Device: llvmpipe"),
                      QString()};
    for (int i = 1; i <= 12; ++i) {
        lines << QStringLiteral("SCRIPT ERROR: Parse Error: Identifier \"unit_%1\" not declared in "
                                "the current scope.")
                     .arg(i)
              << QStringLiteral("          at: GDScript::reload (res://main.gd:%1)").arg(40 + i);
    }
    return lines.join(QLatin1Char('\n'));
}

struct Scene
{
    const char *name;
    QVariantMap properties;
    QString sheet; ///< empty for the main window
    int logLines = 0;
    int tabs = 0; ///< how often Tab is pressed before
};

Alert question()
{
    return {
        QStringLiteral("Remove the game and the engine?"),
        QStringLiteral("This frees 486.2 MB. Your saved games (in Godot's own folder) are kept."),
        {QStringLiteral("Remove"), QStringLiteral("Cancel")}};
}

QList<Scene> scenes()
{
    const auto text = [](const char *utf8) { return QString::fromUtf8(utf8); };
    const QString message = text("The game closed after 3 seconds (exit code 1), so it did not "
                                 "start properly.");
    QStringList longControls;
    for (int i = 0; i < 8; ++i) {
        longControls << QStringLiteral("Hold the %1th modifier key while dragging a rectangle over "
                                       "units with the left mouse button to add them to the "
                                       "selection, or double-click one to select all of its kind")
                            .arg(i + 1);
    }
    return {
        {"01-not-downloaded", {}, {}},
        {"02-downloading-unknown-size",
         busy(text("downloading"), text("Step 1 of 3 · Downloading the game"),
              {{text("detail"), text("12.4 MB · 3.1 MB/s")}}),
         {}},
        {"03-downloading",
         busy(text("downloading"), text("Step 2 of 3 · Downloading Godot 4.3-stable"),
              {{text("hasProgress"), true},
               {text("progress"), 0.62},
               {text("detail"), text("34.2 MB of 55.1 MB · 4.8 MB/s")}}),
         {}},
        {"04-setting-up",
         busy(text("settingUp"),
              text("Step 3 of 3 · First-time setup, this can take a minute or more"),
              {{text("detail"), text("Godot is importing the game's files")}}),
         {}},
        {"05-needs",
         with({{text("phase"), text("needs")},
               {text("needsMessage"), text("The game needs Godot 3.5, which this app can't use. "
                                           "Update the game, or try again later.")}}),
         {}},
        {"06-ready", with({{text("phase"), text("ready")}}), {}},
        {"07-starting", running(text("starting"), text("Starting the game…")), {}},
        {"08-playing", running(text("playing"), text("The game is open")), {}},
        {"09-failure",
         with({{text("phase"), text("needs")},
               {text("needsMessage"), message},
               {text("hasFailure"), true},
               {text("failureSummary"),
                message + text(" The game's scripts reported errors. The log below shows where.")},
               {text("failureText"), failureText()}}),
         {}},
        {"10-long-texts",
         with({{text("name"), text("An extraordinarily long name ").repeated(10)},
               {text("tagline"), text("<b>not bold</b> and <a href=\"https://x\">no link</a> "
                                      "عنوان اللعبة 🎮🏰 ")
                                     .repeated(4)},
               {text("licenseName"), text("MIT License")},
               {text("copyright"), QString()},
               {text("controls"), longControls}}),
         {}},
        {"11-settings",
         with({{text("phase"), text("ready")}, {text("storageSize"), text("486.2 MB")}}),
         text("settings")},
        {"12-settings-while-playing",
         [&] {
             QVariantMap all = running(text("playing"), text("The game is open"));
             all.insert({{text("storageSize"), text("486.2 MB")},
                         {text("fullscreen"), true},
                         {text("resolution"), 3}});
             return all;
         }(),
         text("settings")},
        {"13-about", with({{text("phase"), text("ready")}}), text("about")},
        {"14-log", with({{text("phase"), text("ready")}}), text("log"), 60},
        {"15-log-empty", {}, text("log")},
        {"16-alert", with({{text("phase"), text("ready")}}), text("alert")},
        {"17-focus", with({{text("phase"), text("ready")}}), {}, 0, 3},
    };
}

} // namespace

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
        QQuickWindow *window = view.window();
        ViewFixture::settle(window);
        if (scene.sheet == QStringLiteral("alert")) {
            drawAlert(scene, dark, window);
            return;
        }
        if (!scene.sheet.isEmpty()) {
            window = view.openSheet(scene.sheet);
            ViewFixture::settle(window);
        } else {
            // All of it, however long it is.
            auto *const scroller = view.find(QStringLiteral("scroller"));
            const int height = qMax(640, scroller->property("contentHeight").toInt());
            window->resize(560, qMin(height, 1400));
            ViewFixture::settle(window);
        }
        for (int i = 0; i < scene.tabs; ++i) {
            QTest::keyClick(window, Qt::Key_Tab);
            ViewFixture::settle(window);
        }
        keep(scene, dark, window);
    }

    void drawAlert(const Scene &scene, bool dark, QQuickWindow *above)
    {
        QQmlEngine engine;
        QuickDesktop desktop({});
        desktop.setWindow(&engine, above);
        QTimer waiter;
        connect(&waiter, &QTimer::timeout, this, [&] {
            const QPointer<QQuickWindow> window = desktop.alertWindow();
            if (window && window->isExposed()) {
                waiter.stop();
                ViewFixture::settle(window);
                keep(scene, dark, window);
                window->close();
            }
        });
        waiter.start(1);
        desktop.runAlert(question());
    }

    /// Every text that can be seen has room for all that it says; only the name is cut by design.
    static void nothingIsClipped(QQuickWindow *window)
    {
        QList<QQuickItem *> items{window->contentItem()};
        int texts = 0;
        while (!items.isEmpty()) {
            QQuickItem *const item = items.takeFirst();
            items += item->childItems();
            if (!item->inherits("QQuickText") || !item->isVisible()) {
                continue;
            }
            ++texts;
            const QString text = item->property("text").toString();
            if (item->objectName() != QStringLiteral("name")) {
                QVERIFY2(!item->property("truncated").toBool(), qPrintable(text));
            }
            QVERIFY2(item->property("paintedWidth").toReal() <= item->width() + 1,
                     qPrintable(text));
            QVERIFY2(item->property("paintedHeight").toReal() <= item->height() + 1,
                     qPrintable(text));
            const QRectF place = item->mapRectToScene({0, 0, item->width(), item->height()});
            QVERIFY2(place.left() >= 0 && place.right() <= window->width(), qPrintable(text));
        }
        QVERIFY(texts > 0);
    }

    void keep(const Scene &scene, bool dark, QQuickWindow *window)
    {
        const QString name =
            QLatin1String(scene.name) + (dark ? QStringLiteral("-dark") : QStringLiteral("-light"));
        const QImage image = window->grabWindow();
        QVERIFY2(!image.isNull(), qPrintable(name));
        nothingIsClipped(window);
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

    void init()
    {
        // The platform of the tests has no window manager to tell of a window's limits.
        QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!.*propagateSizeHints)")));
    }

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
