// The end of a desktop session, as a session manager tells it.

#include "AppFixture.h"
#include "VirtualDisplay.h"

#include "support/Await.h"

#include <QAbstractNativeEventFilter>
#include <QGuiApplication>
#include <QtTest>
#include <qpa/qplatformnativeinterface.h>

#include <array>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// The session manager of this process.
class Session
{
public:
    /// Starts it and makes it the one that the application finds.
    void start()
    {
        std::array<int, 2> ends = {};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            throw std::runtime_error("no socket to be had");
        }
        line_ = ends[0];
        if (fork() == 0) {
            dup2(ends[1], STDIN_FILENO);
            dup2(ends[1], STDOUT_FILENO);
            execl(SESSION_MANAGER, SESSION_MANAGER, nullptr);
            _exit(1);
        }
        ::close(ends[1]);
        while (heard_.isEmpty()) {
            listen(-1);
        }
        qputenv("SESSION_MANAGER", heard_.takeFirst().toUtf8());
    }

    void tell(const char *what) const
    {
        const QByteArray line = QByteArray(what) + '\n';
        if (::write(line_, line.constData(), static_cast<size_t>(line.size())) != line.size()) {
            throw std::runtime_error("the session manager has gone");
        }
    }

    /// Serves events until the client has done that; returns what it did until then.
    QStringList waitFor(const QString &what)
    {
        QStringList done;
        spinUntil([&] {
            listen(0);
            while (!heard_.isEmpty() && !done.contains(what)) {
                done << heard_.takeFirst();
            }
            return done.contains(what);
        });
        return done;
    }

private:
    void listen(int milliseconds)
    {
        pollfd state = {line_, POLLIN, 0};
        if (poll(&state, 1, milliseconds) != 1) {
            return;
        }
        std::array<char, 256> bytes = {};
        const ssize_t count = ::read(line_, bytes.data(), bytes.size());
        if (count <= 0) {
            throw std::runtime_error("the session manager has gone");
        }
        text_.append(bytes.data(), count);
        for (qsizetype end = text_.indexOf('\n'); end >= 0; end = text_.indexOf('\n')) {
            heard_ << QString::fromUtf8(text_.left(end));
            text_.remove(0, end + 1);
        }
    }

    int line_ = -1;
    QByteArray text_;
    QStringList heard_;
};

/// Collects the startup messages that this program broadcasts.
class StartupMessages : public QAbstractNativeEventFilter
{
public:
    StartupMessages() { qGuiApp->installNativeEventFilter(this); }
    bool nativeEventFilter(const QByteArray & /*kind*/, void *event, qintptr * /*result*/) override
    {
        // A client message in bytes: xcb's header of 12 bytes, then 20 of the text.
        const auto *const bytes = static_cast<const char *>(event);
        constexpr int clientMessage = 33;
        if ((bytes[0] & 0x7f) == clientMessage && bytes[1] == 8) {
            text.append(bytes + 12, 20);
        }
        return false;
    }

    QByteArray text;
};

Session session;
const auto agrees = u"agrees"_s;
const auto refuses = u"does not agree"_s;

} // namespace

class TestSession : public AppFixture
{
    Q_OBJECT

    /// The session asks whether it may end; returns what the application did until it answered.
    static QStringList commit(const QString &answer)
    {
        session.tell("ask");
        return session.waitFor(answer);
    }

