#include "files/OutputFile.h"

#include "base/Error.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace brindle {

namespace {

/// What a system call returns, which is made again when a signal interrupts it.
template <typename Call>
auto checked(const QString &path, Call call)
{
    for (;;) {
        const auto result = call();
        if (result >= 0) {
            return result;
        }
        if (errno != EINTR) {
            throw SystemError::fromErrno(errno, path);
        }
    }
}

} // namespace

void OutputFile::open(const QString &path)
{
    path_ = path;
    const QByteArray name = QFile::encodeName(path);
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    descriptor_ = checked(path, [&] { return ::open(name.constData(), flags, S_IRUSR | S_IWUSR); });
}

void OutputFile::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto count =
            checked(path_, [&] { return ::write(descriptor_, bytes.data(), bytes.size()); });
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void OutputFile::sync()
{
    checked(path_, [this] { return ::fsync(descriptor_); });
}

void OutputFile::finish()
{
    // The descriptor is gone whatever close says, and an interrupted one has nothing left to write.
    if (::close(std::exchange(descriptor_, -1)) < 0 && errno != EINTR) {
        throw SystemError::fromErrno(errno, path_);
    }
}

void OutputFile::abandon() noexcept
{
    if (descriptor_ >= 0) {
        ::close(std::exchange(descriptor_, -1));
    }
}

} // namespace brindle
