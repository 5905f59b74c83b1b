// One launcher per user: who is the first, what later ones get, and what a crash leaves behind.

#include "support/Await.h"
#include "support/TestChild.h"
#include "ui/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <pwd.h>
#include <unistd.h>

#include <future>
#include <vector>

using namespace brindle;
using Role = SingleInstance::Role;
using namespace Qt::StringLiterals;

namespace {

/// What another process's claim would get. A thread will do: locks of two openings of a file
/// exclude each other within one process too.
std::future<Role> claimElsewhere(const QString &folder, const QByteArray &token = {},
                                 int patience = 30'000, const QByteArray &startupId = {})
{
    return std::async(std::launch::async, [folder, token, patience, startupId] {
        SingleInstance later(folder);
        return later.claim(token, startupId, patience);
    });
}

Role resultOf(std::future<Role> &claim)
{
    spinUntil(
        [&claim] { return claim.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return claim.get();
}

/// Variables of this process, as they were again at the end.
class Environment
{
public:
    explicit Environment(const QList<std::pair<const char *, QByteArray>> &variables)
    {
        for (const auto &[name, value] : variables) {
            before_.append({name, qgetenv(name)});
            qputenv(name, value);
        }
    }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;
    ~Environment()
    {
        for (const auto &[name, value] : before_) {
            value.isNull() ? qunsetenv(name) : qputenv(name, value);
        }
    }

private:
    QList<std::pair<const char *, QByteArray>> before_;
};

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> folder_;

    QString path() const { return folder_->path(); }
    QString socket() const { return folder_->filePath(QStringLiteral("brindle.socket")); }

private Q_SLOTS:
    void init() { folder_ = std::make_unique<QTemporaryDir>(); }

    void aLaterOneAsksForTheWindow()
    {
        SingleInstance first(path());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        auto later = claimElsewhere(path(), "token-1", 30'000, "host Files-1_TIME7");
        QCOMPARE(resultOf(later), Role::second);
        QCOMPARE(requests, (QList<QVariantList>{{"token-1"_ba, "host Files-1_TIME7"_ba}}));
    }

    void unusableTextsAreDropped_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("isUsable");
        QTest::newRow("all printable ASCII") << " !09AZaz~"_ba << true;
        QTest::newRow("255 bytes") << QByteArray(255, 'x') << true;
        QTest::newRow("256 bytes") << QByteArray(256, 'x') << false;
        QTest::newRow("4096 bytes") << QByteArray(4096, 'x') << false;
        QTest::newRow("a delete character") << "a\x7f"_ba << false;
        QTest::newRow("a control character") << "a\x1b"_ba << false;
        QTest::newRow("a line feed") << "a\nb"_ba << false;
        QTest::newRow("a tab") << "a\tb"_ba << false;
        QTest::newRow("a zero") << QByteArray("a\0b", 3) << false;
        QTest::newRow("Latin-1") << "\xe9"_ba << false;
    }
    void unusableTextsAreDropped()
    {
        QFETCH(const QByteArray, text);
        QFETCH(const bool, isUsable);
        SingleInstance first(path());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        auto later = claimElsewhere(path(), text, 30'000, text);
        QCOMPARE(resultOf(later), Role::second);
        const QByteArray expected = isUsable ? text : QByteArray();
        QCOMPARE(requests, (QList<QVariantList>{{expected, expected}}));
    }

    void aStrangeSecondLauncherIsNotTrusted()
    {
        SingleInstance first(path());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        QLocalSocket client;
        client.connectToServer(socket());
        client.write(QByteArray(256, 'x') + "\t\xe9\n");
        spinUntil([&client] { return client.state() == QLocalSocket::UnconnectedState; });
        QCOMPARE(requests, (QList<QVariantList>{{QByteArray(), QByteArray()}}));
    }

    void manyAtOnceAreAllAnswered()
    {
        SingleInstance first(path());
        QCOMPARE(first.claim({}), Role::first);
        // They come while the first is still making its window.
        std::vector<std::future<Role>> claims;
        for (int i = 0; i < 49; ++i) {
            claims.push_back(claimElsewhere(path()));
        }
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        for (auto &claim : claims) {
            QCOMPARE(resultOf(claim), Role::second);
        }
        QCOMPARE(requests.size(), 49);
    }

    void oneThatEndsIsWaitedFor()
    {
        auto first = std::make_unique<SingleInstance>(path());
        QCOMPARE(first->claim({}), Role::first);
        first->listen();
        first->stopListening();
        auto later = claimElsewhere(path());
        QCOMPARE(later.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
        first.reset();
        QCOMPARE(resultOf(later), Role::first);
    }

    void oneThatDoesNotAnswerIsGivenUp()
    {
        SingleInstance first(path());
        QCOMPARE(first.claim({}), Role::first);
        auto later = claimElsewhere(path(), {}, 200);
        QCOMPARE(resultOf(later), Role::unanswered);
    }

    void whatACrashLeavesLocksNobodyOut()
    {
        // A lock file that nobody holds, and a socket that nobody listens on.
        QFile lock(folder_->filePath(QStringLiteral("brindle.lock")));
        QVERIFY(lock.open(QIODevice::WriteOnly));
        lock.write("12345");
        lock.close();
        QFile stale(socket());
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.close();
        SingleInstance first(path());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        auto later = claimElsewhere(path());
        QCOMPARE(resultOf(later), Role::second);
    }

    void aStartedProgramHoldsNothing()
    {
        auto first = std::make_unique<SingleInstance>(path());
        QCOMPARE(first->claim({}), Role::first);
        first->listen();
        QProcess game;
        game.start(QStringLiteral("/bin/cat"), {});
        QVERIFY(game.waitForStarted());
        first.reset();
        SingleInstance next(path());
        QCOMPARE(next.claim({}, {}, 0), Role::first);
        QCOMPARE(game.state(), QProcess::Running);
        game.closeWriteChannel();
        QVERIFY(game.waitForFinished());
    }

    void theSocketIsTheUsersOwn()
    {
        SingleInstance first(path());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        const auto others =
            QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QCOMPARE(QFile::permissions(socket()) & others, QFile::Permissions());
        QCOMPARE(QFile::permissions(folder_->filePath(QStringLiteral("brindle.lock"))) & others,
                 QFile::Permissions());
    }

    void withoutAUsableFolderEveryoneIsTheFirst()
    {
        const QString missing = folder_->filePath(QStringLiteral("missing"));
        SingleInstance one(missing);
        QCOMPARE(one.claim({}), Role::first);
        SingleInstance other(missing);
        QCOMPARE(other.claim({}), Role::first);
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("Later starts can't be answered")));
        one.listen();
    }

    void withoutARuntimeFolderTheStorageRootIsUsed()
    {
        const QString root = folder_->filePath(QStringLiteral("data/Brindle"));
        QCOMPARE(SingleInstance::folder(path(), root), path());
        QVERIFY(!QFile::exists(root));
        for (const auto *useless : {"", "relative", "./relative"}) {
            QCOMPARE(SingleInstance::folder(QString::fromLatin1(useless), root), root);
        }
        // Also one that is there already and was open to others.
        const auto own = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
        QFile::setPermissions(root, own | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther);
        QCOMPARE(SingleInstance::folder(QString(), root), root);
        const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                            QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
        QCOMPARE(QFile::permissions(root) & others, QFile::Permissions());
        QCOMPARE(QFile::permissions(root) & own, own);
    }

    void aStrangersSocketGetsNothing()
    {
        // What another user may have prepared: the name of our own runtime folder is taken, and
        // sockets listen wherever a name without a folder might lead.
        const QString temporary = folder_->filePath(QStringLiteral("tmp"));
        const QString working = folder_->filePath(QStringLiteral("working"));
        const QString root = folder_->filePath(QStringLiteral("Brindle"));
        QVERIFY(QDir().mkpath(temporary) && QDir().mkpath(working));
        const QString user = QString::fromLocal8Bit(::getpwuid(::geteuid())->pw_name);
        QFile taken(temporary + QStringLiteral("/runtime-") + user);
        QVERIFY(taken.open(QIODevice::WriteOnly));
        const Environment environment({{"XDG_RUNTIME_DIR", QFile::encodeName(taken.fileName())},
                                       {"TMPDIR", QFile::encodeName(temporary)}});
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(working));
        QLocalServer inWorking;
        QLocalServer inTemporary;
        QVERIFY(inWorking.listen(working + QStringLiteral("/brindle.socket")));
        QVERIFY(inTemporary.listen(temporary + QStringLiteral("/brindle.socket")));

        const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
        QCOMPARE(runtime, QString());
        SingleInstance first(SingleInstance::folder(runtime, root));
        QCOMPARE(first.claim({}), Role::first);
        // It does not listen yet: whoever answers now is somebody else.
        auto early = claimElsewhere(SingleInstance::folder(runtime, root), "token-0", 200);
        QCOMPARE(resultOf(early), Role::unanswered);
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        auto later = claimElsewhere(SingleInstance::folder(runtime, root), "token-1");
        QCOMPARE(resultOf(later), Role::second);
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.first().first().toByteArray(), QByteArray("token-1"));
        QVERIFY(!inWorking.hasPendingConnections() && !inTemporary.hasPendingConnections());
        QCOMPARE(QDir(root).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot),
                 (QStringList{QStringLiteral("brindle.lock"), QStringLiteral("brindle.socket")}));
        QDir::setCurrent(before);
    }

