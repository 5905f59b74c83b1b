#include "platform/ProcessLock.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

namespace {

/// Whoever had the lock before may have removed what was opened since.
bool isStillAt(const QByteArray &name, int descriptor)
{
    struct stat opened = {};
    struct stat there = {};
    return fstat(descriptor, &opened) == 0 && lstat(name.constData(), &there) == 0 &&
           there.st_dev == opened.st_dev && there.st_ino == opened.st_ino;
}

} // namespace

ProcessLock::ProcessLock(QString path, Kind kind) : path_(std::move(path)), kind_(kind) {}

ProcessLock::~ProcessLock()
{
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

ProcessLock::Outcome ProcessLock::tryLock()
{
    if (descriptor_ >= 0) {
        return Outcome::held;
    }
    const QByteArray name = QFile::encodeName(path_);
    const int flags = kind_ == Kind::folder ? O_RDONLY | O_DIRECTORY : O_RDWR | O_CREAT;
    const int descriptor =
        open(name.constData(), flags | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        const bool gone = kind_ == Kind::folder && errno == ENOENT;
        return gone ? Outcome::taken : Outcome::unavailable;
    }
    Outcome outcome = Outcome::held;
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        outcome = errno == EWOULDBLOCK ? Outcome::taken : Outcome::unavailable;
    } else if (!isStillAt(name, descriptor)) {
        outcome = Outcome::taken;
    }
    if (outcome == Outcome::held) {
        descriptor_ = descriptor;
    } else {
        close(descriptor);
    }
    return outcome;
}

} // namespace brindle
