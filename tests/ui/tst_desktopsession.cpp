// Tests the reports of a setup to the desktop, over a real message bus.

#include "BusServices.h"
#include "ModelFixture.h"
#include "base/Threads.h"
#include "support/Await.h"
#include "support/ManualClock.h"
#include "ui/BrindleApp.h"
#include "ui/DesktopSession.h"
#include "ui/MessageBus.h"

#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QLocalServer>
#include <QQmlComponent>
#include <QSignalSpy>
#include <QtTest>
#include <qpa/qwindowsysteminterface.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const auto asked = u"sleep:idle|Brindle|The game is being set up|block"_s;

/// The launcher's window and its reports to the desktop, on a model.
struct Launcher
{
    explicit Launcher(PipelineFixture *fixture = nullptr) : fixture_(fixture)
    {
        QQmlComponent component(&engine, BrindleApp::mainWindow());
        window.reset(qobject_cast<QQuickWindow *>(component.createWithInitialProperties(
            {{u"model"_s, QVariant::fromValue<QObject *>(&model())}})));
        session = std::make_unique<DesktopSession>(model(), *window);
    }

    AppModel &model() { return fixture_ ? fixture_->model() : files.model(); }
    void download() { model().set(&Status::state, AppState::downloading(u"Step"_s)); }

    ModelFixture files;
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
    std::unique_ptr<DesktopSession> session;

private:
    PipelineFixture *fixture_; // null: the model comes from `files`
};

void loseTheFocus()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 7, 0)
    QWindowSystemInterface::handleFocusWindowChanged(nullptr);
#else
    QWindowSystemInterface::handleWindowActivated(nullptr);
#endif
    spinUntil([] { return !QGuiApplication::focusWindow(); });
}

} // namespace

class TestDesktopSession : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestBus> bus_;
    std::unique_ptr<BusServices> services_;
    std::unique_ptr<Launcher> launcher_;

    AppModel &model() { return launcher_->model(); }
    LoginManager &login() { return services_->login; }

    /// Waits until the bus has delivered all earlier messages and their answers.
    void waitForMessages()
    {
        const auto bus = await(openBus(QDBusConnection::SessionBus));
        for (int i = 0; i < 3; ++i) {
            const auto ping = QDBusMessage::createMethodCall(
                u"org.freedesktop.login1"_s, u"/org/freedesktop/login1"_s,
                u"org.freedesktop.DBus.Peer"_s, u"Ping"_s);
            // A blocking call that serves events hangs in Qt 6.4 if the answer is quick.
            const QDBusPendingCallWatcher answer(bus.asyncCall(ping));
            const QSignalSpy answered(&answer, &QDBusPendingCallWatcher::finished);
            spinUntil([&] { return !answered.isEmpty(); });
        }
    }

    void startDownload()
    {
        launcher_->download();
        spinUntil([this] { return !login().log.isEmpty(); });
        waitForMessages();
    }

