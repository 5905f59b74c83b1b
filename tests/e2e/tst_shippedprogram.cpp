// The shipped program, untouched, as a player meets it: through its windows, by keyboard, with the
// code host under its real names.

#include "Launcher.h"
#include "Screen.h"
#include "Stage.h"
#include "support/Namespaces.h"

#include <QDir>
#include <QFile>
#include <QtTest>

#include <csignal>

using namespace brindle;

namespace {

const auto mainTitle = QStringLiteral("Brindle");

const QByteArray longGame = "importSeconds=0.2\n";
// The launcher lies in front until then.
const QByteArray slowGame = longGame + "windowSeconds=2\n";
const QByteArray newGame = longGame + "playExit=1\n";
const QByteArray failingGame = "importSeconds=1\nplaySeconds=0\nplayExit=3\n"
                               "printText=the map is missing\n";

QString reasonNotToRun;

} // namespace

Q_DECLARE_METATYPE(brindle::Stage::Certificate)

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

    /// The keyboard is where it was, on Settings; brings it to Play.
    void backFromSettings()
    {
        screen_->activate(mainTitle);
        launcher_->waitForPlay();
        screen_->press({QStringLiteral("shift+Tab"), QStringLiteral("shift+Tab")});
    }

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
        stage_->open();
    }

    void cleanup()
    {
        if (QTest::currentTestFailed()) {
            qWarning("%s", screen_->keepEvidence().constData());
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
        const auto gate = stage_->host().hold(Stage::enginePath(), stage_->engineSize() / 2);
        setUp(longGame);
        launcher_->waitForStatus(Launcher::Status::orange);
        launcher_->waitForProgress(0.5);
        gate->open();
        launcher_->waitForGame();
        QVERIFY(QFile::exists(launcher_->project() + QStringLiteral("/addons/minimap/plugin.cfg")));
        QCOMPARE(stage_->host().requests(),
                 (QStringList{ReleaseHost::gamePath(), Stage::addonPath(), Stage::checksumPath(),
                              Stage::enginePath()}));
        // One handshake for each of the three hosts.
        QCOMPARE(stage_->host().connectionCount(), 3);
        screen_->activate(mainTitle);
        launcher_->waitForStatus(Launcher::Status::green);
        QCOMPARE(launcher_->games().size(), 1);
        screen_->closeWindow(Launcher::gameTitle());
        launcher_->waitForNoGame();
        const QStringList log = launcher_->log().split(u'\n');
        QCOMPARE(log.last(), QStringLiteral("• Game closed normally"));
        QVERIFY(log.contains(QStringLiteral("Checksum (SHA-512) matches the official list.")));
        QCOMPARE(launcher_->leftovers(), QStringList());

        stage_->host().forgetRequests();
        launcher_->play();
        launcher_->waitForGame();
        QCOMPARE(stage_->host().allRequests(), QStringList());
        // Stop.
        launcher_->pressEnd();
        launcher_->waitForNoGame();
        QCOMPARE(launcher_->log().split(u'\n').last(), QStringLiteral("• Game stopped"));
    }

    void aFailureIsShownAndCopied()
    {
        setUp(failingGame);
        launcher_->waitForStatus(Launcher::Status::red);
        launcher_->waitForPlay();
        // Behind Play: the failure's text, its Copy.
        const QString before = QStringLiteral("not copied yet");
        screen_->setClipboard(before);
        launcher_->pressAfterTabs(2);
        screen_->wait("the failure's copy", [&] { return screen_->clipboard() != before; });
        const QString copied = screen_->clipboard();
        screen_->press({QStringLiteral("shift+Tab"), QStringLiteral("shift+Tab")});
        const QStringList log = launcher_->log(3).split(u'\n');
        // How long it takes to open is not the test's to know.
        static const QRegularExpression summary(QStringLiteral(
            "^The game closed after (1 second|\\d seconds) \\(exit code 3\\), so it did not start "
            "properly\\. The last lines of the log below may show why\\.\n\n"));
        QVERIFY2(copied.contains(summary), qPrintable(copied));
        QVERIFY(log.contains(QStringLiteral("the map is missing")));
        QCOMPARE(copied.section(QStringLiteral("\n\n"), 1), log.mid(log.size() - 30).join(u'\n'));
    }

    void aDownloadIsCancelled()
    {
        const auto gate = stage_->host().hold(Stage::enginePath(), stage_->engineSize() / 2);
        setUp(longGame);
        screen_->wait("the download to be on its way", [&] { return gate->isReached(); });
        launcher_->waitForStatus(Launcher::Status::orange);
        QVERIFY(!launcher_->leftovers().isEmpty());
        launcher_->pressEnd();
        QCOMPARE(launcher_->log().split(u'\n').last(), QStringLiteral("• Cancelled"));
        launcher_->waitForStatus(Launcher::Status::gray);
        QCOMPARE(launcher_->leftovers(), QStringList());
    }

    void aDoubleClickOnPlayDoesNotCancel()
    {
        const auto gate = stage_->host().hold(ReleaseHost::gamePath(), 0);
        stage_->offerGame(longGame);
        launcher_->open();
        // Where Cancel appears.
        screen_->doubleClick(launcher_->lowerPartOfPlay());
        launcher_->waitForStatus(Launcher::Status::orange);
        gate->open();
        launcher_->waitForGame();
    }

    void aDoubleClickOnPlayOrStopIsOneClick()
    {
        setUp(slowGame);
        launcher_->waitForGame();
        launcher_->pressEnd();
        launcher_->waitForPlay();
        screen_->press({QStringLiteral("ctrl+q")});
        QCOMPARE(launcher_->waitForEnd(), 0);
        launcher_->open();

        // Stop appears there, and Play again when the game has ended.
        const QPoint place = launcher_->lowerPartOfPlay();
        screen_->doubleClick(place);
        launcher_->waitForGame();
        screen_->activate(mainTitle);
        launcher_->waitForStatus(Launcher::Status::green);
        QCOMPARE(launcher_->games().size(), 1);
        screen_->doubleClick(place);
        launcher_->waitForNoGame();
        const QStringList log = launcher_->log().split(u'\n');
        QCOMPARE(log.last(), QStringLiteral("• Game stopped"));
        QCOMPARE(log.count(log.last()), 1);
    }

    void updateAndRemoveEverything()
    {
        setUp(longGame);
        launcher_->waitForGame();
        launcher_->pressEnd();
        launcher_->waitForNoGame();

        const QString mark = launcher_->project() + QStringLiteral("/of the old version");
        QVERIFY(QFile(mark).open(QIODevice::WriteOnly));
        stage_->host().forgetRequests();
        stage_->offerGame(newGame);
        launcher_->pressInSettings(5);
        screen_->wait("the new version's import", [&] {
            return !QFile::exists(mark) && QFile::exists(launcher_->importMarker());
        });
        launcher_->waitForStatus(Launcher::Status::green);
        backFromSettings();
        QCOMPARE(stage_->host().requests(),
                 (QStringList{ReleaseHost::gamePath(), Stage::addonPath()}));
        QFile changed(launcher_->project() + QStringLiteral("/sample-engine.ini"));
        QVERIFY(changed.open(QIODevice::ReadOnly));
        QCOMPARE(changed.readAll(), newGame);

        // Cancel, then Remove.
        launcher_->pressInSettings(3);
        launcher_->waitForAlert();
        screen_->press({QStringLiteral("Escape")});
        launcher_->waitForContent();
        QVERIFY(QFile::exists(launcher_->storage()));
        backFromSettings();
        launcher_->pressInSettings(3);
        launcher_->waitForAlert();
        screen_->press({QStringLiteral("Return")});
        launcher_->waitForStatus(Launcher::Status::gray);
        QVERIFY(!QFile::exists(launcher_->storage()));
        launcher_->waitForPlay();
        screen_->press({QStringLiteral("ctrl+q")});
        QCOMPARE(launcher_->waitForEnd(), 0);
    }

    void quittingWhileTheGameRunsAsksEachTime()
    {
        setUp(longGame);
        launcher_->waitForGame();
        for (int i = 0; i < 2; ++i) {
            screen_->activate(mainTitle);
            screen_->press({QStringLiteral("ctrl+q")});
            launcher_->waitForAlert();
            screen_->press({QStringLiteral("Escape")});
            launcher_->waitForContent();
            QVERIFY(launcher_->isRunning());
            QCOMPARE(launcher_->games().size(), 1);
        }
        screen_->activate(mainTitle);
        screen_->press({QStringLiteral("ctrl+q")});
        launcher_->waitForAlert();
        screen_->press({QStringLiteral("Return")});
        QCOMPARE(launcher_->waitForEnd(), 0);
        QCOMPARE(launcher_->games(), QList<qint64>());
    }

    void quittingDuringADownloadCancelsIt()
    {
        const auto gate = stage_->host().hold(Stage::enginePath(), stage_->engineSize() / 2);
        setUp(longGame);
        launcher_->waitForProgress(0.5);
        screen_->press({QStringLiteral("ctrl+q")});
        launcher_->waitForAlert();
        screen_->press({QStringLiteral("Return")});
        QCOMPARE(launcher_->waitForEnd(), 0);
        QCOMPARE(launcher_->leftovers(), QStringList());
        QVERIFY(!QFile::exists(launcher_->storage(QStringLiteral("Engine"))));
    }

    void theWindowIsClosedAndComesBack()
    {
        setUp(longGame);
        launcher_->waitForGame();
        // Behind the game's.
        screen_->activate(Launcher::gameTitle());
        QCOMPARE(launcher_->openAgain(), 0);
        screen_->wait("the window to come to the front",
                      [&] { return screen_->focusedTitle() == mainTitle; });
        for (const bool startAgain : {true, false}) {
            screen_->closeWindow(mainTitle);
            launcher_->waitForAlert();
            screen_->press({QStringLiteral("Escape")});
            screen_->wait("the window to close", [&] { return launcher_->windows().isEmpty(); });
            QVERIFY(launcher_->isRunning());
            QCOMPARE(launcher_->games().size(), 1);
            if (startAgain) {
                QCOMPARE(launcher_->openAgain(), 0);
            } else {
                ::kill(static_cast<pid_t>(launcher_->games().first()), SIGTERM);
            }
            screen_->wait("the window", [&] { return !launcher_->windows().isEmpty(); });
        }
        QCOMPARE(launcher_->games(), QList<qint64>());
        screen_->closeWindow(mainTitle);
        QCOMPARE(launcher_->waitForEnd(), 0);
    }

    void aKilledLauncherLocksNobodyOut()
    {
        setUp(longGame);
        launcher_->waitForGame();
        launcher_->kill();
        QCOMPARE(launcher_->waitForEnd(), -1);
        QCOMPARE(launcher_->games().size(), 1);
        launcher_->open();
        launcher_->waitForStatus(Launcher::Status::green);
        QVERIFY(launcher_->isRunning());
        QCOMPARE(launcher_->games().size(), 1);
        QCOMPARE(launcher_->openAgain(), 0);
    }

    void whatAKilledLauncherLeftIsClearedAtTheNextStart()
    {
        const auto gate = stage_->host().hold(Stage::enginePath(), stage_->engineSize() / 2);
        setUp(longGame);
        launcher_->waitForProgress(0.5);
        QCOMPARE(launcher_->leftovers().size(), 1);
        launcher_->kill();
        QCOMPARE(launcher_->waitForEnd(), -1);
        QCOMPARE(launcher_->leftovers().size(), 1);
        launcher_->open();
        // Nothing has been pressed.
        screen_->wait("the leftover to be gone", [&] { return launcher_->leftovers().isEmpty(); });
    }

    void theEndOfTheSessionLeavesNothing()
    {
        const auto gate = stage_->host().hold(Stage::enginePath(), stage_->engineSize() / 2);
        setUp(longGame);
        launcher_->waitForProgress(0.5);
        QVERIFY(!launcher_->leftovers().isEmpty());
        QElapsedTimer timer;
        timer.start();
        launcher_->terminate();
        QCOMPARE(launcher_->waitForEnd(), 0);
        qInfo("The program was gone %lld ms after the request to end.", timer.elapsed());
        QCOMPARE(launcher_->leftovers(), QStringList());
    }

    void manyStartsAtOnce()
    {
        constexpr int starts = 50;
        QCOMPARE(launcher_->openManyAtOnce(starts), starts - 1);
        screen_->wait("the window", [&] { return !launcher_->windows().isEmpty(); });
        QCOMPARE(launcher_->windows().size(), 1);
    }

    void neverSmallerThanItsContentNeeds()
    {
        launcher_->open();
        const QSize smallest = screen_->resize(launcher_->windows().value(0), {200, 200});
        QCOMPARE(smallest, QSize(560, 640));
    }

    void fitsASmallScreen()
    {
        const QSize all(1366, 768);
        constexpr int panel = 48;
        Screen small(all, panel);
        Launcher launcher(QStringLiteral(BRINDLE_PROGRAM), small);
        stage_->offerGame(failingGame);
        launcher.open();
        const QSize size = small.size(launcher.windows().value(0));
        constexpr int titleBar = 20; // of the test's window manager
        QVERIFY2(size.height() >= 640 && size.height() <= all.height() - panel - titleBar,
                 qPrintable(QString::number(size.height())));
        launcher.play();
        launcher.waitForStatus(Launcher::Status::red);
        launcher.waitForPlay();
    }

    void certificates_data()
    {
        QTest::addColumn<Stage::Certificate>("certificate");
        QTest::addColumn<QString>("message");
        QTest::newRow("untrusted") << Stage::Certificate::untrusted
                                   << QStringLiteral("unable to get local issuer certificate");
        QTest::newRow("self-signed")
            << Stage::Certificate::selfSigned << QStringLiteral("self-signed certificate");
        QTest::newRow("expired") << Stage::Certificate::expired
                                 << QStringLiteral("certificate has expired");
        const auto wrongHost = QStringLiteral("no alternative certificate subject name matches "
                                              "target host name '%1'");
        QTest::newRow("wrong host")
            << Stage::Certificate::wrongHost << wrongHost.arg(QStringLiteral("github.com"));
        QTest::newRow("wrong second host") << Stage::Certificate::wrongSecondHost
                                           << wrongHost.arg(QStringLiteral("codeload.github.com"));
    }

    void certificates()
    {
        QFETCH(Stage::Certificate, certificate);
        QFETCH(QString, message);
        stage_->open(certificate);
        launcher_->open();
        launcher_->waitForPlay();
        screen_->press({QStringLiteral("Return")});
        launcher_->waitForStatus(Launcher::Status::red);
        // Whoever hides behind it was not even asked.
        QCOMPARE(stage_->host().allRequests(), certificate == Stage::Certificate::wrongSecondHost
                                                   ? QStringList{ReleaseHost::gamePath()}
                                                   : QStringList());
        // Newer libcurl writes "hostname".
        const QString last = launcher_->log().section(u'\n', -1).replace(
            QStringLiteral("hostname"), QStringLiteral("host name"));
        QVERIFY2(last.startsWith(QStringLiteral("• Problem: ")) && last.endsWith(message),
                 qPrintable(last));
        QVERIFY(!QFile::exists(launcher_->project()));
        QCOMPARE(launcher_->leftovers(), QStringList());
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
