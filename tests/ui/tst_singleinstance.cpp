// One launcher per user: who is the first, what later ones get, and what a crash leaves behind.

#include "support/Await.h"
#include "support/TestChild.h"
#include "ui/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <future>
#include <vector>

using namespace brindle;
using Role = SingleInstance::Role;

namespace {

/// What another process's claim would get. A thread will do: locks of two openings of a file
/// exclude each other within one process too.
std::future<Role> claimElsewhere(const QString &folder, const QByteArray &token = {},
                                 int patience = 30'000)
{
    return std::async(std::launch::async, [folder, token, patience] {
        SingleInstance later(folder);
        return later.claim(token, patience);
    });
}

Role resultOf(std::future<Role> &claim)
{
    spinUntil(
        [&claim] { return claim.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return claim.get();
}

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
        auto later = claimElsewhere(path(), "token-1");
        QCOMPARE(resultOf(later), Role::second);
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.first().first().toByteArray(), QByteArray("token-1"));
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
        QCOMPARE(next.claim({}, 0), Role::first);
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
        auto later = claimElsewhere(path(), QByteArray(100'000, 'y'));
        QCOMPARE(resultOf(later), Role::second);
        QCOMPARE(requests.first().first().toByteArray(), QByteArray(4096, 'y'));
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
