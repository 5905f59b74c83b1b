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
#include <vector>

#include <sys/stat.h>

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

fs::path native(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

QString parentOf(const QString &path)
{
    return QFileInfo(path).path();
}

/// Syncs the names in the folder of `path`.
void syncName(const QString &path)
{
    check(Disk::syncNames(QFile::encodeName(parentOf(path))), path);
}

bool isFolder(const fs::path &path)
{
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::directory;
}

void removeTree(const fs::path &path, const std::stop_token &stop)
{
    std::error_code ignored;
    if (stop.stop_requested() || fs::remove(path, ignored) || !isFolder(path)) {
        return;
    }
    fs::permissions(path, fs::perms::owner_all, fs::perm_options::add, ignored);
    // Read all names first, because deleting during a listing may hide other names.
    std::vector<fs::path> entries;
    fs::directory_iterator entry(path, ignored);
    for (; entry != fs::directory_iterator(); entry.increment(ignored)) {
        entries.push_back(entry->path());
    }
    for (const fs::path &each : entries) {
        removeTree(each, stop);
    }
    fs::remove(path, ignored);
}

} // namespace

QString Files::hiddenSibling(const QString &path)
{
    return parentOf(path) + u'/' + hiddenPrefix +
           QUuid::createUuid().toString(QUuid::WithoutBraces);
}

void Files::createFolder(const QString &path)
{
    for (qsizetype end = 0; end >= 0;) {
        end = path.indexOf(u'/', end + 1);
        const QString part = path.left(end); // finally `path` itself
        const int error = mkdir(QFile::encodeName(part).constData(), S_IRWXU) == 0 ? 0 : errno;
        if (error != 0 && !QFileInfo(part).isDir()) {
            check(error == EEXIST ? ENOTDIR : error, path);
        }
    }
}

void Files::remove(const QString &path, const std::stop_token &stop)
{
    QString condemned = path;
    if (isFolder(native(condemned))) {
        const QString hidden = hiddenSibling(condemned);
        std::error_code error;
        fs::rename(native(condemned), native(hidden), error);
        if (!error) {
            // Sync the new name before any deletion. If that fails, delete anyway: nothing better
            // is left to do.
            (void)Disk::syncNames(QFile::encodeName(parentOf(hidden)));
            condemned = hidden;
        }
    }
    removeInPlace(condemned, stop);
}

void Files::removeInPlace(const QString &path, const std::stop_token &stop)
{
    removeTree(native(path), stop);
}

void Files::removeLeftovers(const QString &folder, const std::stop_token &stop)
{
    for (const QString &name : names(folder)) {
        if (name.startsWith(hiddenPrefix)) {
            removeInPlace(folder + u'/' + name, stop);
        }
    }
}

void Files::rename(const QString &from, const QString &to)
{
    std::error_code error;
    fs::rename(native(from), native(to), error);
    check(error.value(), to);
}

void Files::move(const QString &from, const QString &to, const std::stop_token &stop)
{
    sync(parentOf(from), stop);
    rename(from, to);
    syncName(to);
}

void Files::writeAtomically(const QString &path, const QByteArray &content,
                            const std::stop_token &stop)
{
    const QString hidden = hiddenSibling(path);
    const auto cleanup = qScopeGuard([&hidden] { QFile::remove(hidden); }); // after a failure
    OutputFile file(hidden, path);
    file.write({content.constData(), static_cast<size_t>(content.size())});
    file.sync();
    checkCancellation(stop);
    rename(hidden, path);
    syncName(path);
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
