#include "base/Error.h"
#include "files/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Files = brindle::Files;
using brindle::SystemError;

namespace {

/// What `action` reports; absent when it succeeds.
std::optional<SystemError> failureOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const SystemError &error) {
        return error;
    }
    return std::nullopt;
}

void write(const QString &path, const QByteArray &content = "content")
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

/// Of the entry itself, links not followed; all zero when there is none.
struct stat statusOf(const QString &path)
{
    struct stat status = {};
    if (lstat(QFile::encodeName(path).constData(), &status) != 0) {
        status = {};
    }
    return status;
}

bool exists(const QString &path)
{
    return statusOf(path).st_ino != 0;
}

unsigned modeOf(const QString &path)
{
    return statusOf(path).st_mode & 07777;
}

void setMode(const QString &path, mode_t mode)
{
    QCOMPARE(chmod(QFile::encodeName(path).constData(), mode), 0);
}

QStringList sortedNames(const QString &folder)
{
    QStringList names = Files::names(folder);
    std::sort(names.begin(), names.end());
    return names;
}

constexpr uid_t nobody = 65534;

void giveToNobody(const QString &path)
{
    if (geteuid() == 0) {
        QCOMPARE(lchown(QFile::encodeName(path).constData(), nobody, nobody), 0);
    }
}

/// Permission bits mean nothing to the administrator: runs `action` as an ordinary user.
template <typename Action>
auto asOrdinaryUser(Action action)
{
    const bool isRoot = geteuid() == 0;
    if (isRoot && seteuid(nobody) != 0) {
        qFatal("can't become an ordinary user");
    }
    auto result = action();
    if (isRoot && seteuid(0) != 0) {
        qFatal("can't become the administrator again");
    }
    return result;
}

} // namespace

class FilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void createsFoldersWithTheirParents();
    void createFolderNamesWhatIsInTheWay();

    void removesNothingWithoutComplaint();
    void removesFiles();
    void removesLinksNotWhatTheyPointTo();
    void removesWholeFolders();
    void removesFoldersWithoutPermissionBits();
    void removesFoldersDeeperThanPathsAndDescriptorsReach();
    void freesThePlaceEvenWhenSomethingCantBeDeleted();
    void removesInPlaceWhenRenamingFails();
    void freesThePlaceEvenWhenItIsStopped();

    void clearsWhatInterruptedCallsLeft();

    void moveKeepsTheFileOnOneFileSystem();
    void moveReplacesFiles();
    void moveNamesWhatIsMissing();
    void moveLeavesAFilledFolderAlone();
    void movesFoldersAcrossFileSystems();
    void movesFilesAndLinksAcrossFileSystems();
    void failedMoveAcrossFileSystemsChangesNothing();
    void moveAcrossFileSystemsLeavesAFilledFolderAlone();

    void writesWholeFiles();
    void writeFailuresNameTheFile();
    void failedWriteKeepsTheOldContent();

    void namesEveryEntry();

    void renamesThatFailForGood();

    void isForThisUserAlone_data();
    void isForThisUserAlone();
    void takesOthersRightsAway();

private:
    QString path(const QString &name) const { return folder_->filePath(name); }
    /// A fresh folder on another file system than `path`; null when there is none.
    static std::unique_ptr<QTemporaryDir> elsewhere();

    std::unique_ptr<QTemporaryDir> folder_;
};

void FilesTest::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    QVERIFY(folder_->isValid());
    setMode(folder_->path(), 0755);
}

void FilesTest::cleanup()
{
    const QString path = folder_->path();
    folder_.reset();
    QVERIFY(!exists(path));
}

std::unique_ptr<QTemporaryDir> FilesTest::elsewhere()
{
    auto folder = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/brindle-XXXXXX"));
    const bool differs =
        folder->isValid() && statusOf(folder->path()).st_dev != statusOf(QDir::tempPath()).st_dev;
    return differs ? std::move(folder) : nullptr;
}

