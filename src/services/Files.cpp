#include "services/Files.h"

#include "services/OutputFile.h"
#include "services/SystemError.h"
#include "services/TreeCopy.h"
#include "services/TreeRemoval.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <cerrno>
#include <cstdio>
#include <filesystem>

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

QString hiddenSibling(const QString &path, QStringView prefix)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    return path.left(slash + 1) + prefix.toString() +
           QUuid::createUuid().toString(QUuid::WithoutBraces);
}

/// 0 or the errno.
int renameTo(const QString &from, const QString &to)
{
    const int result =
        std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData());
    return result == 0 ? 0 : errno;
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
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(cleanPath(path)).toStdString(), error);
    if (error) {
        throw SystemError::fromErrno(error.value(), path);
    }
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
            // The place is free. What can't be deleted now is left to clearRemoved.
            removeInPlace(hidden, stop);
            return;
        }
    }
    const int error = removeInPlace(place);
    if (error != 0) {
        throw SystemError::fromErrno(error, path);
    }
}

void Files::clearRemoved(const QString &folder)
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
    int error = renameTo(source, target);
    if (error == EXDEV) {
        const QString hidden = hiddenSibling(target, movingPrefix);
        try {
            TreeCopy::copy(source, hidden);
        } catch (const SystemError &) {
            removeInPlace(hidden);
            throw;
        }
        error = renameTo(hidden, target);
        if (error == 0) {
            remove(source);
            return;
        }
        removeInPlace(hidden);
    }
    if (error != 0) {
        struct stat status = {};
        const bool hasSource = lstat(QFile::encodeName(source).constData(), &status) == 0;
        throw SystemError::fromErrno(error, hasSource ? to : from);
    }
}

void Files::writeAtomically(const QString &path, const QByteArray &content)
{
    // Under a name that clearRemoved knows, should this be interrupted.
    const QString hidden = hiddenSibling(cleanPath(path), movingPrefix);
    int error = 0;
    try {
        OutputFile file;
        file.open(hidden);
        file.write({content.constData(), static_cast<size_t>(content.size())});
        file.finish();
        error = renameTo(hidden, path);
    } catch (const SystemError &failed) {
        error = failed.code;
    }
    if (error != 0) {
        removeInPlace(hidden);
        throw SystemError::fromErrno(error, path);
    }
}

QStringList Files::names(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

} // namespace brindle
