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

/// Opens a file or folder and makes the request for it. Returns 0 or the errno.
template <typename Request>
int withOpen(const char *path, int flags, Request request)
{
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | flags);
    if (descriptor < 0) {
        return errno;
    }
    const int error = request(descriptor) == 0 ? 0 : errno;
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

/// Syncs file by file, for systems that can't sync a whole file system.
int syncEach(const fs::path &folder)
{
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        const fs::file_type type = entry->symlink_status(error).type();
        if (type == fs::file_type::directory || type == fs::file_type::regular) {
            if (const int failed = withOpen(entry->path().c_str(), 0, syncOne)) {
                return failed;
            }
        }
    }
    return error ? error.value() : withOpen(folder.c_str(), O_DIRECTORY, syncOne);
}

} // namespace

int Disk::syncTree(const QByteArray &folder)
{
#ifdef Q_OS_LINUX
    // One wait for the disk instead of one for each file.
    const int error = withOpen(folder.constData(), O_DIRECTORY, ::syncfs);
    if (error != ENOSYS) {
        return error;
    }
#endif
    return syncEach(folder.toStdString());
}

int Disk::syncFile(int descriptor)
{
    return syncOne(descriptor) == 0 ? 0 : errno;
}

int Disk::syncNames(const QByteArray &folder)
{
    const int error = withOpen(folder.constData(), O_DIRECTORY, syncOne);
    return error == EINVAL || error == ENOTSUP ? 0 : error;
}

} // namespace brindle
