#include "base/Error.h"
#include "files/StagingFolder.h"
#include "support/Await.h"
#include "support/TestChild.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>
#include <stop_token>
#include <vector>

#include <cerrno>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using brindle::await;
using brindle::StagingFolder;
using brindle::SystemError;

namespace {

/// For tests that don't need the place beside the storage root.
const auto nowhere = QStringLiteral("/nowhere/Brindle");

bool hasNoLocks = false;                     // the file system
std::stop_source *stopsWhenLocked = nullptr; // asks for the end as soon as a folder is locked

QStringList names(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

void setMode(const QString &path, mode_t mode)
{
    QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode), 0);
}

} // namespace

/// Stands in for the system's call.
extern "C" int flock(int descriptor, int operation) noexcept
{
    if (hasNoLocks) {
        errno = ENOLCK;
        return -1;
    }
    if (stopsWhenLocked) {
        stopsWhenLocked->request_stop();
    }
    return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
}

class StagingFolderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void createsAFreshFolderForTheUserAlone();
    void removesAllThatIsInIt();
    void removingTwiceIsNoFailure();
    void reportsWhyItCantBeMade();
    void clearsWhatNobodyOwns();
    void clearsNoFurtherThanItIsAllowedTo();
    void leavesWhatIsInUse();
    void leavesWhatIsNotOurs_data();
    void leavesWhatIsNotOurs();
    void leavesOtherUsersFolders();
    void leavesLinksAndWhatTheyLeadTo();
    void clearsOnlyOnceTheOwnerHasBeenKilled();
    void neverTakesAFolderThatIsJustBeingMade();
    void clearsOnAThreadOfItsOwn();
    void liesBesideTheStorageRootWhereOthersMayWrite_data();
    void liesBesideTheStorageRootWhereOthersMayWrite();
    void liesBesideTheStorageRootInAnothersFolder();
    void anOrdinaryTemporaryFolderIsUsed_data();
    void anOrdinaryTemporaryFolderIsUsed();
    void doesWithoutLocks();
    void isRemovedWhateverIsDoneInIt();

private:
    static QString leftover(const QTemporaryDir &temporary);
};

/// A staging folder with something in it that no process owns.
QString StagingFolderTest::leftover(const QTemporaryDir &temporary)
{
    const QString path =
        temporary.filePath(QStringLiteral("Brindle-0A1B2C3D-0000-4000-8000-0123456789AB"));
    QDir().mkpath(path + QStringLiteral("/out/closed"));
    QFile file(path + QStringLiteral("/out/closed/godot.zip"));
    if (!file.open(QIODevice::WriteOnly) || file.write("PK") != 2) {
        qFatal("the test can't be prepared");
    }
    file.close();
    ::chmod(QFile::encodeName(path + QStringLiteral("/out/closed")).constData(), 0);
    return path;
}

void StagingFolderTest::createsAFreshFolderForTheUserAlone()
{
    const QTemporaryDir temporary;
    const QString parent = temporary.filePath(QStringLiteral("not/there/yet"));
    const StagingFolder first = await(StagingFolder::create(parent, nowhere));
    const StagingFolder second = await(StagingFolder::create(parent, nowhere));

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
    }
}

void StagingFolderTest::removesAllThatIsInIt()
{
    const QTemporaryDir temporary;
    const StagingFolder folder = await(StagingFolder::create(temporary.path(), nowhere));
    QVERIFY(QDir().mkpath(folder.path() + QStringLiteral("/a/b")));
    QFile file(folder.path() + QStringLiteral("/a/b/godot.zip"));
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
    const StagingFolder folder = await(StagingFolder::create(temporary.path(), nowhere));
    await(folder.remove());
    await(folder.remove());
    QVERIFY(!QFile::exists(folder.path()));
}

