#include "files/OutputFile.h"

#include "base/Error.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace brindle {

void OutputFile::open(const QString &path)
{
    path_ = path;
    const QByteArray name = QFile::encodeName(path);
    do {
        descriptor_ =
            ::open(name.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC,
                   S_IRUSR | S_IWUSR);
    } while (descriptor_ < 0 && errno == EINTR);
    if (descriptor_ < 0) {
        fail(errno);
    }
}

void OutputFile::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            fail(errno);
        }
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
}

void OutputFile::sync()
{
    int result = 0;
    do {
        result = ::fsync(descriptor_);
    } while (result < 0 && errno == EINTR);
    if (result < 0) {
        fail(errno);
    }
}

void OutputFile::finish()
{
    // The descriptor is gone whatever close says, and an interrupted one has nothing left to write.
    if (::close(std::exchange(descriptor_, -1)) < 0 && errno != EINTR) {
        fail(errno);
    }
}

void OutputFile::abandon() noexcept
{
    if (descriptor_ >= 0) {
        ::close(std::exchange(descriptor_, -1));
    }
}

void OutputFile::fail(int errorNumber) const
{
    throw SystemError::fromErrno(errorNumber, path_);
}

} // namespace brindle