void FilesTest::createsFoldersWithTheirParents()
{
    Files::createFolder(path(QStringLiteral("a/b/c")));
    QVERIFY(QFileInfo(path(QStringLiteral("a/b/c"))).isDir());
    Files::createFolder(path(QStringLiteral("a/b/c/")));
    // A link to a folder is as good as one.
    QVERIFY(QFile::link(path(QStringLiteral("a")), path(QStringLiteral("link"))));
    Files::createFolder(path(QStringLiteral("link/d")));
    QVERIFY(QFileInfo(path(QStringLiteral("a/d"))).isDir());
}

void FilesTest::createFolderNamesWhatIsInTheWay()
{
    write(path(QStringLiteral("file")));
    for (const QString &name : {path(QStringLiteral("file")), path(QStringLiteral("file/below"))}) {
        const auto failure = failureOf([&] { Files::createFolder(name); });
        QVERIFY(failure);
        QVERIFY2(failure->description().startsWith(name + QStringLiteral(": ")), failure->what());
        QCOMPARE(failure->code, ENOTDIR);
    }
}

void FilesTest::removesNothingWithoutComplaint()
{
    Files::remove(path(QStringLiteral("none")));
    Files::remove(path(QStringLiteral("none/below")));
    write(path(QStringLiteral("file")));
    Files::remove(path(QStringLiteral("file/below")));
    QVERIFY(exists(path(QStringLiteral("file"))));
}

void FilesTest::removesFiles()
{
    write(path(QStringLiteral("file")));
    setMode(path(QStringLiteral("file")), 0);
    Files::remove(path(QStringLiteral("file")));
    QCOMPARE(sortedNames(folder_->path()), QStringList());
}

void FilesTest::removesLinksNotWhatTheyPointTo()
{
    write(path(QStringLiteral("target/file")));
    const QString link = path(QStringLiteral("link"));
    QVERIFY(QFile::link(path(QStringLiteral("target")), link));
    Files::remove(link);
    QVERIFY(!exists(link));

    // A slash at the end would make the system follow it.
    QVERIFY(QFile::link(path(QStringLiteral("target")), link));
    Files::remove(link + u'/');
    QVERIFY(!exists(link));

    QVERIFY(QFile::link(path(QStringLiteral("none")), link));
    Files::remove(link);
    QVERIFY(!exists(link));

    // The same below a folder.
    write(path(QStringLiteral("tree/sub/file")));
    QVERIFY(QFile::link(path(QStringLiteral("target")), path(QStringLiteral("tree/link"))));
    QVERIFY(QFile::link(path(QStringLiteral("target")), path(QStringLiteral("tree/sub/link"))));
    Files::remove(path(QStringLiteral("tree")));
    QCOMPARE(sortedNames(folder_->path()), QStringList{QStringLiteral("target")});
    QCOMPARE(read(path(QStringLiteral("target/file"))), "content");
}

void FilesTest::removesWholeFolders()
{
    const QString tree = path(QStringLiteral("tree"));
    for (int i = 0; i < 50; ++i) {
        write(tree + QStringLiteral("/folder %1/sub/deep/file").arg(i));
        write(tree + QStringLiteral("/folder %1/.hidden").arg(i));
        write(tree + QStringLiteral("/folder %1/sub/other/file").arg(i));
    }
    QVERIFY(QDir().mkpath(tree + QStringLiteral("/empty/empty")));
    QCOMPARE(mkfifo(QFile::encodeName(tree + QStringLiteral("/pipe")).constData(), 0600), 0);
    write(QString::fromUtf8("%1/Schlüssel\n").arg(tree));
    Files::remove(tree + u'/');
    QCOMPARE(sortedNames(folder_->path()), QStringList());
}

