#include "files/FolderLock.h"

#include "base/Error.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

FolderLock::FolderLock(QString folder) : folder_(std::move(folder)) {}

FolderLock::~FolderLock()
{
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

FolderLock::Outcome FolderLock::tryLock()
{
    const QByteArray name = QFile::encodeName(folder_);
    if (descriptor_ < 0) {
        descriptor_ = open(name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }
    struct stat opened = {};
    if (descriptor_ < 0 || fstat(descriptor_, &opened) != 0) {
        throw SystemError::fromErrno(errno, folder_);
    }
    isOwn_ = opened.st_uid == geteuid();
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        return errno == EWOULDBLOCK ? Outcome::taken : Outcome::unsupported;
    }
    // Whoever had it before may have removed it.
    struct stat there = {};
    const bool same = lstat(name.constData(), &there) == 0 && there.st_dev == opened.st_dev &&
                      there.st_ino == opened.st_ino;
    return same ? Outcome::held : Outcome::taken;
}

} // namespace brindle
