// Tests that each user runs one launcher per storage root, and that later launchers reach it.

#include "support/Await.h"
#include "ui/SingleInstance.h"

#include <QDir>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <future>
#include <vector>

using namespace brindle;
using Role = SingleInstance::Role;
using namespace Qt::StringLiterals;

namespace {

/// The first launcher, which listens.
struct First
{
    explicit First(const QString &root) : instance(root)
    {
        claimed = instance.claim({}, 0);
        instance.listen();
    }

    SingleInstance instance;
    Role claimed;
    QSignalSpy requests{&instance, &SingleInstance::windowRequested};
};

/// Claims like another process. A thread is enough, because two openings of a lock file exclude
/// each other even within one process.
std::future<Role> claimElsewhere(const QString &root, const QByteArray &permission = {},
                                 int patience = 30'000)
{
    return std::async(std::launch::async, [root, permission, patience] {
        return SingleInstance(root).claim(permission, patience);
    });
}

Role resultOf(std::future<Role> claim)
{
    spinUntil([&] { return claim.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return claim.get();
}

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> folder_;

    QString root() const { return folder_->filePath(u"Brindle"_s); }
    QString lock() const { return folder_->filePath(u".Brindle.lock"_s); }
    QString socket() const { return folder_->filePath(u".Brindle.socket"_s); }

private Q_SLOTS:
    void init() { folder_ = std::make_unique<QTemporaryDir>(); }

    void aLaterLauncherAsksForTheWindow_data()
    {
        QTest::addColumn<QByteArray>("permission");
        QTest::addColumn<QByteArray>("received");
        QTest::newRow("usable") << "host-1_TIME7"_ba << "host-1_TIME7"_ba;
        QTest::newRow("unusable") << "a\tb"_ba << ""_ba;
        QTest::newRow("long") << QByteArray(255, 'x') << QByteArray(255, 'x');
    }
    void aLaterLauncherAsksForTheWindow()
    {
        QFETCH(const QByteArray, permission);
        QFETCH(const QByteArray, received);
        const First first(root());
        QCOMPARE(resultOf(claimElsewhere(root(), permission)), Role::second);
        QCOMPARE(first.requests, (QList<QVariantList>{{received}}));
    }

    void aStrangeRequestIsNotTrusted_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QList<QVariantList>>("requests");
        QTest::newRow("unusable") << "\xe9\n"_ba << QList<QVariantList>{{QByteArray()}};
        QTest::newRow("endless") << QByteArray(100'000, 'x') << QList<QVariantList>();
    }
    void aStrangeRequestIsNotTrusted()
    {
        QFETCH(const QByteArray, request);
        QFETCH(const QList<QVariantList>, requests);
        const First first(root());
        QLocalSocket client;
        client.connectToServer(socket());
        client.write(request);
        spinUntil([&] { return client.state() == QLocalSocket::UnconnectedState; });
        QCOMPARE(first.requests, requests);
    }

    void manyAtOnceAreAllAnswered()
    {
        SingleInstance first(root());
        QCOMPARE(first.claim({}), Role::first);
        // The first launcher is still making its window.
        std::vector<std::future<Role>> claims(49);
        for (auto &claim : claims) {
            claim = claimElsewhere(root());
        }
        first.listen();
        for (auto &claim : claims) {
            QCOMPARE(resultOf(std::move(claim)), Role::second);
        }
    }

    void anEndingLauncherIsAwaited()
    {
        std::optional<First> first(root());
        first->instance.stopListening();
        auto later = claimElsewhere(root());
        QCOMPARE(later.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
        first.reset();
        QCOMPARE(resultOf(std::move(later)), Role::first);
    }

    void aSilentLauncherIsGivenUp()
    {
        SingleInstance first(root());
        QCOMPARE(first.claim({}), Role::first);
        QCOMPARE(resultOf(claimElsewhere(root(), {}, 200)), Role::unanswered);
    }

    void aCrashLocksNobodyOut()
    {
        QVERIFY(QFile(lock()).open(QIODevice::WriteOnly));
        QVERIFY(QFile(socket()).open(QIODevice::WriteOnly));
        const First first(root());
        QCOMPARE(first.claimed, Role::first);
        QCOMPARE(resultOf(claimElsewhere(root())), Role::second);
    }

    void aStartedProgramHoldsNothing()
    {
        std::optional<First> first(root());
        QProcess game;
        game.start(u"/bin/cat"_s, {});
        QVERIFY(game.waitForStarted());
        first.reset();
        QCOMPARE(First(root()).claimed, Role::first);
        QCOMPARE(game.state(), QProcess::Running);
        game.closeWriteChannel();
        QVERIFY(game.waitForFinished());
    }

    void theSocketIsTheUsersOwn()
    {
        const First first(root());
        const auto others =
            QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QCOMPARE(QFile::permissions(socket()) & others, QFile::Permissions());
        QCOMPARE(QFile::permissions(lock()) & others, QFile::Permissions());
    }

    void withoutAUsableFolderEveryoneIsTheFirst()
    {
        QVERIFY(QFile(root()).open(QIODevice::WriteOnly));
        for (int i = 0; i < 2; ++i) {
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression(u"Later starts can't be answered"_s));
            QCOMPARE(First(root() + u"/below/Brindle"_s).claimed, Role::first);
        }
    }

    void theRemovalOfTheRootDoesNotFreeIt()
    {
        QVERIFY(QDir().mkdir(root()));
        {
            const First first(root());
            QVERIFY(QDir().rmdir(root()));
            QCOMPARE(resultOf(claimElsewhere(root())), Role::second);
        }
        QVERIFY(
            QDir(folder_->path())
                .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