void FilesTest::removesFoldersWithoutPermissionBits()
{
    const QString tree = path(QStringLiteral("tree"));
    const QStringList folders{
        tree + QStringLiteral("/locked/inner/innermost"), tree + QStringLiteral("/locked/inner"),
        tree + QStringLiteral("/locked"), tree + QStringLiteral("/emptied"), tree};
    write(folders[0] + QStringLiteral("/file"));
    QVERIFY(QDir().mkpath(folders[3]));
    giveToNobody(folder_->path());
    giveToNobody(folders[0] + QStringLiteral("/file"));
    for (const QString &folder : folders) {
        giveToNobody(folder);
        setMode(folder, 0);
    }
    const auto failure = asOrdinaryUser([&] { return failureOf([&] { Files::remove(tree); }); });
    QVERIFY2(!failure, failure ? failure->what() : "");
    QCOMPARE(sortedNames(folder_->path()), QStringList());
}

void FilesTest::removesFoldersDeeperThanPathsAndDescriptorsReach()
{
    const QString tree = path(QStringLiteral("tree"));
    QVERIFY(QDir().mkpath(tree));
    int folder = open(QFile::encodeName(tree).constData(), O_RDONLY | O_DIRECTORY);
    for (int depth = 0; depth < 1000; ++depth) {
        QCOMPARE(mkdirat(folder, "folder", 0755), 0);
        const int file = openat(folder, "file", O_CREAT | O_WRONLY, 0644);
        QVERIFY(file >= 0);
        close(file);
        const int below = openat(folder, "folder", O_RDONLY | O_DIRECTORY);
        QVERIFY(below >= 0);
        close(folder);
        folder = below;
    }
    close(folder);

    rlimit limit = {};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit few{100, limit.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
    const auto failure = failureOf([&] { Files::remove(tree); });
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &limit), 0);

    QVERIFY2(!failure, failure ? failure->what() : "");
    QCOMPARE(sortedNames(folder_->path()), QStringList());
}

void FilesTest::freesThePlaceEvenWhenSomethingCantBeDeleted()
{
    if (geteuid() != 0) {
        QSKIP("needs a folder of another user's");
    }
    const QString tree = path(QStringLiteral("tree"));
    write(tree + QStringLiteral("/file"));
    write(tree + QStringLiteral("/foreign/file"));
    giveToNobody(folder_->path());
    giveToNobody(tree);
    giveToNobody(tree + QStringLiteral("/file"));

    const auto failure = asOrdinaryUser([&] { return failureOf([&] { Files::remove(tree); }); });

    QVERIFY2(!failure, failure ? failure->what() : "");
    QVERIFY(!exists(tree));
    const QStringList left = Files::names(folder_->path());
    QCOMPARE(left.size(), 1);
    QVERIFY(left[0].startsWith(QStringLiteral(".brindle-removing-")));
    QCOMPARE(Files::names(path(left[0])), QStringList{QStringLiteral("foreign")});

    Files::removeLeftovers(folder_->path());
    QCOMPARE(sortedNames(folder_->path()), QStringList());
}

void FilesTest::removesInPlaceWhenRenamingFails()
{
    const QString tree = path(QStringLiteral("fixed/tree"));
    write(tree + QStringLiteral("/sub/file"));
    for (const QString &name : {QStringLiteral("/sub/file"), QStringLiteral("/sub"), QString()}) {
        giveToNobody(tree + name);
    }
    setMode(path(QStringLiteral("fixed")), 0555);

    const auto failure = asOrdinaryUser([&] { return failureOf([&] { Files::remove(tree); }); });
    setMode(path(QStringLiteral("fixed")), 0755);

    QVERIFY(failure);
    QCOMPARE(failure->code, EACCES);
    QVERIFY2(failure->description().startsWith(tree + QStringLiteral(": ")), failure->what());
    QCOMPARE(Files::names(path(QStringLiteral("fixed"))), QStringList{QStringLiteral("tree")});
    QCOMPARE(Files::names(tree), QStringList());
}

void FilesTest::freesThePlaceEvenWhenItIsStopped()
{
    const QString tree = path(QStringLiteral("tree"));
    QVERIFY(QDir().mkpath(tree + QStringLiteral("/a/b")));
    std::stop_source stop;
    stop.request_stop();
    Files::remove(tree, stop.get_token());
    QVERIFY(!exists(tree));
    const QStringList left = sortedNames(folder_->path());
    QCOMPARE(left.size(), 1);
    QVERIFY2(exists(path(left.first()) + QStringLiteral("/a")),
             "the rest was not to be waited for");
    Files::removeLeftovers(folder_->path(), stop.get_token());
    QVERIFY(exists(path(left.first()) + QStringLiteral("/a")));
    Files::removeLeftovers(folder_->path());
    QCOMPARE(sortedNames(folder_->path()), QStringList());
}

