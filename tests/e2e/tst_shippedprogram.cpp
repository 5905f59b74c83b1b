// The shipped program, untouched, as a player meets it: through its windows, by keyboard, with the
// code host under its real names.

#include "Launcher.h"
#include "Namespaces.h"
#include "Screen.h"
#include "Stage.h"

#include "support/Await.h"

#include <QDir>
#include <QFile>
#include <QtTest>

using namespace brindle;

namespace {

const auto mainTitle = QStringLiteral("Brindle");
const auto settingsTitle = QStringLiteral("Settings");
// The alerts bear the application's name, so there are two windows of that title.

const QByteArray shortGame = "importSeconds=0.2\nplaySeconds=11\n";
const QByteArray longGame = "importSeconds=0.2\n";
const QByteArray failingGame = "importSeconds=0.2\nplaySeconds=1\nplayExit=3\n"
                               "printText=the map is missing\n";

QString reasonNotToRun;

} // namespace

class TestShippedProgram : public QObject
{
    Q_OBJECT

    std::unique_ptr<Screen> screen_;
    std::unique_ptr<Stage> stage_;
    std::unique_ptr<Launcher> launcher_;

    /// A launcher whose setup is done, with that game.
    void setUp(const QByteArray &behaviour)
    {
        stage_->offerGame(behaviour);
        launcher_->open();
        launcher_->play();
    }

    void waitForAlert(bool open)
    {
        // The alert and, if that is open, the main window.
        const qsizetype others = mainWindowIsOpen_ ? 1 : 0;
        spinUntil([&] { return screen_->windows(mainTitle).size() == others + (open ? 1 : 0); });
        if (open) {
            spinUntil([&] { return screen_->focusedTitle() == mainTitle; });
        }
    }
    bool mainWindowIsOpen_ = true;

private Q_SLOTS:
    void initTestCase()
    {
        if (!reasonNotToRun.isEmpty()) {
            QSKIP(
                qPrintable(QStringLiteral("namespaces are not permitted here: ") + reasonNotToRun));
        }
        screen_ = std::make_unique<Screen>();
        stage_ = std::make_unique<Stage>();
    }

    void init()
    {
        launcher_ = std::make_unique<Launcher>(QStringLiteral(BRINDLE_PROGRAM), *screen_);
        mainWindowIsOpen_ = true;
        stage_->host().forgetRequests();
    }

    void cleanup()
    {
        if (QTest::currentTestFailed()) {
            const QString file = QStringLiteral(PICTURES_FOLDER "/failed-%1.png")
                                     .arg(QLatin1String(QTest::currentTestFunction()));
            QDir().mkpath(QStringLiteral(PICTURES_FOLDER));
            screen_->picture().save(file);
            qWarning("the screen is in %s", qPrintable(file));
        }
        launcher_.reset();
    }

    void cleanupTestCase()
    {
        stage_.reset();
        screen_.reset();
    }

    void firstPlayAndSecond()
    {
        setUp(shortGame);
        launcher_->waitForGame();
        QVERIFY(QFile::exists(launcher_->project() + QStringLiteral("/addons/minimap/plugin.cfg")));
        launcher_->waitForNoGame();
        const QStringList log = launcher_->log().split(u'\n');
        QCOMPARE(log.last(), QStringLiteral("• Game closed normally"));
        QVERIFY(log.contains(QStringLiteral("Checksum (SHA-512) matches the official list.")));
        QCOMPARE(launcher_->leftovers(), QStringList());

        stage_->host().forgetRequests();
        launcher_->play();
        launcher_->waitForGame();
        QCOMPARE(stage_->host().allRequests(), QStringList());
    }
};

int main(int argc, char *argv[])
{
    Namespaces::enter(&reasonNotToRun);
    const QCoreApplication application(argc, argv);
    TestShippedProgram test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shippedprogram.moc"
