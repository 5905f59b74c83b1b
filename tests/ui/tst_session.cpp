// Tests that the launcher obeys the session's end and startup ids on X11.

#include "AppFixture.h"
#include "SessionManager.h"
#include "VirtualDisplay.h"

#include "support/Await.h"

#include <QAbstractNativeEventFilter>
#include <QGuiApplication>
#include <QtTest>
#include <qpa/qplatformnativeinterface.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Collects the startup messages that this program broadcasts.
class StartupMessages : public QAbstractNativeEventFilter
{
public:
    StartupMessages() { qGuiApp->installNativeEventFilter(this); }
    bool nativeEventFilter(const QByteArray & /*kind*/, void *event, qintptr * /*result*/) override
    {
        // A client message has a header of 12 bytes, then 20 bytes of text.
        const auto *const bytes = static_cast<const char *>(event);
        constexpr int clientMessage = 33;
        if ((bytes[0] & 0x7f) == clientMessage && bytes[1] == 8) {
            text.append(bytes + 12, 20);
        }
        return false;
    }

    QByteArray text;
};

SessionManager *session = nullptr;
const auto agrees = u"agrees"_s;
const auto refuses = u"does not agree"_s;

} // namespace

class TestSession : public AppFixture
{
    Q_OBJECT

    bool isGnome_ = false;

    /// Asks whether the session may end. Returns the application's acts until it answers.
    static QStringList commit(const QString &answer)
    {
        session->order("ask");
        return session->waitFor(answer);
    }

    static void eachDesktop()
    {
        QTest::addColumn<bool>("isGnome");
        QTest::newRow("Plasma") << false;
        QTest::newRow("GNOME") << true;
    }

    void die()
    {
        if (isGnome_) {
            // GNOME announces the end a second time when all programs have agreed.
            session->order("silently");
            QCOMPARE(session->waitFor(agrees), QStringList{agrees});
        }
        session->order("die");
        spinUntil([this] { return endings() > 0; });
        spinUntil([] { return !model().work(); });
        QCOMPARE(endings(), 1);
        QVERIFY(!alert());
    }

private Q_SLOTS:
    void initTestCase()
    {
        prepare();
        // The session manager asks each new client once.
        session->waitFor(agrees);
    }
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u"TypeError"_s));
        isGnome_ = qstrcmp(QTest::currentDataTag(), "GNOME") == 0;
        session->order(isGnome_ ? "GNOME" : "Plasma");
        start();
    }
    void cleanup() { stop(); }

    void anIdleLauncherEndsWithTheSession_data() { eachDesktop(); }
    void anIdleLauncherEndsWithTheSession()
    {
        QCOMPARE(commit(agrees), (QStringList{u"wants to ask"_s, u"has asked"_s, agrees}));
        session->order("cancelled");
        QCOMPARE(commit(agrees).constLast(), agrees);
        QVERIFY2(endings() == 0, "others may still keep the session");
        QVERIFY(app().window()->isVisible());
        die();
        QVERIFY(!app().window()->isVisible());
    }

    void quitEndsTheGameAndTheSession_data() { eachDesktop(); }
    void quitEndsTheGameAndTheSession()
    {
        startGame();
        ask([] { commit(agrees); }, 0,
            [this] { QCOMPARE(text(u"alertMessage"_s), u"The game is still running"_s); });
        QCOMPARE(endings(), 0);
        spinUntil([] { return !model().work(); });
        QVERIFY(model().log.lines().contains(u"• Game stopped"_s));
        die();
    }

    void keepOpenKeepsTheSession_data() { eachDesktop(); }
    void keepOpenKeepsTheSession()
    {
        startGame();
        QStringList done;
        ask([&] { done = commit(refuses); }, 1);
        QCOMPARE(done, (QStringList{u"wants to ask"_s, u"has asked and cancels"_s, refuses}));
        QCOMPARE(endings(), 0);
        QVERIFY(model().gameRunning());
        finishGame();
    }

    void keepOpenBringsTheWindowBack()
    {
        startGame();
        ask([this] { app().window()->close(); }, 1);
        QVERIFY(!app().window()->isVisible());
        ask([] { commit(refuses); }, 1, [this] { finishGame(); });
        spinUntil([this] { return app().window()->isVisible(); });
    }

    void theQuitQuestionIsAskedAnew()
    {
        startGame();
        int questions = 0;
        ask([this] { app().requestQuit(); }, 0,
            [&] {
                const QPointer<QQuickItem> first = alert();
                ask([] { commit(refuses); }, 1,
                    [&] {
                        ++questions;
                        QVERIFY(!first || first != alert());
                    });
            });
        QCOMPARE(questions, 1);
        QVERIFY(model().gameRunning());
        QCOMPARE(endings(), 0);
        finishGame();
    }

    void aSessionWithoutQuestionsEndsTheGame()
    {
        startGame();
        session->order("silently");
        QCOMPARE(session->waitFor(agrees), QStringList{agrees});
        QVERIFY(!alert());
        QVERIFY2(model().gameRunning(), "the session may yet go on");
        die();
        QVERIFY(model().log.lines().contains(u"• Game stopped"_s));
    }

    void aSecondStartEndsItsStartupSequence()
    {
        auto *const native = QGuiApplication::platformNativeInterface();
        const auto time = [&] {
            return reinterpret_cast<quintptr>(
                native->nativeResourceForScreen("apptime", QGuiApplication::primaryScreen()));
        };
        const StartupMessages messages;
        for (const bool isClosed : {false, true}) {
            app().window()->setVisible(!isClosed);
            const quintptr later = time() + 100'000;
            const QByteArray id = "shell-1-2-host_TIME" + QByteArray::number(later);
            app().open(id);
            spinUntil([&] { return messages.text.contains("remove: ID=" + id); });
            QCOMPARE(time(), later);
            spinUntil([this] { return QGuiApplication::focusWindow() == app().window(); });
        }
    }

    void aGamesStartupIdBearsTheTimeOfTheLastInput()
    {
        QuickDesktop desktop({});
        auto *const native = QGuiApplication::platformNativeInterface();
        QScreen *const screen = QGuiApplication::primaryScreen();
        const auto setTime = reinterpret_cast<void (*)(QScreen *, quintptr)>(
            reinterpret_cast<void *>(native->nativeResourceFunctionForScreen("setappusertime")));
        const quintptr input =
            reinterpret_cast<quintptr>(native->nativeResourceForScreen("appusertime", screen)) + 1;
        setTime(screen, input);
        const QString id = u"brindle-%1-1-%2_TIME%3"_s.arg(QCoreApplication::applicationPid())
                               .arg(QSysInfo::machineHostName())
                               .arg(input);
        QCOMPARE(await(desktop.startPermission({})),
                 (QMap<QString, QString>{{u"DESKTOP_STARTUP_ID"_s, id}}));
    }

    void anEndingLauncherAgrees()
    {
        app().forceQuit();
        QCOMPARE(commit(agrees), QStringList{agrees});
        QCOMPARE(endings(), 1);
    }
};

int main(int argc, char *argv[])
{
    moveToVirtualDisplay(ON_VIRTUAL_DISPLAY, argc, argv);
    // The application looks for its session only once, in its constructor.
    SessionManager manager;
    session = &manager;
    const QGuiApplication application(argc, argv);
    TestSession test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_session.moc"
