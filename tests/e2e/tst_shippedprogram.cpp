// Uses the shipped program like a player, by its windows and the keyboard. The code host has its
// real names.

#include "Launcher.h"
#include "Stage.h"
#include "support/Namespaces.h"
#include "support/TestFiles.h"

#include <QtTest>

#include <csignal>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const QByteArray longGame = "importSeconds=0.2\n";
const QByteArray newGame = longGame + "playExit=1\n";
const QByteArray failingGame = "importSeconds=1\nplaySeconds=0\nplayExit=3\n"
                               "printText=the map is missing\n";

QString reasonNotToRun;

} // namespace

class TestShippedProgram : public QObject
{
    Q_OBJECT

    using Status = Launcher::Status;

    std::unique_ptr<Screen> screen_;
    std::unique_ptr<Stage> stage_;
    std::unique_ptr<Launcher> launcher_;

    /// Opens the launcher and presses Play.
    void playFirst(const QByteArray &behaviour) const
    {
        stage_->offerGame(behaviour);
        launcher_->open();
        launcher_->play();
    }

    /// Moves the focus from Settings back to Play.
    void backFromSettings() const
    {
        screen_->activate(Launcher::title);
        launcher_->waitForPlay();
        screen_->press({u"shift+Tab"_s, u"shift+Tab"_s});
    }