void FilesTest::clearsWhatInterruptedCallsLeft()
{
    write(path(QStringLiteral("target/file")));
    write(path(QStringLiteral(".brindle-removing-1/sub/file")));
    write(path(QStringLiteral(".brindle-moving-2")));
    QVERIFY(
        QFile::link(path(QStringLiteral("target")), path(QStringLiteral(".brindle-removing-3"))));
    write(path(QStringLiteral(".brindle")));
    write(path(QStringLiteral("a.brindle-removing-4")));
    write(path(QStringLiteral("Game/.brindle-removing-5")));

    Files::removeLeftovers(folder_->path());

    QCOMPARE(sortedNames(folder_->path()),
             QStringList({QStringLiteral(".brindle"), QStringLiteral("Game"),
                          QStringLiteral("a.brindle-removing-4"), QStringLiteral("target")}));
    QVERIFY(exists(path(QStringLiteral("target/file"))));
    QVERIFY(exists(path(QStringLiteral("Game/.brindle-removing-5"))));
    Files::removeLeftovers(path(QStringLiteral("none")));
}

void FilesTest::moveKeepsTheFileOnOneFileSystem()
{
    write(path(QStringLiteral("from/sub/file")));
    const auto inode = statusOf(path(QStringLiteral("from"))).st_ino;
    Files::move(path(QStringLiteral("from/")), path(QStringLiteral("to")));
    QCOMPARE(statusOf(path(QStringLiteral("to"))).st_ino, inode);
    QCOMPARE(read(path(QStringLiteral("to/sub/file"))), "content");
    QCOMPARE(sortedNames(folder_->path()), QStringList{QStringLiteral("to")});
}

void FilesTest::moveReplacesFiles()
{
    write(path(QStringLiteral("from")), "new");
    write(path(QStringLiteral("to")), "old");
    Files::move(path(QStringLiteral("from")), path(QStringLiteral("to")));
    QCOMPARE(read(path(QStringLiteral("to"))), "new");
    QVERIFY(!exists(path(QStringLiteral("from"))));
}

void FilesTest::moveNamesWhatIsMissing()
{
    const QString from = path(QStringLiteral("from"));
    const QString to = path(QStringLiteral("none/to"));
    auto failure = failureOf([&] { Files::move(from, path(QStringLiteral("to"))); });
    QVERIFY(failure);
    QVERIFY2(failure->description().startsWith(from + QStringLiteral(": ")), failure->what());
    write(from);
    failure = failureOf([&] { Files::move(from, to); });
    QVERIFY(failure);
    QVERIFY2(failure->description().startsWith(to + QStringLiteral(": ")), failure->what());
    QCOMPARE(failure->code, ENOENT);
    QVERIFY(exists(from));
}

void FilesTest::moveLeavesAFilledFolderAlone()
{
    write(path(QStringLiteral("from/file")), "new");
    write(path(QStringLiteral("to/file")), "old");
    const auto failure =
        failureOf([&] { Files::move(path(QStringLiteral("from")), path(QStringLiteral("to"))); });
    QVERIFY(failure);
    QCOMPARE(read(path(QStringLiteral("from/file"))), "new");
    QCOMPARE(read(path(QStringLiteral("to/file"))), "old");
}

