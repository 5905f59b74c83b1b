#include "platform/Disk.h"

#include <QtGlobal>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace brindle {

namespace {

namespace fs = std::filesystem;

/// Calls `request` with the open file, anew when a signal interrupts it. 0 or the errno.
template <typename Request>
int with(int descriptor, Request request)
{
    int result = 0;
    do {
        result = request(descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

template <typename Request>
int withOpen(const char *path, int flags, Request request)
{
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | flags);
    if (descriptor < 0) {
        return errno;
    }
    const int error = with(descriptor, request);
    ::close(descriptor);
    return error;
}

int syncOne(int descriptor)
{
#ifdef F_FULLFSYNC
    // On macOS fsync leaves the data in the disk's own memory.
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) {
        return 0;
    }
#endif
    return ::fsync(descriptor);
}

/// File by file, where there is no request for a whole file system.
int syncEach(const fs::path &folder)
{
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, error);
    while (!error && entry != fs::recursive_directory_iterator()) {
        const fs::file_type type = entry->symlink_status(error).type();
        const bool isFolder = type == fs::file_type::directory;
        if (!error && (isFolder || type == fs::file_type::regular)) {
            const int failed = withOpen(entry->path().c_str(), isFolder ? O_DIRECTORY : 0, syncOne);
            if (failed != 0) {
                return failed;
            }
        }
        if (!error) {
            entry.increment(error);
        }
    }
    return error ? error.value() : withOpen(folder.c_str(), O_DIRECTORY, syncOne);
}

} // namespace

int Disk::syncTree(const QByteArray &folder)
{
#ifdef Q_OS_LINUX
    // One wait for the disk. File by file it would be one for each.
    const int error = withOpen(folder.constData(), O_DIRECTORY, ::syncfs);
    if (error != ENOSYS) {
        return error;
    }
#endif
    return syncEach(folder.toStdString());
}
int Disk::syncFile(int descriptor)
{
    return with(descriptor, syncOne);
}

int Disk::syncNames(const QByteArray &folder)
{
    const int error = withOpen(folder.constData(), O_DIRECTORY, syncOne);
    return error == EINVAL || error == ENOTSUP ? 0 : error;
}

} // namespace brindle
