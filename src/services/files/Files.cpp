#include "files/Files.h"

#include "base/Error.h"
#include "files/OutputFile.h"
#include "files/TreeRemoval.h"
#include "platform/Disk.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <filesystem>
#include <ranges>
#include <vector>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

namespace {

namespace fs = std::filesystem;

constexpr QStringView removingPrefix = u".brindle-removing-";
constexpr QStringView movingPrefix = u".brindle-moving-";

/// Throws for an errno other than 0.
void check(int error, const QString &path)
{
    if (error != 0) {
        throw SystemError::fromErrno(error, path);
    }
}

/// `path` without "." and ".." and without the slash at its end that would make the system follow
/// a link.
QString cleanPath(const QString &path)
{
    return QDir::cleanPath(path);
}

/// With the slash at its end.
QString parentOf(const QString &path)
{
    return path.left(path.lastIndexOf(u'/') + 1);
}

QString hiddenSibling(const QString &path, QStringView prefix)
{
    return parentOf(path) + prefix.toString() + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

/// What is at `path` itself, links not followed. 0 or the errno.
int look(const QString &path, struct stat &status)
{
    return lstat(QFile::encodeName(path).constData(), &status) == 0 ? 0 : errno;
}

bool isFolder(const QString &path)
{
    struct stat status = {};
    return look(path, status) == 0 && S_ISDIR(status.st_mode);
}

/// 0 or the errno.
int renameTo(const QString &from, const QString &to)
{
    const int result =
        std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData());
    return result == 0 ? 0 : errno;
}

/// Has the names beside `path` on the disk as they are now. 0 or the errno.
int syncPlace(const QString &path)
{
    return Disk::syncNames(QFile::encodeName(parentOf(path)));
}

/// Renames what is on the disk by then, and has its new name there, too. 0 or the errno.
int syncAndRename(const QString &from, const QString &to)
{
    int error = Disk::syncTree(QFile::encodeName(isFolder(from) ? from : parentOf(from)));
    error = error != 0 ? error : renameTo(from, to);
    return error != 0 ? error : syncPlace(to);
}

/// Deletes whatever is at `path`. 0 or the errno of the first failure.
int deleteAt(const QString &path, const std::stop_token &stop = {})
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status = {};
    if (const int error = look(path, status); error != 0) {
        return error == ENOENT ? 0 : error;
    }
    if (S_ISDIR(status.st_mode)) {
        return TreeRemoval::remove(name, stop);
    }
    return unlink(name.constData()) == 0 ? 0 : errno;
}

/// Copies a file, link or whole folder with permission bits to where nothing is. What was copied
/// until a failure stays. Anything but files, links and folders is a failure.
void copyTree(const fs::path &source, const fs::path &target)
{
    struct Folder
    {
        fs::path from;
        fs::path to;
        fs::perms permissions; // last of all: they may not allow filling it
    };
    std::vector<Folder> folders;
    const auto copyEntry = [&folders](const fs::path &from, const fs::path &to) {
        const fs::file_status status = fs::symlink_status(from);
        if (status.type() == fs::file_type::directory) {
            fs::create_directory(to);
            folders.push_back({from, to, status.permissions()});
        } else if (status.type() == fs::file_type::symlink) {
            fs::copy_symlink(from, to);
        } else if (status.type() == fs::file_type::regular) {
            fs::copy_file(from, to);
        } else {
            throw fs::filesystem_error("copy", from,
                                       std::make_error_code(std::errc::not_supported));
        }
    };
    copyEntry(source, target);
    // By index and copied, as folders are found on the way.
    for (size_t next = 0; next < folders.size(); ++next) { // NOLINT(modernize-loop-convert)
        const Folder folder = folders[next]; // NOLINT(performance-unnecessary-copy-initialization)
        for (const fs::directory_entry &entry : fs::directory_iterator(folder.from)) {
            copyEntry(entry.path(), folder.to / entry.path().filename());
        }
    }
    for (const Folder &folder : folders | std::views::reverse) {
        fs::permissions(folder.to, folder.permissions);
    }
}

} // namespace

