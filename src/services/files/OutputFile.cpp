#include "files/OutputFile.h"

#include "base/Error.h"
#include "platform/Disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace brindle {

// System calls open and write the file, because QFile drops the errno of a full disk.

OutputFile::OutputFile(const QString &path, const QString &shownPath)
    : path_(shownPath.isEmpty() ? path : shownPath)
{
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    const int descriptor = ::open(QFile::encodeName(path).constData(), flags, S_IRUSR | S_IWUSR);
    check(descriptor < 0 ? errno : 0);
    file_->open(descriptor, QIODevice::ReadWrite | QIODevice::Unbuffered,
                QFileDevice::AutoCloseHandle);
}

void OutputFile::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(file_->handle(), bytes.data(), bytes.size());
        check(count < 0 && errno != EINTR ? errno : 0);
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

void OutputFile::clear()
{
    const bool isEmpty =
        ::ftruncate(file_->handle(), 0) == 0 && ::lseek(file_->handle(), 0, SEEK_SET) == 0;
    check(isEmpty ? 0 : errno);
}

void OutputFile::sync()
{
    check(Disk::syncFile(file_->handle()));
}

std::shared_ptr<QFile> OutputFile::take()
{
    check(::lseek(file_->handle(), 0, SEEK_SET) == 0 ? 0 : errno);
    return std::exchange(file_, nullptr);
}

void OutputFile::check(int error) const
{
    if (error != 0) {
        throw SystemError::fromErrno(error, path_);
    }
}

} // namespace brindle