void FilesTest::movesFoldersAcrossFileSystems()
{
    const auto other = elsewhere();
    if (!other) {
        QSKIP("no second file system here");
    }
    const QString from = other->filePath(QStringLiteral("from"));
    const QString to = path(QStringLiteral("to"));
    const QByteArray large = QByteArray("0123456789").repeated(300'000);
    write(from + QStringLiteral("/program"), large);
    setMode(from + QStringLiteral("/program"), 0755);
    write(from + QStringLiteral("/sub/deep/.hidden"), "hidden");
    setMode(from + QStringLiteral("/sub/deep/.hidden"), 0640);
    write(from + QStringLiteral("/sub/empty file"), QByteArray());
    QVERIFY(QDir().mkpath(from + QStringLiteral("/empty")));
    QCOMPARE(symlink("program", QFile::encodeName(from + QStringLiteral("/link")).constData()), 0);
    QCOMPARE(symlink("sub", QFile::encodeName(from + QStringLiteral("/folder link")).constData()),
             0);
    QCOMPARE(symlink("none", QFile::encodeName(from + QStringLiteral("/dangling")).constData()), 0);
    setMode(from + QStringLiteral("/sub/deep"), 0555);
    setMode(from + QStringLiteral("/sub"), 0750);
    // An empty folder in the target's place is no obstacle.
    QVERIFY(QDir().mkpath(to));

    Files::move(from, to);

    QVERIFY(!exists(from));
    QCOMPARE(Files::names(other->path()), QStringList());
    QCOMPARE(Files::names(folder_->path()), QStringList{QStringLiteral("to")});
    QCOMPARE(sortedNames(to), QStringList({QStringLiteral("dangling"), QStringLiteral("empty"),
                                           QStringLiteral("folder link"), QStringLiteral("link"),
                                           QStringLiteral("program"), QStringLiteral("sub")}));
    QCOMPARE(read(to + QStringLiteral("/program")), large);
    QCOMPARE(modeOf(to + QStringLiteral("/program")), 0755u);
    QCOMPARE(read(to + QStringLiteral("/sub/deep/.hidden")), "hidden");
    QCOMPARE(modeOf(to + QStringLiteral("/sub/deep/.hidden")), 0640u);
    QCOMPARE(read(to + QStringLiteral("/sub/empty file")), "");
    QCOMPARE(modeOf(to + QStringLiteral("/sub/deep")), 0555u);
    QCOMPARE(modeOf(to + QStringLiteral("/sub")), 0750u);
    QVERIFY(QFileInfo(to + QStringLiteral("/empty")).isDir());
    const auto linkText = [&](const QString &name) {
        std::array<char, 64> text{};
        const auto size =
            readlink(QFile::encodeName(to + u'/' + name).constData(), text.data(), text.size());
        return QByteArray(text.data(), std::max<qsizetype>(size, 0));
    };
    QCOMPARE(linkText(QStringLiteral("link")), "program");
    QCOMPARE(linkText(QStringLiteral("folder link")), "sub");
    QCOMPARE(linkText(QStringLiteral("dangling")), "none");
    setMode(to + QStringLiteral("/sub/deep"), 0755); // for the test's own tidying up
}

void FilesTest::movesFilesAndLinksAcrossFileSystems()
{
    const auto other = elsewhere();
    if (!other) {
        QSKIP("no second file system here");
    }
    write(other->filePath(QStringLiteral("file")), "new");
    setMode(other->filePath(QStringLiteral("file")), 0700);
    write(path(QStringLiteral("file")), "old");
    Files::move(other->filePath(QStringLiteral("file")), path(QStringLiteral("file")));
    QCOMPARE(read(path(QStringLiteral("file"))), "new");
    QCOMPARE(modeOf(path(QStringLiteral("file"))), 0700u);

    write(other->filePath(QStringLiteral("target/file")));
    QVERIFY(QFile::link(other->filePath(QStringLiteral("target")),
                        other->filePath(QStringLiteral("link"))));
    Files::move(other->filePath(QStringLiteral("link")), path(QStringLiteral("link")));
    QVERIFY(QFileInfo(path(QStringLiteral("link"))).isSymLink());
    QVERIFY(exists(other->filePath(QStringLiteral("target/file"))));
    QCOMPARE(Files::names(other->path()), QStringList{QStringLiteral("target")});
    QCOMPARE(sortedNames(folder_->path()),
             QStringList({QStringLiteral("file"), QStringLiteral("link")}));
}

void FilesTest::failedMoveAcrossFileSystemsChangesNothing()
{
    const auto other = elsewhere();
    if (!other) {
        QSKIP("no second file system here");
    }
    const QString from = other->filePath(QStringLiteral("from"));
    write(from + QStringLiteral("/file"));
    const QString pipe = from + QStringLiteral("/pipe");
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);

    const auto failure = failureOf([&] { Files::move(from, path(QStringLiteral("to"))); });

    QVERIFY(failure);
    QVERIFY2(failure->description().startsWith(pipe + QStringLiteral(": ")), failure->what());
    QCOMPARE(sortedNames(from), QStringList({QStringLiteral("file"), QStringLiteral("pipe")}));
    QCOMPARE(Files::names(folder_->path()), QStringList());
}