    QString lastLogLine() const { return launcher_->log().section(u'\n', -1); }

private Q_SLOTS:
    void initTestCase()
    {
        if (!reasonNotToRun.isEmpty()) {
            QSKIP(qPrintable(u"namespaces are not permitted here: "_s + reasonNotToRun));
        }
        screen_ = std::make_unique<Screen>();
        stage_ = std::make_unique<Stage>();
    }
    void init()
    {
        launcher_ = std::make_unique<Launcher>(*screen_);
        stage_->open();
    }
    void cleanup()
    {
        if (QTest::currentTestFailed()) {
            const QString file = QStringLiteral(EVIDENCE_FOLDER "/%1.png")
                                     .arg(QLatin1String(QTest::currentTestFunction()));
            QDir().mkpath(QStringLiteral(EVIDENCE_FOLDER));
            screen_->picture().save(file);
            qWarning("The keyboard is with \"%s\", %d games run, and the screen is in %s.",
                     qPrintable(screen_->focusedTitle()),
                     static_cast<int>(launcher_->games().size()), qPrintable(file));
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
        playFirst(longGame);
        launcher_->waitForGame();
        QVERIFY(QFile::exists(launcher_->project() + u"/addons/minimap/plugin.cfg"_s));
        QCOMPARE(stage_->host().requests(),
                 (QStringList{ReleaseHost::gamePath(), Stage::addonPath(), Stage::checksumPath(),
                              Stage::enginePath()}));
        // One handshake for each of the three hosts.
        QCOMPARE(stage_->host().connectionCount(), 3);
        screen_->activate(Launcher::title);
        launcher_->waitForStatus(Status::green);
        QCOMPARE(launcher_->games().size(), 1);
        screen_->closeWindow(Launcher::gameTitle);
        launcher_->waitForNoGame();
        const QStringList log = launcher_->log().split(u'\n');
        QCOMPARE(log.last(), u"• Game closed normally"_s);
        QVERIFY(log.contains(u"Checksum (SHA-512) matches the official list."_s));
        QCOMPARE(launcher_->leftovers(), QStringList());

        stage_->host().forgetRequests();
        launcher_->play();
        launcher_->waitForGame();
        QCOMPARE(stage_->host().allRequests(), QStringList());
        launcher_->pressEnd();
        launcher_->waitForNoGame();
        QCOMPARE(lastLogLine(), u"• Game stopped"_s);
    }

    void aFailureOnASmallScreen()
    {
        const QSize all(1366, 768);
        constexpr int panel = 48;
        constexpr int titleBar = 20; // the height in openbox
        Screen small(all, panel);
        launcher_ = std::make_unique<Launcher>(small);
        playFirst(failingGame);
        const QString window = launcher_->windows().value(0);
        const int height = small.size(window).height();
        QVERIFY2(height >= 640 && height <= all.height() - panel - titleBar,
                 qPrintable(QString::number(height)));
        launcher_->waitForStatus(Status::red);
        launcher_->waitForPlay();
        const QString report = launcher_->copied({u"Tab"_s, u"Tab"_s, u"space"_s});
        small.press({u"shift+Tab"_s, u"shift+Tab"_s});
        static const QRegularExpression summary(
            u"^The game closed after \\d seconds? \\(exit code 3\\), so it did not start "
            "properly\\. The last lines of the log below may show why\\.\n\n"_s);
        QVERIFY2(report.contains(summary), qPrintable(report));
        const QStringList log = launcher_->log(3).split(u'\n');
        QVERIFY(log.contains(u"the map is missing"_s));
        QCOMPARE(report.section(u"\n\n"_s, 1), log.mid(log.size() - 30).join(u'\n'));
        // The window manager keeps the window's smallest size.
        QCOMPARE(small.resize(window, {200, 200}), QSize(560, 640));
        launcher_.reset(); // must end before its screen
    }

    void aQuitEndsADownload_data()
    {
        QTest::addColumn<bool>("byTheSession");
        QTest::newRow("by Ctrl+Q") << false;
        QTest::newRow("by the session's end") << true;
    }
    void aQuitEndsADownload()
    {
        QFETCH(const bool, byTheSession);
        const auto gate = stage_->host().hold(Stage::enginePath(), stage_->engineSize() / 2);
        playFirst(longGame);
        Screen::wait("half of the engine", [&] { return gate->isReached(); });
        launcher_->waitForStatus(Status::orange);
        QCOMPARE(launcher_->leftovers().size(), 1);
        if (byTheSession) {
            launcher_->terminate();
        } else {
            screen_->press({u"ctrl+q"_s});
            launcher_->waitForAlert();
            screen_->press({u"Return"_s});
        }
        QCOMPARE(launcher_->waitForEnd(), 0);
        QCOMPARE(launcher_->leftovers(), QStringList());
        QVERIFY(!QFile::exists(launcher_->storage(u"Engine"_s)));
    }

    void updateAndRemoveEverything()
    {
        playFirst(longGame);
        launcher_->waitForGame();
        launcher_->pressEnd();
        launcher_->waitForNoGame();

        const QString mark = launcher_->project() + u"/of the old version"_s;
        writeFile(mark, {});
        stage_->host().forgetRequests();
        stage_->offerGame(newGame);
        launcher_->pressInSettings(5);
        Screen::wait("the new version's import", [&] {
            return !QFile::exists(mark) &&
                   QFile::exists(launcher_->storage(u"imported-4.3-stable.txt"_s));
        });
        launcher_->waitForStatus(Status::green);
        backFromSettings();
        QCOMPARE(stage_->host().requests(),
                 (QStringList{ReleaseHost::gamePath(), Stage::addonPath()}));
        QCOMPARE(readFile(launcher_->project() + u"/sample-engine.ini"_s), newGame);

        // First answer with Cancel, then with Remove.
        launcher_->pressInSettings(3);
        launcher_->waitForAlert();
        screen_->press({u"Escape"_s});
        launcher_->waitForContent();
        QVERIFY(QFile::exists(launcher_->storage()));
        backFromSettings();
        launcher_->pressInSettings(3);
        launcher_->waitForAlert();
        screen_->press({u"Return"_s});
        launcher_->waitForStatus(Status::gray);
        QVERIFY(!QFile::exists(launcher_->storage()));
        launcher_->waitForPlay();
        screen_->press({u"ctrl+q"_s});
        QCOMPARE(launcher_->waitForEnd(), 0);
    }

    void theWindowIsClosedAndComesBack()
    {
        playFirst(longGame);
        launcher_->waitForGame();
        // The game's window covers the launcher's.
        screen_->activate(Launcher::gameTitle);
        QCOMPARE(launcher_->openAgain(), 0);
        Screen::wait("the window to come to the front",
                     [this] { return screen_->focusedTitle() == Launcher::title; });
        for (const bool startAgain : {true, false}) {
            screen_->closeWindow(Launcher::title);
            launcher_->waitForAlert();
            screen_->press({u"Escape"_s});
            Screen::wait("the window to close", [this] { return launcher_->windows().isEmpty(); });
            QVERIFY(launcher_->isRunning());
            QCOMPARE(launcher_->games().size(), 1);
            if (startAgain) {
                QCOMPARE(launcher_->openAgain(), 0);
            } else {
                ::kill(static_cast<pid_t>(launcher_->games().first()), SIGTERM);
            }
            Screen::wait("the window", [this] { return !launcher_->windows().isEmpty(); });
        }
        QCOMPARE(launcher_->games(), QList<qint64>());
        screen_->closeWindow(Launcher::title);
        QCOMPARE(launcher_->waitForEnd(), 0);
    }

    void anImportEndsWithItsLauncher()
    {
        playFirst("importSeconds=600\n");
        Screen::wait("the import", [this] { return launcher_->games().size() == 1; });
        launcher_->kill();
        QCOMPARE(launcher_->waitForEnd(), -1);
        launcher_->waitForNoGame();
    }

    void badCertificates_data()
    {
        QTest::addColumn<Stage::Certificate>("certificate");
        QTest::addColumn<QString>("message");
        QTest::newRow("untrusted")
            << Stage::Certificate::untrusted << u"unable to get local issuer certificate"_s;
        QTest::newRow("expired") << Stage::Certificate::expired << u"certificate has expired"_s;
        QTest::newRow("wrong second host")
            << Stage::Certificate::wrongSecondHost
            << u"no alternative certificate subject name matches target host name "
               "'codeload.github.com'"_s;
    }
    void badCertificates()
    {
        QFETCH(const Stage::Certificate, certificate);
        QFETCH(const QString, message);
        stage_->open(certificate);
        launcher_->open();
        launcher_->waitForPlay();
        screen_->press({u"Return"_s});
        launcher_->waitForStatus(Status::red);
        // No request reached the host with the bad certificate.
        QCOMPARE(stage_->host().allRequests(), certificate == Stage::Certificate::wrongSecondHost
                                                   ? QStringList{ReleaseHost::gamePath()}
                                                   : QStringList());
        // Newer versions of libcurl write "hostname".
        const QString last = lastLogLine().replace(u"hostname"_s, u"host name"_s);
        QVERIFY2(last.startsWith(u"• Problem: ") && last.endsWith(message), qPrintable(last));
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
