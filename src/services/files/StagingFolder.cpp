#include "files/StagingFolder.h"

#include "base/Error.h"
#include "base/Threads.h"
#include "base/Worker.h"
#include "files/Files.h"
#include "files/FolderLock.h"
#include "files/TreeRemoval.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUuid>

#include <cerrno>
#include <exception>

#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

namespace {

struct Made
{
    QString path;
    std::shared_ptr<FolderLock> lock;
};

/// Null when someone who clears leftovers was faster than the lock.
std::shared_ptr<FolderLock> lockNew(const QString &path)
{
    auto lock = std::make_shared<FolderLock>(path);
    try {
        return lock->tryLock() == FolderLock::Outcome::taken ? nullptr : lock;
    } catch (const SystemError &error) {
        if (error.code == ENOENT) {
            return nullptr;
        }
        rmdir(QFile::encodeName(path).constData());
        throw;
    }
}

QString besideRoot(const QString &storageRoot)
{
    return QFileInfo(storageRoot).path();
}

/// Whether nobody but this user and root can put something else in the place of a folder that is
/// made in `folder`, a path without links.
bool isSafe(const QString &folder)
{
    struct stat status = {};
    if (stat(QFile::encodeName(folder).constData(), &status) != 0 ||
        (status.st_uid != geteuid() && status.st_uid != 0)) {
        return false;
    }
    for (QString place = folder;; place = QFileInfo(place).path()) {
        constexpr mode_t byOthers = S_IWGRP | S_IWOTH;
        if (stat(QFile::encodeName(place).constData(), &status) != 0 ||
            ((status.st_mode & byOthers) != 0 && (status.st_mode & S_ISVTX) == 0)) {
            return false;
        }
        if (place == u"/") {
            return true;
        }
    }
}

/// The folder in which staging folders are made.
QString safePlace(const QString &temporaryFolder, const QString &storageRoot)
{
    Files::createFolder(temporaryFolder);
    QString place = QFileInfo(temporaryFolder).canonicalFilePath();
    if (!isSafe(place)) {
        place = besideRoot(storageRoot);
        Files::createFolder(place);
    }
    return place;
}

/// Blocks.
Made make(const QString &temporaryFolder, const QString &storageRoot)
{
    const QString place = safePlace(temporaryFolder, storageRoot);
    for (;;) {
        const QString name =
            StagingFolder::prefix + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        const QString path = QDir(place).filePath(name);
        // For the user alone: the temporary folder may be shared, and what is staged here will run.
        if (mkdir(QFile::encodeName(path).constData(), S_IRWXU) != 0) {
            throw SystemError::fromErrno(errno, path);
        }
        // One that was taken is cleared away by who took it.
        if (auto lock = lockNew(path)) {
            return {path, std::move(lock)};
        }
    }
}

/// In its place: a name that only we know would make a leftover of its own when this is
/// interrupted.
void removeTree(const QString &path)
{
    // The system clears its temporary folder in time, if we can't.
    (void)TreeRemoval::remove(QFile::encodeName(path));
}

} // namespace

StagingFolder::StagingFolder(QString path, std::shared_ptr<FolderLock> lock)
    : path_(std::move(path)), lock_(std::move(lock))
{}

QCoro::Task<StagingFolder> StagingFolder::create(QString temporaryFolder, QString storageRoot)
{
    auto work = [temporaryFolder, storageRoot] { return make(temporaryFolder, storageRoot); };
    auto making = runOnWorker(std::move(work));
    Made made = co_await making;
    co_return StagingFolder(std::move(made.path), std::move(made.lock));
}

QCoro::Task<QString> StagingFolder::with(QString temporaryFolder, QString storageRoot, Work work)
{
    auto creating = create(temporaryFolder, storageRoot);
    const StagingFolder staging = co_await creating;
    std::exception_ptr error;
    QString result;
    try {
        auto working = work(staging.path());
        result = co_await working;
    } catch (...) {
        error = std::current_exception();
    }
    auto removing = staging.remove();
    co_await removing;
    if (error) {
        std::rethrow_exception(error);
    }
    co_return result;
}

void StagingFolder::clearLeftovers(const QString &temporaryFolder, const std::stop_token &stop)
{
    static const QRegularExpression form(QRegularExpression::anchoredPattern(
        prefix + QStringLiteral("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")));
    for (const QString &name : Files::names(temporaryFolder)) {
        if (stop.stop_requested()) {
            return;
        }
        if (!form.match(name).hasMatch()) {
            continue;
        }
        const QString path = QDir(temporaryFolder).filePath(name);
        try {
            FolderLock lock(path);
            if (lock.tryLock() == FolderLock::Outcome::held && lock.isOwn()) {
                removeTree(path);
            }
        } catch (const SystemError &) {
            // Ignored: a link, a file, or another user's; not ours.
        }
    }
}

void StagingFolder::startClearingLeftovers(const QString &temporaryFolder,
                                           const QString &storageRoot)
{
    // Ignored: that there is no thread for it. The next start clears as well.
    (void)Threads::start([temporaryFolder, storageRoot](const std::stop_token &programEnds) {
        clearLeftovers(temporaryFolder, programEnds);
        clearLeftovers(besideRoot(storageRoot), programEnds);
    });
}

QCoro::Task<> StagingFolder::remove() const
{
    auto removeFolder = [path = path_] { removeTree(path); };
    co_await runOnWorker(std::move(removeFolder));
}

} // namespace brindle