void FilesTest::moveAcrossFileSystemsLeavesAFilledFolderAlone()
{
    const auto other = elsewhere();
    if (!other) {
        QSKIP("no second file system here");
    }
    write(other->filePath(QStringLiteral("from/file")), "new");
    write(path(QStringLiteral("to/file")), "old");
    const auto failure = failureOf(
        [&] { Files::move(other->filePath(QStringLiteral("from")), path(QStringLiteral("to"))); });
    QVERIFY(failure);
    QVERIFY2(failure->description().startsWith(path(QStringLiteral("to: "))), failure->what());
    QCOMPARE(read(other->filePath(QStringLiteral("from/file"))), "new");
    QCOMPARE(read(path(QStringLiteral("to/file"))), "old");
    QCOMPARE(Files::names(folder_->path()), QStringList{QStringLiteral("to")});
}

void FilesTest::writesWholeFiles()
{
    const QString file = path(QStringLiteral("info.json"));
    Files::writeAtomically(file, "first and longer");
    QCOMPARE(read(file), "first and longer");
    const auto inode = statusOf(file).st_ino;
    QFile open(file);
    QVERIFY(open.open(QIODevice::ReadOnly));

    Files::writeAtomically(file, "second");

    QCOMPARE(read(file), "second");
    // Another file has taken the place: who had it open still reads the old one.
    QVERIFY(statusOf(file).st_ino != inode);
    QCOMPARE(open.readAll(), "first and longer");
    QCOMPARE(Files::names(folder_->path()), QStringList{QStringLiteral("info.json")});
}

void FilesTest::writeFailuresNameTheFile()
{
    QVERIFY(QDir().mkpath(path(QStringLiteral("folder"))));
    for (const QString &file :
         {path(QStringLiteral("none/file")), path(QStringLiteral("folder"))}) {
        const auto failure = failureOf([&] { Files::writeAtomically(file, "content"); });
        QVERIFY(failure);
        QVERIFY2(failure->description().startsWith(file + QStringLiteral(": ")), failure->what());
        QVERIFY(failure->description().size() > file.size() + 2);
    }
    QCOMPARE(Files::names(folder_->path()), QStringList{QStringLiteral("folder")});
}

void FilesTest::failedWriteKeepsTheOldContent()
{
    const QString file = path(QStringLiteral("info.json"));
    Files::writeAtomically(file, "old");
    rlimit limit = {};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{4096, limit.rlim_max};
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
    const auto failure =
        failureOf([&] { Files::writeAtomically(file, QByteArray(1'000'000, 'x')); });
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::signal(SIGXFSZ, before);
    QVERIFY(failure);
    QCOMPARE(read(file), "old");
    QCOMPARE(Files::names(folder_->path()), QStringList{QStringLiteral("info.json")});
}

void FilesTest::namesEveryEntry()
{
    write(path(QStringLiteral(".hidden")));
    write(path(QStringLiteral("file")));
    QVERIFY(QDir().mkpath(path(QStringLiteral("folder/below"))));
    QVERIFY(QFile::link(path(QStringLiteral("none")), path(QStringLiteral("dangling"))));
    QVERIFY(QFile::link(path(QStringLiteral("folder")), path(QStringLiteral("link"))));
    QCOMPARE(
        sortedNames(folder_->path()),
        QStringList({QStringLiteral(".hidden"), QStringLiteral("dangling"), QStringLiteral("file"),
                     QStringLiteral("folder"), QStringLiteral("link")}));
    QCOMPARE(Files::names(path(QStringLiteral("none"))), QStringList());
    QCOMPARE(Files::names(path(QStringLiteral("file"))), QStringList());
}

