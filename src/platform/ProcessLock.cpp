#include "platform/ProcessLock.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

namespace {

ProcessLock::Outcome lock(int descriptor, const QByteArray &name)
{
    using Outcome = ProcessLock::Outcome;
    struct stat opened = {};
    struct stat there = {};
    fstat(descriptor, &opened); // an open file has a status
    if (opened.st_uid != geteuid()) {
        return Outcome::unavailable;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        return errno == EWOULDBLOCK ? Outcome::taken : Outcome::unavailable;
    }
    // The last holder may have removed the file after this process opened it.
    const bool isStillThere = lstat(name.constData(), &there) == 0 &&
                              there.st_dev == opened.st_dev && there.st_ino == opened.st_ino;
    return isStillThere ? Outcome::held : Outcome::taken;
}

} // namespace

ProcessLock::ProcessLock(QString path, Kind kind) : path_(std::move(path)), kind_(kind) {}

ProcessLock::~ProcessLock()
{
    if (descriptor_ == -1) {
        return;
    }
    if (kind_ == Kind::file) {
        QFile::remove(path_);
    }
    close(descriptor_);
}

ProcessLock::Outcome ProcessLock::tryLock()
{
    const QByteArray name = QFile::encodeName(path_);
    const int flags = kind_ == Kind::folder ? O_RDONLY | O_DIRECTORY : O_RDWR | O_CREAT;
    const int descriptor =
        open(name.constData(), flags | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (descriptor == -1) {
        const bool isGone = kind_ == Kind::folder && errno == ENOENT;
        return isGone ? Outcome::taken : Outcome::unavailable;
    }
    const Outcome outcome = lock(descriptor, name);
    if (outcome == Outcome::held) {
        descriptor_ = descriptor;
    } else {
        close(descriptor);
    }
    return outcome;
}

} // namespace brindle
