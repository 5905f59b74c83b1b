#include "files/Files.h"

#include "base/Error.h"
#include "files/OutputFile.h"
#include "files/TreeCopy.h"
#include "files/TreeRemoval.h"
#include "platform/DiskSync.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

namespace {

constexpr QStringView removingPrefix = u".brindle-removing-";
constexpr QStringView movingPrefix = u".brindle-moving-";

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

/// 0 or the errno.
int renameTo(const QString &from, const QString &to)
{
    const int result =
        std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData());
    return result == 0 ? 0 : errno;
}

/// 0 or the errno. Something that is no folder counts as ENOTDIR.
int makeFolder(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    if (mkdir(name.constData(), S_IRWXU) == 0) {
        return 0;
    }
    if (errno == ENOENT && path.lastIndexOf(u'/') > 0) {
        const int error = makeFolder(path.left(path.lastIndexOf(u'/')));
        if (error != 0) {
            return error;
        }
        return mkdir(name.constData(), S_IRWXU) == 0 || errno == EEXIST ? 0 : errno;
    }
    const int error = errno;
    struct stat status = {};
    if (error == ENOENT || stat(name.constData(), &status) != 0) {
        return error;
    }
    return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

/// Has what is in the place of `path` on the disk. 0 or the errno.
int syncPlace(const QString &path)
{
    return DiskSync::names(QFile::encodeName(parentOf(path)));
}

/// Has what is at `path` on the disk, with all that is in it. 0 or the errno.
int syncEntry(const QString &path)
{
    struct stat status = {};
    const bool isFolder =
        lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISDIR(status.st_mode);
    return DiskSync::tree(QFile::encodeName(isFolder ? path : parentOf(path)));
}

/// Deletes whatever is at `path`. 0 or the errno of the first failure.
int removeInPlace(const QString &path, const std::stop_token &stop = {})
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status = {};
    if (lstat(name.constData(), &status) != 0) {
        return errno == ENOENT ? 0 : errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return TreeRemoval::remove(name, stop);
    }
    return unlink(name.constData()) == 0 ? 0 : errno;
}

} // namespace

void Files::createFolder(const QString &path)
{
    const int error = makeFolder(cleanPath(path));
    if (error != 0) {
        throw SystemError::fromErrno(error, path);
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
    if (mkdir(QFile::encodeName(hidden).constData(), S_IRWXU) != 0) {
        throw SystemError::fromErrno(errno, path);
    }
    return hidden;
}

void Files::remove(const QString &path, const std::stop_token &stop)
{
    const QString place = cleanPath(path);
    struct stat status = {};
    if (lstat(QFile::encodeName(place).constData(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return;
        }
        throw SystemError::fromErrno(errno, path);
    }
    if (S_ISDIR(status.st_mode)) {
        const QString hidden = hiddenSibling(place, removingPrefix);
        if (renameTo(place, hidden) == 0) {
            // Must be so on the disk as well before a part of it is missing there. Ignored: a
            // failure, as the deletion is still the best that can be done.
            (void)syncPlace(place);
            // The place is free. What can't be deleted now is left to removeLeftovers.
            removeInPlace(hidden, stop);
            return;
        }
    }
    const int error = removeInPlace(place);
    if (error != 0) {
        throw SystemError::fromErrno(error, path);
    }
}

void Files::removeIfPossible(const QString &path, const std::stop_token &stop)
{
    try {
        remove(path, stop);
    } catch (const SystemError &) {
        // Ignored: see the declaration.
    }
}

void Files::removeLeftovers(const QString &folder)
{
    for (const QString &name : names(folder)) {
        if (name.startsWith(removingPrefix) || name.startsWith(movingPrefix)) {
            removeInPlace(QDir(folder).filePath(name));
        }
    }
}

void Files::move(const QString &from, const QString &to)
{
    const QString source = cleanPath(from);
    const QString target = cleanPath(to);
    int error = syncEntry(source);
    error = error != 0 ? error : renameTo(source, target);
    const bool isCopied = error == EXDEV;
    if (isCopied) {
        const QString hidden = hiddenSibling(target, movingPrefix);
        try {
            TreeCopy::copy(source, hidden);
        } catch (const SystemError &) {
            removeInPlace(hidden);
            throw;
        }
        error = syncEntry(hidden);
        error = error != 0 ? error : renameTo(hidden, target);
        if (error != 0) {
            removeInPlace(hidden);
        }
    }
    error = error != 0 ? error : syncPlace(target);
    if (error == 0 && isCopied) {
        remove(source);
    }
    if (error != 0) {
        struct stat status = {};
        const bool hasSource = lstat(QFile::encodeName(source).constData(), &status) == 0;
        throw SystemError::fromErrno(error, hasSource ? to : from);
    }
}

void Files::writeAtomically(const QString &path, const QByteArray &content)
{
    // Under a name that removeLeftovers knows, should this be interrupted.
    const QString hidden = hiddenSibling(cleanPath(path), movingPrefix);
    int error = 0;
    try {
        OutputFile file;
        file.open(hidden);
        file.write({content.constData(), static_cast<size_t>(content.size())});
        file.sync();
        file.finish();
        error = renameTo(hidden, path);
        error = error != 0 ? error : syncPlace(hidden);
    } catch (const SystemError &failed) {
        error = failed.code;
    }
    if (error != 0) {
        removeInPlace(hidden);
        throw SystemError::fromErrno(error, path);
    }
}

void Files::sync(const QString &folder)
{
    const int error = DiskSync::tree(QFile::encodeName(folder));
    if (error != 0) {
        throw SystemError::fromErrno(error, folder);
    }
}

QStringList Files::names(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

} // namespace brindle
