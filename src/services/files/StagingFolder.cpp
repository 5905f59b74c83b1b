#include "files/StagingFolder.h"

#include "base/Error.h"
#include "base/Threads.h"
#include "base/Worker.h"
#include "files/Files.h"
#include "platform/ProcessLock.h"

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
QString safePlace(const QString &temporaryFolder, const Storage &storage)
{
    Files::createFolder(temporaryFolder);
    QString place = QFileInfo(temporaryFolder).canonicalFilePath();
    if (!isSafe(place)) {
        place = storage.parentFolder();
        Files::createFolder(place);
    }
    return place;
}

/// Whether `place`, which is made if need be, is there on another disk than `folder`. Blocks.
bool isOnAnotherDisk(const QString &folder, const QString &place)
{
    struct stat here = {};
    struct stat there = {};
    return QDir().mkpath(place) && stat(QFile::encodeName(folder).constData(), &here) == 0 &&
           stat(QFile::encodeName(place).constData(), &there) == 0 && here.st_dev != there.st_dev;
}

/// Makes the folder and locks it. Blocks.
std::shared_ptr<ProcessLock> make(const QString &place)
{
    for (;;) {
        const QString name =
            StagingFolder::prefix + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        const QString path = QDir(place).filePath(name);
        // For the user alone: the temporary folder may be shared, and what is staged here will run.
        if (mkdir(QFile::encodeName(path).constData(), S_IRWXU) != 0) {
            throw SystemError::fromErrno(errno, path);
        }
        auto lock = std::make_shared<ProcessLock>(path, ProcessLock::Kind::folder);
        // Where someone who clears leftovers was faster, it is cleared away by who took it.
        if (lock->tryLock() != ProcessLock::Outcome::taken) {
            return lock;
        }
    }
}

} // namespace

StagingFolder::StagingFolder(std::shared_ptr<ProcessLock> lock) : lock_(std::move(lock)) {}

QString StagingFolder::path() const
{
    return lock_->path();
}

QCoro::Task<StagingFolder> StagingFolder::create(QString temporaryFolder, Storage storage)
{
    const auto work = [temporaryFolder, storage] {
        return make(safePlace(temporaryFolder, storage));
    };
    auto lock = co_await runOnWorker(work);
    co_return StagingFolder(std::move(lock));
}

QCoro::Task<QString> StagingFolder::with(QString temporaryFolder, Storage storage, Work work)
{
    const auto mayFitElsewhere = std::make_shared<bool>(false);
    try {
        co_return co_await withOne(temporaryFolder, storage, work, mayFitElsewhere);
    } catch (...) {
        if (!*mayFitElsewhere) {
            throw;
        }
        // Ignored: the other place has its own say.
    }
    co_return co_await withOne(storage.parentFolder(), storage, work, mayFitElsewhere);
}

/// `mayFitElsewhere` tells whether an error is one that another place for the folder may help.
QCoro::Task<QString> StagingFolder::withOne(QString temporaryFolder, Storage storage, Work work,
                                            std::shared_ptr<bool> mayFitElsewhere)
{
    const StagingFolder staging = co_await create(temporaryFolder, storage);
    std::exception_ptr error;
    bool isFull = false;
    QString result;
    try {
        result = co_await work(staging.path());
    } catch (const SystemError &failed) {
        error = std::current_exception();
        isFull = failed.code == ENOSPC && failed.path.startsWith(staging.path() + u'/');
    } catch (...) {
        error = std::current_exception();
    }
    if (isFull) {
        *mayFitElsewhere = co_await runOnWorker([path = staging.path(), storage] {
            return isOnAnotherDisk(path, storage.parentFolder());
        });
    }
    co_await staging.remove();
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
        // Links and files are not locked.
        ProcessLock lock(path, ProcessLock::Kind::folder);
        if (lock.tryLock() == ProcessLock::Outcome::held &&
            QFileInfo(path).ownerId() == geteuid()) {
            // In its place: another name would make a leftover of its own when this is interrupted.
            Files::removeInPlace(path, stop);
        }
    }
}

void StagingFolder::startClearingLeftovers(const QString &temporaryFolder, const Storage &storage)
{
    Threads::start([temporaryFolder, storage](const std::stop_token &programEnds) {
        clearLeftovers(temporaryFolder, programEnds);
        clearLeftovers(storage.parentFolder(), programEnds);
    });
}

QCoro::Task<> StagingFolder::remove() const
{
    const auto removeFolder = [path = path()] { Files::removeInPlace(path); };
    co_await runOnWorker(removeFolder);
}

} // namespace brindle