void StagingFolderTest::reportsWhyItCantBeMade()
{
    const QTemporaryDir temporary;
    QFile file(temporary.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY_THROWS_EXCEPTION(SystemError, await(StagingFolder::create(file.fileName(), nowhere)));
}

void StagingFolderTest::clearsWhatNobodyOwns()
{
    const QTemporaryDir temporary;
    leftover(temporary);
    // Its owner lives, but has let it go without removing it.
    await(StagingFolder::create(temporary.path(), nowhere));
    StagingFolder::clearLeftovers(temporary.path());
    QCOMPARE(
        QDir(temporary.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        QStringList());
}

void StagingFolderTest::clearsNoFurtherThanItIsAllowedTo()
{
    const QTemporaryDir temporary;
    const QString path = leftover(temporary);
    std::stop_source stop;
    stopsWhenLocked = &stop;
    StagingFolder::clearLeftovers(temporary.path(), stop.get_token());
    stopsWhenLocked = nullptr;
    QVERIFY(stop.stop_requested());
    QVERIFY(QFileInfo(path + QStringLiteral("/out")).isDir());
}

void StagingFolderTest::leavesWhatIsInUse()
{
    const QTemporaryDir temporary;
    const StagingFolder folder = await(StagingFolder::create(temporary.path(), nowhere));
    QFile file(folder.path() + QStringLiteral("/godot.zip"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    leftover(temporary);
    StagingFolder::clearLeftovers(temporary.path());
    QCOMPARE(QDir(temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QFileInfo(folder.path()).fileName()});
    QVERIFY(file.exists());
}

void StagingFolderTest::leavesWhatIsNotOurs_data()
{
    QTest::addColumn<QString>("name");
    const QString uuid = QStringLiteral("0A1B2C3D-0000-4000-8000-0123456789AB");
    QTest::newRow("another name") << QString(QStringLiteral("brindle-") + uuid);
    QTest::newRow("no number") << QStringLiteral("Brindle-");
    QTest::newRow("another number") << QStringLiteral("Brindle-1234");
    QTest::newRow("small letters") << QString(QStringLiteral("Brindle-") + uuid.toLower());
    QTest::newRow("more before") << QString(QStringLiteral("My-Brindle-") + uuid);
    QTest::newRow("more behind") << QString(QStringLiteral("Brindle-") + uuid +
                                            QStringLiteral("-1"));
    QTest::newRow("a line feed behind")
        << QString(QStringLiteral("Brindle-") + uuid + QStringLiteral("\n"));
}

void StagingFolderTest::leavesWhatIsNotOurs()
{
    QFETCH(const QString, name);
    const QTemporaryDir temporary;
    QVERIFY(QDir(temporary.path()).mkdir(name));
    StagingFolder::clearLeftovers(temporary.path());
    QVERIFY(QFileInfo(temporary.filePath(name)).isDir());
}

void StagingFolderTest::leavesOtherUsersFolders()
{
    if (::geteuid() != 0) {
        QSKIP("only root can make another user's folder");
    }
    const QTemporaryDir temporary;
    const QString path = leftover(temporary);
    constexpr uid_t nobody = 65534;
    QCOMPARE(::chown(QFile::encodeName(path).constData(), nobody, nobody), 0);
    StagingFolder::clearLeftovers(temporary.path());
    QVERIFY(QFile::exists(path + QStringLiteral("/out/closed/godot.zip")));
}

void StagingFolderTest::leavesLinksAndWhatTheyLeadTo()
{
    const QTemporaryDir elsewhere;
    const QTemporaryDir temporary;
    const QString target = leftover(elsewhere);
    const QString link = temporary.filePath(QFileInfo(target).fileName());
    QVERIFY(QFile::link(target, link));
    const QString file =
        temporary.filePath(QStringLiteral("Brindle-FFFFFFFF-0000-4000-8000-0123456789AB"));
    QFile plain(file);
    QVERIFY(plain.open(QIODevice::WriteOnly));
    plain.close();
    StagingFolder::clearLeftovers(temporary.path());
    QVERIFY(QFileInfo(link).isSymLink());
    QVERIFY(QFile::exists(file));
    QVERIFY(QFile::exists(target + QStringLiteral("/out")));
}

void StagingFolderTest::clearsOnlyOnceTheOwnerHasBeenKilled()
{
    const QTemporaryDir temporary;
    QProcess other;
    other.start(brindle::testChild(),
                {QStringLiteral("staging:") + temporary.path(), QStringLiteral("wait:")});
    QVERIFY(other.waitForReadyRead());
    const QString path = QString::fromUtf8(other.readLine()).trimmed();
    QVERIFY2(QFileInfo(path).isDir(), qPrintable(path));

    StagingFolder::clearLeftovers(temporary.path());
    QVERIFY(QFileInfo(path).isDir());

    other.kill();
    QVERIFY(other.waitForFinished());
    QVERIFY(QFileInfo(path).isDir());
    StagingFolder::clearLeftovers(temporary.path());
    QVERIFY(!QFileInfo::exists(path));
}

void StagingFolderTest::neverTakesAFolderThatIsJustBeingMade()
{
    const QTemporaryDir temporary;
    std::atomic<bool> done = false;
    const std::unique_ptr<QThread> sweeper(QThread::create([&] {
        while (!done) {
            StagingFolder::clearLeftovers(temporary.path());
        }
    }));
    sweeper->start();
    constexpr int count = 300;
    std::vector<StagingFolder> folders;
    for (int i = 0; i < count; ++i) {
        folders.push_back(await(StagingFolder::create(temporary.path(), nowhere)));
    }
    done = true;
    sweeper->wait();
    for (const StagingFolder &folder : folders) {
        QVERIFY(QFileInfo(folder.path()).isDir());
    }
    // And nothing of those that the sweeper was faster with.
    StagingFolder::clearLeftovers(temporary.path());
    QCOMPARE(QDir(temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(),
             count);
}

void StagingFolderTest::clearsOnAThreadOfItsOwn()
{
    const QTemporaryDir temporary;
    const QString path = leftover(temporary);
    StagingFolder::startClearingLeftovers(temporary.path(), nowhere);
    QTRY_VERIFY(!QFileInfo::exists(path));
}

void StagingFolderTest::liesBesideTheStorageRootWhereOthersMayWrite_data()
{
    QTest::addColumn<QString>("folder"); // whose mode it is
    QTest::addColumn<uint>("mode");
    QTest::newRow("everybody") << QStringLiteral("tmp/user") << 0777u;
    QTest::newRow("others") << QStringLiteral("tmp/user") << 0703u;
    QTest::newRow("the group") << QStringLiteral("tmp/user") << 0770u;
    QTest::newRow("above it") << QStringLiteral("tmp") << 0777u;
    QTest::newRow("where a link leads") << QStringLiteral("behind/it") << 0777u;
    QTest::newRow("above where a link leads") << QStringLiteral("behind") << 0777u;
}

void StagingFolderTest::liesBesideTheStorageRootWhereOthersMayWrite()
{
    QFETCH(const QString, folder);
    QFETCH(const uint, mode);
    const QTemporaryDir home;
    const QString temporary = home.filePath(QStringLiteral("tmp/user"));
    QVERIFY(QDir().mkpath(home.filePath(QStringLiteral("tmp"))));
    if (folder.startsWith(u"behind")) {
        const QString behind = home.filePath(QStringLiteral("behind/it"));
        QVERIFY(QDir().mkpath(behind));
        QVERIFY(QFile::link(behind, temporary));
    } else {
        QVERIFY(QDir().mkpath(temporary));
    }
    setMode(home.filePath(folder), mode);
    const QString root = home.filePath(QStringLiteral("data/Brindle"));
    {
        const StagingFolder staging = await(StagingFolder::create(temporary, root));
        QCOMPARE(QFileInfo(staging.path()).path(), home.filePath(QStringLiteral("data")));
        QVERIFY(QFileInfo(staging.path()).fileName().startsWith(StagingFolder::prefix));
        QCOMPARE(names(temporary), QStringList());
        await(staging.remove());
        QCOMPARE(names(home.filePath(QStringLiteral("data"))), QStringList());
        await(StagingFolder::create(temporary, root));
    }
    // Left behind, it is cleared like those in the temporary folder.
    QCOMPARE(names(home.filePath(QStringLiteral("data"))).size(), 1);
    StagingFolder::startClearingLeftovers(temporary, root);
    QTRY_COMPARE(names(home.filePath(QStringLiteral("data"))), QStringList());
}

void StagingFolderTest::liesBesideTheStorageRootInAnothersFolder()
{
    if (::geteuid() != 0) {
        QSKIP("only root can make another user's folder");
    }
    const QTemporaryDir home;
    const QString temporary = home.filePath(QStringLiteral("tmp"));
    QVERIFY(QDir().mkpath(temporary));
    // Who owns it can do without the right to write, and a sticky bit is no hindrance to him.
    setMode(temporary, 01755);
    constexpr uid_t nobody = 65534;
    QCOMPARE(::chown(QFile::encodeName(temporary).constData(), nobody, nobody), 0);
    const StagingFolder staging =
        await(StagingFolder::create(temporary, home.filePath(QStringLiteral("data/Brindle"))));
    QCOMPARE(QFileInfo(staging.path()).path(), home.filePath(QStringLiteral("data")));
}

void StagingFolderTest::anOrdinaryTemporaryFolderIsUsed_data()
{
    QTest::addColumn<uint>("mode");
    QTest::newRow("the user's own") << 0700u;
    QTest::newRow("for others to read") << 0755u;
    QTest::newRow("shared") << 01777u;
}

void StagingFolderTest::anOrdinaryTemporaryFolderIsUsed()
{
    QFETCH(const uint, mode);
    const QTemporaryDir temporary;
    setMode(temporary.path(), mode);
    const StagingFolder staging = await(StagingFolder::create(temporary.path(), nowhere));
    QCOMPARE(QFileInfo(staging.path()).path(), temporary.path());
}

void StagingFolderTest::doesWithoutLocks()
{
    const QTemporaryDir temporary;
    hasNoLocks = true;
    const StagingFolder staging = await(StagingFolder::create(temporary.path(), nowhere));
    QVERIFY(QFileInfo(staging.path()).isDir());
    // Whose it is can't be told then.
    StagingFolder::clearLeftovers(temporary.path());
    QVERIFY(QFileInfo(staging.path()).isDir());
    await(staging.remove());
    hasNoLocks = false;
    QCOMPARE(names(temporary.path()), QStringList());
}

namespace {

QCoro::Task<QString> fillAndReturn(QString folder, bool fails)
{
    QFile file(folder + QStringLiteral("/godot.zip"));
    if (!file.open(QIODevice::WriteOnly) || fails) {
        throw SystemError(folder);
    }
    co_return folder;
}

} // namespace

void StagingFolderTest::isRemovedWhateverIsDoneInIt()
{
    const QTemporaryDir temporary;
    const auto with = [&](bool fails) {
        return await(StagingFolder::with(temporary.path(), nowhere, [fails](const QString &folder) {
            return fillAndReturn(folder, fails);
        }));
    };
    const QString folder = with(false);
    QCOMPARE(QFileInfo(folder).path(), temporary.path());
    QCOMPARE(names(temporary.path()), QStringList());
    QVERIFY_THROWS_EXCEPTION(SystemError, with(true));
    QCOMPARE(names(temporary.path()), QStringList());
}

QTEST_GUILESS_MAIN(StagingFolderTest)
#include "tst_stagingfolder.moc"