void Files::createFolder(const QString &path)
{
    const QString folder = cleanPath(path);
    for (qsizetype end = 0; end >= 0;) {
        end = folder.indexOf(u'/', end + 1);
        const QString part = folder.left(end); // all of it in the end
        const int error = mkdir(QFile::encodeName(part).constData(), S_IRWXU) == 0 ? 0 : errno;
        if (error != 0 && !QFileInfo(part).isDir()) {
            check(error == EEXIST ? ENOTDIR : error, path);
        }
    }
}

void Files::makePrivate(const QString &folder)
{
    const int opened =
        open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat status = {};
    if (opened < 0) {
        return;
    }
    constexpr mode_t others = S_IRWXG | S_IRWXO;
    if (fstat(opened, &status) == 0 && status.st_uid == geteuid() &&
        (status.st_mode & others) != 0) {
        // Ignored: it is as it was.
        (void)fchmod(opened, status.st_mode & S_IRWXU);
    }
    close(opened);
}

QString Files::makeHiddenBeside(const QString &path)
{
    const QString hidden = hiddenSibling(cleanPath(path), movingPrefix);
    check(mkdir(QFile::encodeName(hidden).constData(), S_IRWXU) == 0 ? 0 : errno, path);
    return hidden;
}

void Files::remove(const QString &path, const std::stop_token &stop)
{
    const QString place = cleanPath(path);
    struct stat status = {};
    const int error = look(place, status);
    if (error == ENOENT || error == ENOTDIR) {
        return;
    }
    check(error, path);
    if (S_ISDIR(status.st_mode)) {
        const QString hidden = hiddenSibling(place, removingPrefix);
        if (renameTo(place, hidden) == 0) {
            // Must be so on the disk as well before a part of it is missing there. Ignored: a
            // failure, as the deletion is still the best that can be done.
            (void)syncPlace(place);
            // The place is free. What can't be deleted now is left to removeLeftovers.
            deleteAt(hidden, stop);
            return;
        }
    }
    check(deleteAt(place), path);
}

void Files::removeIfPossible(const QString &path, const std::stop_token &stop)
{
    try {
        remove(path, stop);
    } catch (const SystemError &) {
        // Ignored: see the declaration.
    }
}

void Files::removeInPlace(const QString &path, const std::stop_token &stop)
{
    deleteAt(path, stop);
}

void Files::removeLeftovers(const QString &folder, const std::stop_token &stop)
{
    for (const QString &name : names(folder)) {
        if (name.startsWith(removingPrefix) || name.startsWith(movingPrefix)) {
            deleteAt(QDir(folder).filePath(name), stop);
        }
    }
}

void Files::move(const QString &from, const QString &to)
{
    const QString source = cleanPath(from);
    const QString target = cleanPath(to);
    int error = syncAndRename(source, target);
    if (error == EXDEV) {
        const QString hidden = hiddenSibling(target, movingPrefix);
        try {
            copyTree(QFile::encodeName(source).toStdString(),
                     QFile::encodeName(hidden).toStdString());
        } catch (const fs::filesystem_error &failed) {
            deleteAt(hidden);
            throw SystemError::fromErrno(failed.code().value(),
                                         QFile::decodeName(failed.path1().c_str()));
        }
        error = syncAndRename(hidden, target);
        if (error == 0) {
            remove(source);
        } else {
            deleteAt(hidden);
        }
    }
    struct stat status = {};
    check(error, look(source, status) == 0 ? to : from);
}

void Files::writeAtomically(const QString &path, const QByteArray &content)
{
    // Under a name that removeLeftovers knows, should this be interrupted.
    const QString hidden = hiddenSibling(cleanPath(path), movingPrefix);
    try {
        OutputFile file;
        file.create(hidden);
        file.write({content.constData(), static_cast<size_t>(content.size())});
        file.sync();
        check(renameTo(hidden, path), path);
        check(syncPlace(hidden), path);
    } catch (const SystemError &failed) {
        deleteAt(hidden);
        throw SystemError::fromErrno(failed.code, path);
    }
}

void Files::sync(const QString &folder)
{
    check(Disk::syncTree(QFile::encodeName(folder)), folder);
}

QStringList Files::names(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

} // namespace brindle
