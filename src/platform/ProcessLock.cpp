#include "platform/ProcessLock.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

ProcessLock::ProcessLock(QString file) : file_(std::move(file)) {}

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
    const int descriptor = open(QFile::encodeName(file_).constData(),
                                O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return Outcome::unavailable;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        const bool taken = errno == EWOULDBLOCK;
        close(descriptor);
        return taken ? Outcome::taken : Outcome::unavailable;
    }
    descriptor_ = descriptor;
    return Outcome::held;
}

} // namespace brindle
