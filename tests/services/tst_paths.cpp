#include "files/Storage.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace Paths = brindle::Paths;

class PathsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void rootIsBelowTheFirstDataFolder();
    void rootFallsBackToTheHomeFolder();
    void rootFollowsTheSystem();
    void rootCreatesNothing();
    void missingFolderMeasuresNothing();
    void emptyFolderMeasuresNothing();
    void fileIsNotAFolder();
    void hiddenFilesCount();
    void bundlesCountWithAllThatIsInThem();
    void allocatedSizeCounts();
    void linksAreNotFollowed();
    void folderLoopsEnd();
    void unreadableFoldersArePassedOver();
    void depthDoesNotMatter();

private:
    QString path(const QString &name) const { return folder_->filePath(name); }
    /// Writes `size` bytes that no file system stores as nothing; returns what they occupy.
    qint64 write(const QString &name, qsizetype size) const;
    qint64 measured() const { return Paths::folderSize(folder_->path()); }

    std::unique_ptr<QTemporaryDir> folder_;
};

namespace {

qint64 allocated(const QString &path)
{
    struct stat status = {};
    if (lstat(QFile::encodeName(path).constData(), &status) != 0) {
        return -1;
    }
    return static_cast<qint64>(status.st_blocks) * 512;
}

} // namespace

void PathsTest::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    QVERIFY(folder_->isValid());
}

qint64 PathsTest::write(const QString &name, qsizetype size) const
{
    const QString file = path(name);
    QDir().mkpath(QFileInfo(file).path());
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(QByteArray(size, 'x')) != size ||
        !out.flush() || fsync(out.handle()) != 0) {
        return -1;
    }
    out.close();
    return allocated(file);
}

void PathsTest::rootIsBelowTheFirstDataFolder()
{
    QCOMPARE(Paths::root({QStringLiteral("/data/one"), QStringLiteral("/data/two")},
                         QStringLiteral("/home/ada")),
             QStringLiteral("/data/one/Brindle"));
}

void PathsTest::rootFallsBackToTheHomeFolder()
{
    QCOMPARE(Paths::root({}, QStringLiteral("/home/ada")),
             QStringLiteral("/home/ada/Library/Application Support/Brindle"));
}

void PathsTest::rootFollowsTheSystem()
{
    const QStringList folders =
        QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    QVERIFY(!folders.isEmpty());
    QCOMPARE(Paths::root(), folders.first() + QStringLiteral("/Brindle"));
}

void PathsTest::rootCreatesNothing()
{
    const QString data = path(QStringLiteral("data"));
    QCOMPARE(Paths::root({data}, QString()), data + QStringLiteral("/Brindle"));
    QVERIFY(!QFile::exists(data));
}

void PathsTest::missingFolderMeasuresNothing()
{
    QCOMPARE(Paths::folderSize(path(QStringLiteral("none"))), 0);
}

void PathsTest::emptyFolderMeasuresNothing()
{
    QCOMPARE(measured(), 0);
    QVERIFY(QDir().mkpath(path(QStringLiteral("a/b"))));
    QCOMPARE(measured(), 0);
}

void PathsTest::fileIsNotAFolder()
{
    write(QStringLiteral("file"), 10'000);
    QCOMPARE(Paths::folderSize(path(QStringLiteral("file"))), 0);
}

void PathsTest::hiddenFilesCount()
{
    const qint64 hidden = write(QStringLiteral(".hidden"), 50'000);
    QVERIFY(hidden >= 50'000);
    QCOMPARE(measured(), hidden);
    const qint64 deeper = write(QStringLiteral(".cache/.deep"), 20'000);
    QCOMPARE(measured(), hidden + deeper);
}

void PathsTest::bundlesCountWithAllThatIsInThem()
{
    const qint64 program = write(QStringLiteral("Godot.app/Contents/MacOS/Godot"), 70'000);
    const qint64 list = write(QStringLiteral("Godot.app/Contents/Info.plist"), 300);
    QVERIFY(program >= 70'000 && list >= 0);
    QCOMPARE(measured(), program + list);
}

void PathsTest::allocatedSizeCounts()
{
    // A hole occupies nothing, though the file is long.
    QFile sparse(path(QStringLiteral("sparse")));
    QVERIFY(sparse.open(QIODevice::WriteOnly));
    QVERIFY(sparse.resize(qint64(1) << 33));
    sparse.close();
    QCOMPARE(measured(), allocated(sparse.fileName()));
    QVERIFY(measured() < qint64(1) << 30);

    // One byte occupies what the file system gives it.
    const qint64 small = write(QStringLiteral("small"), 1);
    QCOMPARE(measured(), allocated(sparse.fileName()) + small);
}

void PathsTest::linksAreNotFollowed()
{
    QTemporaryDir elsewhere;
    QFile file(elsewhere.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write(QByteArray(100'000, 'x')) > 0);
    file.close();
    QVERIFY(QFile::link(file.fileName(), path(QStringLiteral("file link"))));
    QVERIFY(QFile::link(elsewhere.path(), path(QStringLiteral("folder link"))));
    QCOMPARE(measured(), allocated(path(QStringLiteral("file link"))) +
                             allocated(path(QStringLiteral("folder link"))));
    QVERIFY(measured() < 100'000);
}

void PathsTest::folderLoopsEnd()
{
    QVERIFY(QFile::link(folder_->path(), path(QStringLiteral("loop"))));
    QCOMPARE(measured(), allocated(path(QStringLiteral("loop"))));
}

void PathsTest::unreadableFoldersArePassedOver()
{
    const qint64 seen = write(QStringLiteral("seen"), 10'000);
    write(QStringLiteral("locked/unseen"), 10'000);
    const QByteArray locked = QFile::encodeName(path(QStringLiteral("locked")));
    // The administrator reads everything: be someone else for a moment.
    const bool isRoot = geteuid() == 0;
    constexpr uid_t nobody = 65534;
    QCOMPARE(chmod(locked.constData(), 0), 0);
    QCOMPARE(chmod(QFile::encodeName(folder_->path()).constData(), 0755), 0);
    QVERIFY(!isRoot || seteuid(nobody) == 0);
    const qint64 size = measured();
    const qint64 lockedSize = Paths::folderSize(path(QStringLiteral("locked")));
    QVERIFY(!isRoot || seteuid(0) == 0);
    chmod(locked.constData(), 0755);
    QCOMPARE(size, seen);
    QCOMPARE(lockedSize, 0);
}

void PathsTest::depthDoesNotMatter()
{
    QString deep = QStringLiteral("d");
    for (int i = 0; i < 1500; ++i) {
        deep += QStringLiteral("/d");
    }
    const qint64 bottom = write(deep + QStringLiteral("/file"), 10'000);
    QVERIFY(bottom >= 10'000);
    QCOMPARE(measured(), bottom);
}

QTEST_GUILESS_MAIN(PathsTest)
#include "tst_paths.moc"