private Q_SLOTS:
    void initTestCase()
    {
        BrindleApp::prepare();
        // All tests share one bus, because Qt keeps the address of a program's first bus.
        bus_ = std::make_unique<TestBus>();
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u"^(?!.*propagateSizeHints)"_s));
        services_ = std::make_unique<BusServices>(bus_->address());
        launcher_ = std::make_unique<Launcher>();
    }

    void cleanup()
    {
        launcher_.reset();
        waitForMessages(); // late messages would reach the next test's services
        services_.reset();
    }

    void cleanupTestCase() { bus_.reset(); }

    void theComputerStaysAwakeForASetup()
    {
        startDownload();
        model().set(&Status::state, AppState::settingUp(u"Step"_s));
        waitForMessages();
        QCOMPARE(login().log, QStringList{asked});
        QVERIFY(!login().isReleased());
        model().set(&Status::state, AppState::starting());
        spinUntil([this] { return login().isReleased(); });
        launcher_->download();
        spinUntil([this] { return login().log.size() == 2; });
        waitForMessages();
        QVERIFY(!login().isReleased());
        launcher_.reset();
        spinUntil([this] { return login().isReleased(); });
    }

    void anEndBeforeTheAnswerLetsGo()
    {
        launcher_->download();
        model().set(&Status::state, AppState::ready());
        spinUntil([this] { return !login().log.isEmpty() && login().isReleased(); });
    }

    void noAnswerMatters_data()
    {
        QTest::addColumn<Answer>("answer");
        QTest::newRow("a refusal") << Answer::refuse;
        QTest::newRow("nonsense") << Answer::nonsense;
        QTest::newRow("silence") << Answer::never;
    }

    void noAnswerMatters()
    {
        QFETCH(const Answer, answer);
        services_->notifications.answer = answer;
        login().answer = answer;
        startDownload();
        model().set(&Status::state, AppState::needs(u"x"_s));
        spinUntil([this] { return !services_->notifications.shown.isEmpty(); });
        waitForMessages();
        // The launcher still works.
        launcher_->download();
        spinUntil([this] { return login().log.size() == 2; });
        waitForMessages();
        QVERIFY(services_->notifications.withdrawn.isEmpty());
    }

    void withoutABusNothingIsSaid_data()
    {
        QTest::addColumn<QString>("address");
        QTest::newRow("none") << QString();
        QTest::newRow("gone") << u"unix:path=/nowhere/bus"_s;
        QTest::newRow("not an address") << u"bus"_s;
        QTest::newRow("silent") << u"unix:path=%1/silent"_s;
    }

    void withoutABusNothingIsSaid()
    {
        QFETCH(QString, address);
        QProcess process;
        auto environment = QProcessEnvironment::systemEnvironment();
        // A program that ends while it waits for a bus leaks.
        environment.insert(u"ASAN_OPTIONS"_s, u"detect_leaks=0"_s);
        const QTemporaryDir runtime;
        // Accepts connections, and never sends a byte.
        QLocalServer silent;
        QVERIFY(silent.listen(runtime.filePath(u"silent"_s)));
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtime.path());
        environment.remove(u"DISPLAY"_s); // with a display, D-Bus would start a bus
        address.replace(u"%1"_s, runtime.path());
        for (const char *name : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"}) {
            environment.insert(QLatin1String(name), address);
        }
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationFilePath(),
                      {u"tst_desktopsession"_s, u"--setup"_s});
        QVERIFY(process.waitForFinished(60'000));
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardError(), QByteArray());
        QCOMPARE(process.readAllStandardOutput(), QByteArray());
    }

    void anUnseenEndIsAnnounced_data()
    {
        QTest::addColumn<AppState>("end");
        QTest::addColumn<QString>("step");
        QTest::addColumn<QStringList>("expected");
        const auto show = u"default,Show"_s;
        QTest::newRow("ready") << AppState::ready() << QString()
                               << QStringList{u"Ready"_s, QString(), show};
        QTest::newRow("starting") << AppState::starting() << u"Starting the game…"_s
                                  << QStringList{u"Starting…"_s, u"Starting the game…"_s, show};
        QTest::newRow("failed") << AppState::needs(u"No <a href=\"x\">&</a>"_s) << u"Step"_s
                                << QStringList{u"Needs something"_s,
                                               u"No &lt;a href=&quot;x&quot;&gt;&amp;&lt;/a&gt;"_s,
                                               show};
    }

    void anUnseenEndIsAnnounced()
    {
        QFETCH(AppState, end);
        QFETCH(QString, step);
        QFETCH(QStringList, expected);
        startDownload();
        model().set(&Status::stepText, step);
        model().set(&Status::state, end);
        auto &shown = services_->notifications.shown;
        spinUntil([&] { return !shown.isEmpty(); });
        QCOMPARE(shown.first(), expected + QStringList({u"Brindle"_s, u"org.brindle.Brindle"_s}));
        waitForMessages();
        QVERIFY(services_->notifications.withdrawn.isEmpty());
        // The next state withdraws the notification, and shows no new one.
        model().set(&Status::state, AppState::playing());
        spinUntil([this] { return services_->notifications.withdrawn == QList<uint>{41}; });
        model().set(&Status::state, AppState::needs(u"The game closed"_s));
        waitForMessages();
        QCOMPARE(shown.size(), 1);
    }

    void onlyAnUnseenEndIsAnnounced_data()
    {
        QTest::addColumn<QWindow::Visibility>("visibility");
        QTest::addColumn<bool>("focused");
        QTest::addColumn<bool>("announced");
        QTest::newRow("in front") << QWindow::Windowed << true << false;
        QTest::newRow("in the background") << QWindow::Windowed << false << true;
        QTest::newRow("closed") << QWindow::Hidden << true << true;
        QTest::newRow("minimised") << QWindow::Minimized << true << true;
    }

    void onlyAnUnseenEndIsAnnounced()
    {
        QFETCH(const QWindow::Visibility, visibility);
        QFETCH(const bool, focused);
        QFETCH(const bool, announced);
        QQuickWindow &window = *launcher_->window;
        QQuickWindow other; // takes the focus from a hidden launcher
        QQuickWindow &front = visibility == QWindow::Windowed ? window : other;
        window.setVisibility(visibility);
        front.show();
        front.requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(&front));
        if (!focused) {
            loseTheFocus();
        }
        startDownload();
        model().set(&Status::state, AppState::ready());
        spinUntil([&] { return !announced || !services_->notifications.shown.isEmpty(); });
        waitForMessages();
        QCOMPARE(services_->notifications.shown.size(), announced ? 1 : 0);
    }

    void aCancelledSetupIsNotAnnounced()
    {
        PipelineFixture fixture;
        fixture.stall(ReleaseHost::gamePath());
        launcher_ = std::make_unique<Launcher>(&fixture);
        const auto end = qScopeGuard([this] { launcher_.reset(); }); // must end before the model
        model().startWork(true);
        spinUntil([&] { return fixture.stalled && !login().log.isEmpty(); });
        waitForMessages();
        model().cancel();
        fixture.waitUntilIdle();
        spinUntil([this] { return login().isReleased(); });
        waitForMessages();
        QVERIFY(services_->notifications.shown.isEmpty());
    }

    void anOldAnnouncementIsWithdrawn_data()
    {
        QTest::addColumn<QString>("why");
        QTest::addColumn<bool>("isLate");
        for (const char *why :
             {"the window is opened", "it is no longer minimised", "a new Play", "the end"}) {
            QTest::addRow("%s", why) << QString::fromLatin1(why) << false;
            QTest::addRow("%s, before it is there", why) << QString::fromLatin1(why) << true;
        }
    }

    void anOldAnnouncementIsWithdrawn()
    {
        QFETCH(QString, why);
        QFETCH(bool, isLate);
        QQuickWindow &window = *launcher_->window;
        if (why == u"it is no longer minimised") {
            window.show();
            QVERIFY(QTest::qWaitForWindowActive(&window));
            window.showMinimized();
        }
        const auto act = [&] {
            if (why == u"a new Play") {
                launcher_->download();
            } else if (why == u"the end") {
                launcher_.reset();
            } else {
                window.showNormal();
                window.requestActivate();
            }
        };
        auto &server = services_->notifications;
        if (isLate) {
            server.beforeReply = act;
        }
        startDownload();
        model().set(&Status::state, AppState::needs(u"x"_s));
        spinUntil([&] { return !server.shown.isEmpty(); });
        waitForMessages();
        if (!isLate) {
            QVERIFY(server.withdrawn.isEmpty());
            act();
        }
        spinUntil([&] { return !server.withdrawn.isEmpty(); });
        // The notification is withdrawn only once.
        if (launcher_) {
            loseTheFocus();
            window.requestActivate();
        }
        waitForMessages();
        QCOMPARE(server.withdrawn, QList<uint>{41});
    }

    void theAnnouncementLeadsToTheWindow()
    {
        QSignalSpy requests(launcher_->session.get(), &DesktopSession::windowRequested);
        startDownload();
        model().set(&Status::state, AppState::ready());
        auto &server = services_->notifications;
        spinUntil([&] { return !server.shown.isEmpty(); });
        waitForMessages();

        // Another program's notification and another action change nothing.
        Q_EMIT server.ActivationToken(7, u"another's"_s);
        Q_EMIT server.ActionInvoked(7, u"default"_s);
        Q_EMIT server.ActionInvoked(41, u"other"_s);
        waitForMessages();
        QCOMPARE(requests.size(), 0);
        Q_EMIT server.ActivationToken(41, u"a token"_s);
        Q_EMIT server.ActionInvoked(41, u"default"_s);
        spinUntil([&] { return requests.size() == 1; });
        QCOMPARE(requests.first().first().toByteArray(), QByteArray("a token"));
        // Each token serves one request. An unusable token is dropped.
        for (const QString &token : {QString(), QString(256, u'a')}) {
            if (!token.isEmpty()) {
                Q_EMIT server.ActivationToken(41, token);
            }
            requests.clear();
            Q_EMIT server.ActionInvoked(41, u"default"_s);
            spinUntil([&] { return requests.size() == 1; });
            QCOMPARE(requests.first().first().toByteArray(), QByteArray());
        }
    }

    void theIconShowsTheProgress()
    {
        startDownload();
        const auto &updates = services_->dock.updates;
        waitForMessages();
        QVERIFY(updates.isEmpty());
        for (int i = 1; i <= 1000; ++i) {
            model().updateProgress(i, 2000, 1);
        }
        spinUntil([&] { return !updates.isEmpty(); });
        waitForMessages();
        QCOMPARE(updates.size(), 1);
        QCOMPARE(services_->dock.applications,
                 QStringList{u"application://org.brindle.Brindle.desktop"_s});
        const auto visible = u"progress-visible"_s;
        QCOMPARE(updates.last().value(u"progress"_s).toDouble(), 0.5);
        QCOMPARE(updates.last().value(visible).toBool(), true);

        // The fraction is no longer known.
        model().updateProgress(1, 0, 1);
        spinUntil([&] { return updates.size() == 2; });
        QCOMPARE(updates.last().value(visible).toBool(), false);

        model().updateProgress(3000, 2000, 1);
        spinUntil([&] { return updates.size() == 3; });
        QCOMPARE(updates.last().value(u"progress"_s).toDouble(), 1.0);

        // A download that never pauses is shown, too.
        QTimer changes;
        connect(&changes, &QTimer::timeout, this,
                [&, done = 0]() mutable { model().updateProgress(++done, 2000, 1); });
        changes.start(10);
        spinUntil([&] { return updates.size() >= 4; });
        changes.stop();

        model().set(&Status::state, AppState::needs(u"x"_s));
        spinUntil([&] { return !updates.last().value(visible).toBool(); });
        const auto count = updates.size();
        waitForMessages();
        QCOMPARE(updates.size(), count);
    }

    void filesAreShownByTheFileManager()
    {
        const QTemporaryDir folder;
        QuickDesktop desktop({u"sh"_s, {u"-c"_s, u"touch \"$0/opened\""_s, u"{path}"_s}});
        QStringList shown;
        const auto reveal = [&](Answer answer, const QString &path) {
            services_->files.answer = answer;
            desktop.reveal(path);
            shown << QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
            spinUntil([&] { return services_->files.shown == shown; });
            waitForMessages();
        };
        const QDir tricky(folder.filePath(u"a b,ü#;$(c) 'd'"_s));
        QVERIFY(tricky.mkpath(u"."_s));
        reveal(Answer::reply, tricky.path());
        QVERIFY(shown.first().endsWith(u"/a%20b,%C3%BC%23;$(c)%20'd'"));
        reveal(Answer::nonsense, tricky.path());
        QVERIFY(tricky.isEmpty());
        // Without a file manager, the folder is opened, even for a file in it.
        reveal(Answer::refuse, tricky.path());
        const QString opened = tricky.filePath(u"opened"_s);
        spinUntil([&] { return QFile::exists(opened); });
        QVERIFY(QFile::rename(opened, tricky.filePath(u"file"_s)));
        reveal(Answer::refuse, tricky.filePath(u"file"_s));
        spinUntil([&] { return QFile::exists(opened); });
    }
};

/// Runs a setup in this process, which a test watches from outside.
static int runSetup()
{
    Launcher launcher;
    launcher.download();
    launcher.model().updateProgress(1, 2, 1);
    QTimer::singleShot(600, &launcher.engine, [&] {
        launcher.model().set(&Status::state, AppState::needs(u"x"_s));
        QTimer::singleShot(0, &launcher.engine, [] { QCoreApplication::quit(); });
    });
    return QGuiApplication::exec();
}

int main(int argc, char *argv[])
{
    const Threads::ProgramEnd programEnd;
    QGuiApplication application(argc, argv);
    if (QCoreApplication::arguments().contains(u"--setup"_s)) {
        BrindleApp::prepare();
        return runSetup();
    }
    TestDesktopSession test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_desktopsession.moc"