    void die()
    {
        session.tell("die");
        spinUntil([this] { return endings() > 0; });
        spinUntil([] { return !model().work(); });
        QCOMPARE(endings(), 1);
        QVERIFY(!alert());
    }

private Q_SLOTS:
    void initTestCase()
    {
        prepare();
        // What a client is asked that has just come.
        session.waitFor(agrees);
    }
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u"TypeError"_s));
        start();
    }
    void cleanup() { stop(); }

    void anIdleLauncherEndsWithTheSession()
    {
        QCOMPARE(commit(agrees), (QStringList{u"wants to ask"_s, u"has asked"_s, agrees}));
        QVERIFY2(endings() == 0, "others may still keep the session");
        QVERIFY(app().window()->isVisible());
        die();
        QVERIFY(!app().window()->isVisible());
    }

    void aSessionThatGoesOnKeepsTheLauncher()
    {
        commit(agrees);
        session.tell("cancelled");
        QCOMPARE(commit(agrees).constLast(), agrees);
        QCOMPARE(endings(), 0);
        session.tell("cancelled");
        startGame();
        finishGame();
    }

    void quitEndsTheGameAndTheSession()
    {
        startGame();
        ask([] { commit(agrees); }, 0,
            [this] { QCOMPARE(alertMessage(), u"The game is still running"_s); });
        QCOMPARE(endings(), 0);
        spinUntil([] { return !model().work(); });
        QVERIFY(model().log.lines().contains(u"• Game stopped"_s));
        die();
    }

    void keepOpenKeepsTheSession()
    {
        startGame();
        QStringList done;
        ask([&] { done = commit(refuses); }, 1);
        QCOMPARE(done, (QStringList{u"wants to ask"_s, u"has asked and cancels"_s, refuses}));
        session.tell("cancelled");
        QCOMPARE(endings(), 0);
        QVERIFY(model().gameRunning());
        // It still asks about a request of the player's own, wherever it comes from.
        QEvent request(QEvent::Quit);
        ask([&request] { QCoreApplication::sendEvent(qGuiApp, &request); }, 1);
        QVERIFY(!request.isAccepted());
        QCOMPARE(endings(), 0);
        finishGame();
    }

    void keepOpenBringsTheWindowBack()
    {
        startGame();
        ask([this] { app().window()->close(); }, 1);
        QVERIFY(!app().window()->isVisible());
        ask([] { commit(refuses); }, 1, [this] { finishGame(); });
        session.tell("cancelled");
        spinUntil([this] { return app().window()->isVisible(); });
    }

    void anOpenQuestionIsAnsweredWithNo()
    {
        QStringList done;
        ask(
            [&] {
                model().removeEverything();
                spinUntil([] { return !model().work(); });
            },
            0,
            [&] {
                done = commit(agrees);
                QVERIFY(!alert());
            });
        QCOMPARE(done, (QStringList{u"wants to ask"_s, u"has asked"_s, agrees}));
        QVERIFY2(QFileInfo::exists(root()), "nobody has said Remove");
        QCOMPARE(endings(), 0);
        die();
    }

    void theQuestionWhetherToQuitIsAskedAnew()
    {
        startGame();
        int questions = 0;
        ask([this] { app().requestQuit(); }, 0,
            [&] {
                const QPointer<QObject> first = alert();
                ask([] { commit(refuses); }, 1,
                    [&] {
                        ++questions;
                        QVERIFY(!first || first != alert());
                    });
            });
        QCOMPARE(questions, 1);
        session.tell("cancelled");
        QVERIFY(model().gameRunning());
        QCOMPARE(endings(), 0);
        finishGame();
    }

    void whereNothingMayBeAskedTheGameEndsWithTheSession()
    {
        startGame();
        session.tell("silently");
        QCOMPARE(session.waitFor(agrees), QStringList{agrees});
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
        const quintptr later = time() + 10'000;
        const QByteArray id = "shell-1-2-host_TIME" + QByteArray::number(later);
        app().open({}, id);
        spinUntil([&] { return messages.text.contains("remove: ID=" + id); });
        QCOMPARE(time(), later);
        QCOMPARE(QGuiApplication::focusWindow(), app().window());
    }

    void anEndThatHasBegunAgrees()
    {
        app().forceQuit();
        QCOMPARE(commit(agrees), QStringList{agrees});
        QCOMPARE(endings(), 1);
    }
};

int main(int argc, char *argv[])
{
    moveToVirtualDisplay(ON_VIRTUAL_DISPLAY, argc, argv);
    // The application looks for its session once, when it is made.
    session.start();
    const QGuiApplication application(argc, argv);
    TestSession test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_session.moc"
