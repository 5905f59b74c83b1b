// Tests where staging folders lie, and when they are removed.

#include "base/Error.h"
#include "files/Files.h"
#include "files/StagingFolder.h"
#include "platform/ProcessLock.h"
#include "support/Await.h"
#include "support/SystemCalls.h"
#include "support/TestChild.h"
#include "support/TestFiles.h"
#include "support/WorkerHold.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cerrno>
#include <memory>
#include <stop_token>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// A storage root that does not exist, for tests of the temporary folder.
const auto nowhere = u"/nowhere/Brindle"_s;

using Lock = std::shared_ptr<ProcessLock>;

QStringList names(const QString &folder)
{
    return Files::names(folder);
}

/// Makes an unlocked staging folder with a file in it.
QString leftover(const QString &place)
{
    const QString path = place + u"/Brindle-0A1B2C3D-0000-4000-8000-0123456789AB"_s;
    writeFile(path + u"/out/closed/godot.zip"_s, "x");
    setMode(path + u"/out/closed"_s, 0);
    return path;
}

void clear(const QTemporaryDir &temporary)
{
    StagingFolder::clearLeftovers(temporary.path(), nowhere);
}

} // namespace

class TestStagingFolder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void createsAFreshFolderForTheUserAlone()
    {
        const QTemporaryDir temporary;
        const QString parent = temporary.filePath(u"not/there/yet"_s);
        const Lock first = StagingFolder::make(parent, nowhere);
        const Lock second = StagingFolder::make(parent, nowhere);
        QVERIFY(first->path() != second->path());
        const QRegularExpression name(QRegularExpression::anchoredPattern(
            u"Brindle-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}"_s));
        for (const Lock &folder : {first, second}) {
            const QFileInfo info(folder->path());
            QCOMPARE(info.path(), parent);
            QVERIFY2(name.match(info.fileName()).hasMatch(), qPrintable(info.fileName()));
            struct stat status = {};
            QCOMPARE(stat(QFile::encodeName(folder->path()).constData(), &status), 0);
            QCOMPARE(status.st_mode & 07777u, 0700u);
        }
    }

    void reportsWhyItCantBeMade()
    {
        const QTemporaryDir temporary;
        QFile file(temporary.filePath(u"file"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY_THROWS_EXCEPTION(SystemError, StagingFolder::make(file.fileName(), nowhere));
    }

    void isRemovedWhenItsUserIsDone()
    {
        const QTemporaryDir temporary;
        {
            const Lock folder = await(StagingFolder::create(temporary.path(), nowhere));
            QCOMPARE(QFileInfo(folder->path()).path(), temporary.path());
            writeFile(folder->path() + u"/godot.zip"_s, "x");
            WorkerHold().open();
            QVERIFY(QFileInfo::exists(folder->path()));
        }
        WorkerHold().open();
        QCOMPARE(names(temporary.path()), QStringList());
    }

    void clearsFoldersWithoutAnOwner()
    {
        const QTemporaryDir temporary;
        const QTemporaryDir home;
        leftover(temporary.path());
        leftover(home.path());
        const Lock used = StagingFolder::make(temporary.path(), nowhere);
        StagingFolder::make(temporary.path(), nowhere);                // unlocked, but left there
        const QString inRoot = home.filePath(u"Brindle/.brindle-1"_s); // a run may still need it
        QVERIFY(QDir().mkpath(inRoot) && QDir().mkpath(home.filePath(u".brindle-2/x"_s)));
        StagingFolder::clearLeftovers(temporary.path(), home.filePath(u"Brindle"_s));
        QCOMPARE(names(home.path()), QStringList{u"Brindle"_s});
        QVERIFY(QFile::exists(inRoot));
        QCOMPARE(names(temporary.path()), QStringList{QFileInfo(used->path()).fileName()});
    }

    void leavesOtherNames()
    {
        const QTemporaryDir temporary;
        const QString uuid = u"0A1B2C3D-0000-4000-8000-0123456789AB"_s;
        QStringList others{
            u"Brindle-"_s + uuid + u'\n',   u"Brindle-"_s + uuid + u"-1"_s, u"Brindle-"_s,
            u"Brindle-"_s + uuid.toLower(), u"My-Brindle-"_s + uuid,        u"brindle-"_s + uuid};
        for (const QString &name : std::as_const(others)) {
            QVERIFY(QDir(temporary.path()).mkdir(name));
        }
        clear(temporary);
        QStringList left = names(temporary.path());
        left.sort();
        others.sort();
        QCOMPARE(left, others);
    }

    void leavesOtherUsersFolders()
    {
        if (::geteuid() != 0) {
            QSKIP("only root can make another user's folder");
        }
        const QTemporaryDir temporary;
        const QString path = leftover(temporary.path());
        giveToNobody(path);
        clear(temporary);
        QVERIFY(QFile::exists(path + u"/out/closed/godot.zip"_s));
    }

    void leavesLinksAndTheirTargets()
    {
        const QTemporaryDir elsewhere;
        const QTemporaryDir temporary;
        const QString target = leftover(elsewhere.path());
        const QString link = temporary.filePath(QFileInfo(target).fileName());
        QVERIFY(QFile::link(target, link));
        const QString file = temporary.filePath(u"Brindle-FFFFFFFF-0000-4000-8000-0123456789AB"_s);
        QVERIFY(QFile(file).open(QIODevice::WriteOnly));
        clear(temporary);
        QVERIFY(QFileInfo(link).isSymLink());
        QVERIFY(QFile::exists(file));
        QVERIFY(QFile::exists(target + u"/out"_s));
    }

    void clearsOnlyOnceTheOwnerHasBeenKilled()
    {
        const QTemporaryDir temporary;
        QProcess other;
        other.start(testChild(), {u"staging:"_s + temporary.path(), u"wait:"_s});
        QVERIFY(other.waitForReadyRead());
        const QString path = QString::fromUtf8(other.readLine()).trimmed();
        QVERIFY2(QFileInfo(path).isDir(), qPrintable(path));
        clear(temporary);
        QVERIFY(QFileInfo(path).isDir());
        other.kill();
        QVERIFY(other.waitForFinished());
        clear(temporary);
        QVERIFY(!QFileInfo::exists(path));
    }

    void neverClearsAFolderThatIsBeingMade()
    {
        const QTemporaryDir temporary;
        std::atomic<bool> done = false;
        const std::unique_ptr<QThread> sweeper(QThread::create([&] {
            while (!done) {
                clear(temporary);
            }
        }));
        sweeper->start();
        std::vector<Lock> folders;
        for (int i = 0; i < 50; ++i) {
            folders.push_back(StagingFolder::make(temporary.path(), nowhere));
        }
        done = true;
        sweeper->wait();
        for (const Lock &folder : folders) {
            QVERIFY(QFileInfo(folder->path()).isDir());
        }
        // Folders that the sweeper locked first are gone.
        clear(temporary);
        QCOMPARE(names(temporary.path()).size(), qsizetype(folders.size()));
    }

    void whereOthersMayWriteItLiesBesideTheStorageRoot_data()
    {
        QTest::addColumn<QString>("folder"); // the folder that gets the mode
        QTest::addColumn<uint>("mode");
        QTest::addColumn<bool>("isAnothers");
        QTest::newRow("everybody") << u"tmp/user"_s << 0777u << false;
        QTest::newRow("others") << u"tmp/user"_s << 0703u << false;
        QTest::newRow("the group") << u"tmp/user"_s << 0770u << false;
        QTest::newRow("above it") << u"tmp"_s << 0777u << false;
        QTest::newRow("where a link leads") << u"behind/it"_s << 0777u << false;
        QTest::newRow("above where a link leads") << u"behind"_s << 0777u << false;
        // An owner can always replace a folder, without a right to write and despite a sticky bit.
        if (::geteuid() == 0) {
            QTest::newRow("another's") << u"tmp/user"_s << 01755u << true;
            QTest::newRow("another's above it") << u"tmp"_s << 0755u << true;
            QTest::newRow("another's behind a link") << u"behind"_s << 0755u << true;
        }
    }
    void whereOthersMayWriteItLiesBesideTheStorageRoot()
    {
        QFETCH(const QString, folder);
        QFETCH(const uint, mode);
        QFETCH(const bool, isAnothers);
        const QTemporaryDir home;
        const QString temporary = home.filePath(u"tmp/user"_s);
        const QString data = home.filePath(u"data"_s);
        QVERIFY(QDir().mkpath(home.filePath(u"tmp"_s)) && QDir().mkpath(data));
        if (folder.startsWith(u"behind")) {
            QVERIFY(QDir().mkpath(home.filePath(u"behind/it"_s)));
            QVERIFY(QFile::link(home.filePath(u"behind/it"_s), temporary));
        } else {
            QVERIFY(QDir().mkpath(temporary));
        }
        setMode(home.filePath(folder), mode);
        if (isAnothers) {
            giveToNobody(home.filePath(folder));
        }
        const QString stranger = leftover(temporary); // has a name of our pattern
        const QString root = data + u"/Brindle"_s;
        {
            const Lock staging = StagingFolder::make(temporary, root);
            QCOMPARE(QFileInfo(staging->path()).path(), data);
            QVERIFY(QFileInfo(staging->path()).fileName().startsWith(StagingFolder::prefix));
        }
        StagingFolder::clearLeftovers(temporary, root);
        QCOMPARE(names(data), QStringList());
        QVERIFY(QFile::exists(stranger + u"/out/closed/godot.zip"_s));
    }

    void anOrdinaryTemporaryFolderIsUsed_data()
    {
        QTest::addColumn<uint>("mode");
        QTest::newRow("the user's own") << 0700u;
        QTest::newRow("for others to read") << 0755u;
        QTest::newRow("shared") << 01777u;
    }
    void anOrdinaryTemporaryFolderIsUsed()
    {
        QFETCH(const uint, mode);
        const QTemporaryDir temporary;
        setMode(temporary.path(), mode);
        const Lock staging = StagingFolder::make(temporary.path(), nowhere);
        QCOMPARE(QFileInfo(staging->path()).path(), temporary.path());
    }

    void doesWithoutLocks()
    {
        const QTemporaryDir temporary;
        SystemCalls calls;
        calls.before = [](const QString &line) { return line.startsWith(u"lock") ? ENOLCK : 0; };
        const Lock staging = StagingFolder::make(temporary.path(), nowhere);
        QVERIFY(QFileInfo(staging->path()).isDir());
        // On a file system without locks the folder may be in use, so it stays.
        clear(temporary);
        QVERIFY(QFileInfo(staging->path()).isDir());
    }
};

QTEST_GUILESS_MAIN(TestStagingFolder)
#include "tst_stagingfolder.moc"