void FilesTest::renamesThatFailForGood()
{
    // Longer than a name may be on any file system of ours, while the hidden one beside it fits.
    const QString tooLong = path(QString(300, u'n'));
    auto failure = failureOf([&] { Files::writeAtomically(tooLong, "content"); });
    QVERIFY(failure);
    QCOMPARE(failure->code, ENAMETOOLONG);
    QVERIFY2(failure->description().startsWith(tooLong + QStringLiteral(": ")), failure->what());
    QCOMPARE(Files::names(folder_->path()), QStringList());

    write(path(QStringLiteral("from/file")));
    failure = failureOf([&] { Files::move(path(QStringLiteral("from")), tooLong); });
    QVERIFY(failure);
    QCOMPARE(failure->code, ENAMETOOLONG);
    QVERIFY2(failure->description().startsWith(tooLong + QStringLiteral(": ")), failure->what());
    QCOMPARE(Files::names(folder_->path()), QStringList{QStringLiteral("from")});
    QCOMPARE(read(path(QStringLiteral("from/file"))), "content");

    if (const auto other = elsewhere()) {
        write(other->filePath(QStringLiteral("file")));
        failure = failureOf([&] { Files::move(other->filePath(QStringLiteral("file")), tooLong); });
        QVERIFY(failure);
        QCOMPARE(failure->code, ENAMETOOLONG);
        QCOMPARE(Files::names(folder_->path()), QStringList{QStringLiteral("from")});
        QVERIFY(exists(other->filePath(QStringLiteral("file"))));
    }
}

void FilesTest::isForThisUserAlone_data()
{
    QTest::addColumn<uint>("mask");
    QTest::newRow("everything is allowed") << 0u;
    QTest::newRow("usual") << 022u;
    QTest::newRow("group") << 002u;
}

void FilesTest::isForThisUserAlone()
{
    QFETCH(const uint, mask);
    const mode_t before = umask(mask);
    Files::createFolder(path(QStringLiteral("a/b")));
    Files::writeAtomically(path(QStringLiteral("a/info.json")), "content");
    const QString hidden = Files::makeHiddenBeside(path(QStringLiteral("a/b")));
    umask(before);
    QCOMPARE(modeOf(path(QStringLiteral("a"))), 0700u);
    QCOMPARE(modeOf(path(QStringLiteral("a/b"))), 0700u);
    QCOMPARE(modeOf(path(QStringLiteral("a/info.json"))), 0600u);
    QCOMPARE(modeOf(hidden), 0700u);
    QCOMPARE(QFileInfo(hidden).path(), path(QStringLiteral("a")));
    Files::removeLeftovers(path(QStringLiteral("a")));
    QVERIFY(!exists(hidden));
}

void FilesTest::takesOthersRightsAway()
{
    const QString folder = path(QStringLiteral("folder"));
    const QString link = path(QStringLiteral("link"));
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(QFile::link(folder, link));
    for (const QString &name : {folder, link}) {
        setMode(folder, 0777);
        Files::makePrivate(name);
        QCOMPARE(modeOf(folder), 0700u);
    }
    // What is tighter stays.
    setMode(folder, 0500);
    Files::makePrivate(folder);
    QCOMPARE(modeOf(folder), 0500u);
    Files::makePrivate(path(QStringLiteral("none")));
    QVERIFY(!exists(path(QStringLiteral("none"))));
    if (geteuid() == 0) {
        setMode(folder, 0755);
        giveToNobody(folder);
        Files::makePrivate(folder);
        QCOMPARE(modeOf(folder), 0755u);
    }
}

QTEST_GUILESS_MAIN(FilesTest)
#include "tst_files.moc"
