#include "services/StagingFolder.h"
#include "services/SystemError.h"
#include "support/Await.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using brindle::await;
using brindle::StagingFolder;
using brindle::SystemError;

class StagingFolderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void createsAFreshFolderForTheUserAlone();
    void removesAllThatIsInIt();
    void removingTwiceIsNoFailure();
    void reportsWhyItCantBeMade();
};

void StagingFolderTest::createsAFreshFolderForTheUserAlone()
{
    const QTemporaryDir temporary;
    const QString parent = temporary.filePath(QStringLiteral("not/there/yet"));
    const StagingFolder first = await(StagingFolder::create(parent));
    const StagingFolder second = await(StagingFolder::create(parent));

    QVERIFY(first.path() != second.path());
    const QRegularExpression name(QRegularExpression::anchoredPattern(
        QStringLiteral("Brindle-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")));
    for (const StagingFolder &folder : {first, second}) {
        const QFileInfo info(folder.path());
        QVERIFY(info.isDir());
        QCOMPARE(info.path(), parent);
        QVERIFY2(name.match(info.fileName()).hasMatch(), qPrintable(info.fileName()));
        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(folder.path()).constData(), &status), 0);
        QCOMPARE(status.st_mode & 0777u, 0700u);
        QCOMPARE(folder.path(QStringLiteral("game.zip")),
                 folder.path() + QStringLiteral("/game.zip"));
    }
}

void StagingFolderTest::removesAllThatIsInIt()
{
    const QTemporaryDir temporary;
    const StagingFolder folder = await(StagingFolder::create(temporary.path()));
    QVERIFY(QDir().mkpath(folder.path(QStringLiteral("a/b"))));
    QFile file(folder.path(QStringLiteral("a/b/godot.zip")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    await(folder.remove());
    QVERIFY(QDir(temporary.path())
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                .isEmpty());
}

void StagingFolderTest::removingTwiceIsNoFailure()
{
    const QTemporaryDir temporary;
    const StagingFolder folder = await(StagingFolder::create(temporary.path()));
    await(folder.remove());
    await(folder.remove());
    QVERIFY(!QFile::exists(folder.path()));
}

void StagingFolderTest::reportsWhyItCantBeMade()
{
    const QTemporaryDir temporary;
    QFile file(temporary.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY_THROWS_EXCEPTION(SystemError, await(StagingFolder::create(file.fileName())));
}

QTEST_GUILESS_MAIN(StagingFolderTest)
#include "tst_stagingfolder.moc"
