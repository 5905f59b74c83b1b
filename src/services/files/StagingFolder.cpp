#include "files/StagingFolder.h"

#include "base/Error.h"
#include "base/Threads.h"
#include "files/Files.h"
#include "platform/ProcessLock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStorageInfo>
#include <QUuid>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Returns whether only this user and root can replace a folder inside `folder`, whose path has no
/// links.
bool isSafe(const QString &folder)
{
    for (QString place = folder;; place = QFileInfo(place).path()) {
        constexpr mode_t byOthers = S_IWGRP | S_IWOTH;
        struct stat status = {};
        if (stat(QFile::encodeName(place).constData(), &status) != 0 ||
            (status.st_uid != geteuid() && status.st_uid != 0) ||
            ((status.st_mode & byOthers) != 0 && (status.st_mode & S_ISVTX) == 0)) {
            return false;
        }
        if (place == u"/") {
            return true;
        }
    }
}

/// Returns whether `folder` has room for any download, or at least as much as the storage's disk.
bool hasRoom(const QString &folder, const Storage &storage)
{
    constexpr qint64 enough = 1'000'000'000; // bytes; games, add-ons and engines need less
    const QStorageInfo disk(folder);
    if (disk.bytesAvailable() >= enough) {
        return true;
    }
    const QStorageInfo other(storage.parentFolder());
    return disk == other || disk.bytesAvailable() >= other.bytesAvailable();
}

void clearLeftoversIn(const QString &place)
{
    static const QRegularExpression form(QRegularExpression::anchoredPattern(
        StagingFolder::prefix + u"[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"_s));
    for (const QString &name : Files::names(place)) {
        if (form.match(name).hasMatch()) {
            const QString path = QDir(place).filePath(name);
            ProcessLock lock(path, ProcessLock::Kind::folder);
            if (lock.tryLock() == ProcessLock::Outcome::held) {
                // Do not rename first: after an interruption nothing would look for the new name.
                Files::removeInPlace(path);
            }
        }
    }
}

} // namespace

std::shared_ptr<ProcessLock> StagingFolder::make(const QString &temporaryFolder,
                                                 const Storage &storage)
{
    Files::createFolder(temporaryFolder);
    Files::createFolder(storage.parentFolder());
    QString place = QFileInfo(temporaryFolder).canonicalFilePath();
    if (!isSafe(place) || !hasRoom(place, storage)) {
        place = storage.parentFolder();
    }
    for (;;) {
        const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        const QString path = QDir(place).filePath(prefix + id);
        if (mkdir(QFile::encodeName(path).constData(), S_IRWXU) != 0) {
            throw SystemError::fromErrno(errno, path);
        }
        auto lock = std::make_shared<ProcessLock>(path, ProcessLock::Kind::folder);
        // If another process holds the lock, it deletes this folder, so make another.
        if (lock->tryLock() != ProcessLock::Outcome::taken) {
            return lock;
        }
    }
}

QCoro::Task<std::shared_ptr<ProcessLock>> StagingFolder::create(QString temporaryFolder,
                                                                Storage storage)
{
    const auto lock = co_await runOnWorker([=] { return make(temporaryFolder, storage); });
    co_return {lock.get(), [lock](ProcessLock * /*folder*/) {
                   Threads::startOnWorker([lock] { Files::removeInPlace(lock->path()); });
               }};
}

void StagingFolder::clearLeftovers(const QString &temporaryFolder, const Storage &storage)
{
    const QString place = QFileInfo(temporaryFolder).canonicalFilePath();
    if (isSafe(place)) {
        clearLeftoversIn(place);
    }
    clearLeftoversIn(storage.parentFolder());
    // Leave the root alone, because a Play may already write there.
    Files::removeLeftovers(storage.parentFolder());
}

} // namespace brindle
