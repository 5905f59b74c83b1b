#include "files/OutputFile.h"

#include "base/Error.h"
#include "platform/Disk.h"

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

void OutputFile::reserve(qint64 bytes)
{
    if (const int error = Disk::reserve(descriptor_, bytes)) {
        throw SystemError::fromErrno(error, path_);
    }
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
    if (const int error = Disk::syncFile(descriptor_)) {
        throw SystemError::fromErrno(error, path_);
    }
}

std::shared_ptr<QFile> OutputFile::reader() const
{
    const QByteArray name = QFile::encodeName(path_);
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC;
    const int descriptor = checked(path_, [&] { return ::open(name.constData(), flags); });
    auto file = std::make_shared<QFile>(path_);
    if (!file->open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered,
                    QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        throw SystemError(QStringLiteral("%1: %2").arg(path_, file->errorString()));
    }
    struct stat ours = {};
    struct stat there = {};
    checked(path_, [&] { return ::fstat(descriptor_, &ours); });
    checked(path_, [&] { return ::fstat(descriptor, &there); });
    if (ours.st_dev != there.st_dev || ours.st_ino != there.st_ino) {
        throw SystemError::fromErrno(ESTALE, path_);
    }
    return file;
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