    void aNameIsNeverRelative()
    {
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(path()));
        SingleInstance first(QStringLiteral("."));
        QDir::setCurrent(before);
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QVERIFY(QFile::exists(socket()));
    }

    void aLongPathIsNoObstacle()
    {
        const QString deep = folder_->filePath(QString(120, u'd') + u'/' + QString(120, u'e'));
        QVERIFY(QDir().mkpath(deep));
        {
            SingleInstance first(deep);
            QCOMPARE(first.claim({}), Role::first);
            first.listen();
            QSignalSpy requests(&first, &SingleInstance::windowRequested);
            auto later = claimElsewhere(deep, "token");
            QCOMPARE(resultOf(later), Role::second);
            QCOMPARE(requests.first().first().toByteArray(), QByteArray("token"));
        }
        QVERIFY(!QFile::exists(deep + QStringLiteral("/brindle.socket")));
    }

    void aLockThatIsRemovedIsTakenAnew_data()
    {
        QTest::addColumn<QString>("below");
        QTest::newRow("short") << QStringLiteral("Brindle");
        QTest::newRow("long") << QString(120, u'd') + QStringLiteral("/Brindle");
    }
    void aLockThatIsRemovedIsTakenAnew()
    {
        QFETCH(const QString, below);
        const QString root = folder_->filePath(below);
        SingleInstance first(SingleInstance::folder(QString(), root));
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        for (int i = 1; i <= 2; ++i) {
            // As the removal of everything does it.
            const QString aside = root + QStringLiteral("-removed");
            QVERIFY(QDir().rename(root, aside));
            QVERIFY(QDir(aside).removeRecursively());
            spinUntil([&] { return QFile::exists(root + QStringLiteral("/brindle.socket")); });
            auto later = claimElsewhere(root);
            QCOMPARE(resultOf(later), Role::second);
            QCOMPARE(requests.size(), i);
        }
    }

    void anEndlessRequestIsCutOff()
    {
        SingleInstance first(path());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        QLocalSocket client;
        client.connectToServer(socket());
        client.write(QByteArray(100'000, 'x'));
        spinUntil([&client] { return client.state() == QLocalSocket::UnconnectedState; });
        QCOMPARE(requests.size(), 0);
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
