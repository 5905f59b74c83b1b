#include "files/Files.h"

#include "base/Error.h"
#include "files/OutputFile.h"
#include "platform/Disk.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QUuid>

#include <cerrno>
#include <filesystem>
#include <ranges>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

constexpr auto hiddenPrefix = ".brindle-"_L1;

/// Throws for an errno other than 0.
void check(int error, const QString &path)
{
    if (error != 0) {
        throw SystemError::fromErrno(error, path);
    }
}

void check(const std::error_code &error, const fs::path &path)
{
    check(error.value(), QFile::decodeName(path.c_str()));
}

/// Returns the result of a system call if it succeeded.
ssize_t checked(ssize_t result, const fs::path &path)
{
    check(result < 0 ? errno : 0, QFile::decodeName(path.c_str()));
    return result;
}

fs::path native(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

/// Without a slash at its end, which would make the system follow a link.
QString clean(const QString &path)
{
    return QDir::cleanPath(path);
}

/// With the slash at its end.
QString parentOf(const QString &path)
{
    return path.left(path.lastIndexOf(u'/') + 1);
}

QString hiddenSibling(const QString &path)
{
    return parentOf(path) + hiddenPrefix + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

bool isFolder(const fs::path &path)
{
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::directory;
}

/// Renames `from` after its content is synced, then syncs the new name. Returns 0 or the errno.
int syncAndRename(const QString &from, const QString &to, const std::stop_token &stop)
{
    const QString content = isFolder(native(from)) ? from : parentOf(from);
    if (const int error = Disk::syncTree(QFile::encodeName(content))) {
        return error;
    }
    checkCancellation(stop);
    std::error_code error;
    fs::rename(native(from), native(to), error);
    return error ? error.value() : Disk::syncNames(QFile::encodeName(parentOf(to)));
}

/// Not fs::copy_file, which loses the errno of a full disk.
void copyFile(const fs::path &from, const fs::path &to, const std::stop_token &stop)
{
    const int descriptor = int(checked(::open(from.c_str(), O_RDONLY | O_CLOEXEC), from));
    const auto close = qScopeGuard([descriptor] { ::close(descriptor); });
    OutputFile copy;
    copy.create(QFile::decodeName(to.c_str()));
    std::vector<char> buffer(size_t{256} * 1024);
    while (const ssize_t size = checked(::read(descriptor, buffer.data(), buffer.size()), from)) {
        copy.write({buffer.data(), size_t(size)});
        checkCancellation(stop);
    }
}

/// Copies a file, link or whole folder with permission bits to a path where nothing is. A failure
/// leaves what was copied so far. Fails for anything but files, links and folders.
void copyTree(const fs::path &source, const fs::path &target, const std::stop_token &stop)
{
    struct Copied
    {
        fs::path from;
        fs::path to;
        fs::perms permissions;
    };
    std::vector<Copied> folders;
    const auto copyEntry = [&](const fs::path &from, const fs::path &to) {
        checkCancellation(stop);
        std::error_code error;
        const fs::file_status status = fs::symlink_status(from, error);
        check(error, from);
        if (status.type() == fs::file_type::directory) {
            fs::create_directory(to, error);
            folders.push_back({from, to, status.permissions()});
        } else if (status.type() == fs::file_type::symlink) {
            fs::copy_symlink(from, to, error);
        } else if (status.type() == fs::file_type::regular) {
            copyFile(from, to, stop);
            fs::permissions(to, status.permissions(), error);
        } else {
            check(ENOTSUP, QFile::decodeName(from.c_str()));
        }
        check(error, to);
    };
    copyEntry(source, target);
    for (size_t next = 0; next < folders.size(); ++next) { // grows meanwhile
        const Copied folder = folders[next];
        std::error_code error;
        fs::directory_iterator entry(folder.from, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            copyEntry(entry->path(), folder.to / entry->path().filename());
        }
        check(error, folder.from);
    }
    // Last, because they may forbid to fill the folder.
    for (const Copied &folder : folders | std::views::reverse) {
        std::error_code error;
        fs::permissions(folder.to, folder.permissions, error);
        check(error, folder.to);
    }
}

} // namespace

void Files::createFolder(const QString &path)
{
    const QString folder = clean(path);
    for (qsizetype end = 0; end >= 0;) {
        end = folder.indexOf(u'/', end + 1);
        const QString part = folder.left(end); // the whole path at the end
        const int error = mkdir(QFile::encodeName(part).constData(), S_IRWXU) == 0 ? 0 : errno;
        if (error != 0 && !QFileInfo(part).isDir()) {
            check(error == EEXIST ? ENOTDIR : error, path);
        }
    }
}

QString Files::makeHiddenBeside(const QString &path)
{
    const QString hidden = hiddenSibling(clean(path));
    check(mkdir(QFile::encodeName(hidden).constData(), S_IRWXU) == 0 ? 0 : errno, path);
    return hidden;
}

void Files::remove(const QString &path, const std::stop_token &stop)
{
    QString condemned = clean(path);
    if (isFolder(native(condemned))) {
        const QString hidden = hiddenSibling(condemned);
        std::error_code error;
        fs::rename(native(condemned), native(hidden), error);
        if (!error) {
            // The new name must reach the disk before any deletion does. Ignored: a failure of
            // this, as the deletion is still the best that can be done.
            (void)Disk::syncNames(QFile::encodeName(parentOf(hidden)));
            condemned = hidden;
        }
    }
    removeInPlace(condemned, stop);
}

void Files::removeInPlace(const QString &path, const std::stop_token &stop)
{
    std::error_code ignored;
    const fs::path top = native(clean(path));
    if (fs::remove(top, ignored) || !isFolder(top)) {
        return;
    }
    const auto allowAll = [&ignored](const fs::path &folder) {
        fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ignored);
    };
    allowAll(top);
    // Folders found in others are moved up to the top, so that no depth costs path length.
    const std::string movedPrefix = hiddenSibling(QString()).toStdString() + '-';
    int moved = 0;
    std::vector<fs::path> folders{top};
    while (!folders.empty()) {
        const fs::path folder = folders.back();
        folders.pop_back();
        // All names first: a stream of a folder that changes is undefined.
        std::vector<fs::path> entries;
        std::error_code error;
        fs::directory_iterator entry(folder, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            entries.push_back(entry->path());
        }
        for (const fs::path &each : entries) {
            if (stop.stop_requested()) {
                return;
            }
            if (fs::remove(each, ignored) || !isFolder(each)) {
                continue;
            }
            allowAll(each);
            folders.push_back(each);
            if (folder != top) {
                folders.back() = top / (movedPrefix + std::to_string(++moved));
                fs::rename(each, folders.back(), ignored);
            }
        }
        fs::remove(folder, ignored);
    }
    fs::remove(top, ignored);
}

