// One launcher per user: who is the first, what later ones get, and what a crash leaves behind.

#include "support/Await.h"
#include "support/TestChild.h"
#include "ui/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

#include <future>
#include <vector>

using namespace brindle;
using Role = SingleInstance::Role;
using namespace Qt::StringLiterals;

namespace {

/// What another process's claim would get. A thread will do: locks of two openings of a file
/// exclude each other within one process too.
std::future<Role> claimElsewhere(const QString &root, const QByteArray &token = {},
                                 int patience = 30'000, const QByteArray &startupId = {})
{
    return std::async(std::launch::async, [root, token, patience, startupId] {
        SingleInstance later(root);
        return later.claim(token, startupId, patience);
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

    QString root() const { return folder_->filePath(u"Brindle"_s); }
    QString lock() const { return folder_->filePath(u".Brindle.lock"_s); }
    QString socket() const { return folder_->filePath(u".Brindle.socket"_s); }

private Q_SLOTS:
    void init() { folder_ = std::make_unique<QTemporaryDir>(); }

    void aLaterOneAsksForTheWindow()
    {
        SingleInstance first(root());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        auto later = claimElsewhere(root(), "token-1", 30'000, "host Files-1_TIME7");
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
        SingleInstance first(root());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QSignalSpy requests(&first, &SingleInstance::windowRequested);
        auto later = claimElsewhere(root(), text, 30'000, text);
        QCOMPARE(resultOf(later), Role::second);
        const QByteArray expected = isUsable ? text : QByteArray();
        QCOMPARE(requests, (QList<QVariantList>{{expected, expected}}));
    }

    void aStrangeSecondLauncherIsNotTrusted()
    {
        SingleInstance first(root());
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
        SingleInstance first(root());
        QCOMPARE(first.claim({}), Role::first);
        // They come while the first is still making its window.
        std::vector<std::future<Role>> claims;
        for (int i = 0; i < 49; ++i) {
            claims.push_back(claimElsewhere(root()));
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
        auto first = std::make_unique<SingleInstance>(root());
        QCOMPARE(first->claim({}), Role::first);
        first->listen();
        first->stopListening();
        auto later = claimElsewhere(root());
        QCOMPARE(later.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
        first.reset();
        QCOMPARE(resultOf(later), Role::first);
    }

    void oneThatDoesNotAnswerIsGivenUp()
    {
        SingleInstance first(root());
        QCOMPARE(first.claim({}), Role::first);
        auto later = claimElsewhere(root(), {}, 200);
        QCOMPARE(resultOf(later), Role::unanswered);
    }

    void whatACrashLeavesLocksNobodyOut()
    {
        // A lock file that nobody holds, and a socket that nobody listens on.
        QFile left(lock());
        QVERIFY(left.open(QIODevice::WriteOnly));
        left.close();
        QFile stale(socket());
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.close();
        SingleInstance first(root());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        auto later = claimElsewhere(root());
        QCOMPARE(resultOf(later), Role::second);
    }

    void aStartedProgramHoldsNothing()
    {
        auto first = std::make_unique<SingleInstance>(root());
        QCOMPARE(first->claim({}), Role::first);
        first->listen();
        QProcess game;
        game.start(QStringLiteral("/bin/cat"), {});
        QVERIFY(game.waitForStarted());
        first.reset();
        SingleInstance next(root());
        QCOMPARE(next.claim({}, {}, 0), Role::first);
        QCOMPARE(game.state(), QProcess::Running);
        game.closeWriteChannel();
        QVERIFY(game.waitForFinished());
    }

    void theSocketIsTheUsersOwn()
    {
        SingleInstance first(root());
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        const auto others =
            QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QCOMPARE(QFile::permissions(socket()) & others, QFile::Permissions());
        QCOMPARE(QFile::permissions(lock()) & others, QFile::Permissions());
    }

    void withoutAUsableFolderEveryoneIsTheFirst()
    {
        QFile file(root());
        QVERIFY(file.open(QIODevice::WriteOnly));
        SingleInstance one(root() + u"/below/Brindle"_s);
        QCOMPARE(one.claim({}), Role::first);
        SingleInstance other(root() + u"/below/Brindle"_s);
        QCOMPARE(other.claim({}), Role::first);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"Later starts can't be answered"_s));
        one.listen();
    }

    void anotherUsersLockIsNotRespected()
    {
        if (::geteuid() != 0) {
            QSKIP("only root can make another user's file");
        }
        SingleInstance other(root());
        QCOMPARE(other.claim({}), Role::first);
        QCOMPARE(::chown(QFile::encodeName(lock()).constData(), 65534, 65534), 0);
        SingleInstance first(root());
        QCOMPARE(first.claim({}, {}, 0), Role::first);
    }

    void aMissingFolderIsMadeForThisUserAlone()
    {
        QFile::setPermissions(folder_->path(), QFile::Permissions(0x7755));
        const auto before = QFile::permissions(folder_->path());
        const mode_t mask = ::umask(0);
        SingleInstance first(folder_->filePath(u"data/Brindle"_s));
        QCOMPARE(first.claim({}), Role::first);
        ::umask(mask);
        QCOMPARE(QFile::permissions(folder_->filePath(u"data"_s)), QFile::Permissions(0x7700));
        QCOMPARE(QFile::permissions(folder_->path()), before);
        QVERIFY(!QFile::exists(folder_->filePath(u"data/Brindle"_s)));
    }

    void theRemovalOfTheRootDoesNotFreeIt()
    {
        QVERIFY(QDir().mkdir(root()));
        auto first = std::make_unique<SingleInstance>(root());
        QCOMPARE(first->claim({}), Role::first);
        first->listen();
        QVERIFY(QDir().rmdir(root()));
        auto later = claimElsewhere(root());
        QCOMPARE(resultOf(later), Role::second);
        first.reset();
        QVERIFY(folder_->isValid() && QDir(folder_->path())
                                          .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System |
                                                   QDir::NoDotAndDotDot));
    }

    void aNameIsNeverRelative()
    {
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(folder_->path()));
        SingleInstance first(u"Brindle"_s);
        QDir::setCurrent(before);
        QCOMPARE(first.claim({}), Role::first);
        first.listen();
        QVERIFY(QFile::exists(socket()));
    }

    void aLongPathIsNoObstacle()
    {
        const QString deep = folder_->filePath(QString(120, u'd') + u'/' + QString(120, u'e'));
        {
            SingleInstance first(deep + u"/Brindle"_s);
            QCOMPARE(first.claim({}), Role::first);
            first.listen();
            QSignalSpy requests(&first, &SingleInstance::windowRequested);
            auto later = claimElsewhere(deep + u"/Brindle"_s, "token");
            QCOMPARE(resultOf(later), Role::second);
            QCOMPARE(requests.first().first().toByteArray(), QByteArray("token"));
        }
        QVERIFY(!QFile::exists(deep + u"/.Brindle.socket"_s));
    }

    void anEndlessRequestIsCutOff()
    {
        SingleInstance first(root());
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