void Files::removeLeftovers(const QString &folder, const std::stop_token &stop)
{
    for (const QString &name : names(folder)) {
        if (name.startsWith(hiddenPrefix)) {
            removeInPlace(folder + u'/' + name, stop);
        }
    }
}

void Files::move(const QString &from, const QString &to, const std::stop_token &stop)
{
    const QString source = clean(from);
    const QString target = clean(to);
    int error = syncAndRename(source, target, stop);
    if (error == EXDEV) {
        const QString hidden = hiddenSibling(target);
        try {
            copyTree(native(source), native(hidden), stop);
            error = syncAndRename(hidden, target, stop);
        } catch (const SystemError &failed) {
            removeInPlace(hidden);
            check(failed.code, failed.path.startsWith(hidden) ? to : failed.path);
        } catch (...) {
            removeInPlace(hidden);
            throw;
        }
        removeInPlace(error == 0 ? source : hidden);
    }
    check(error, QFileInfo::exists(source) || QFileInfo(source).isSymLink() ? to : from);
}

void Files::writeAtomically(const QString &path, const QByteArray &content,
                            const std::stop_token &stop)
{
    const QString hidden = hiddenSibling(clean(path));
    std::error_code error;
    try {
        OutputFile file;
        file.create(hidden);
        file.write({content.constData(), static_cast<size_t>(content.size())});
        file.sync();
        checkCancellation(stop);
        fs::rename(native(hidden), native(path), error);
        check(error.value(), path);
        check(Disk::syncNames(QFile::encodeName(parentOf(hidden))), path);
    } catch (const SystemError &failed) {
        removeInPlace(hidden);
        throw SystemError::fromErrno(failed.code, path);
    } catch (...) {
        removeInPlace(hidden);
        throw;
    }
}

void Files::sync(const QString &folder, const std::stop_token &stop)
{
    check(Disk::syncTree(QFile::encodeName(folder)), folder);
    checkCancellation(stop);
}

QStringList Files::names(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

} // namespace brindle
