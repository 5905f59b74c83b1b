#include "platform/Disk.h"

#include <QtGlobal>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace brindle {

namespace {

/// Opens a folder and calls `request` with its descriptor. Returns 0 or the errno.
int withOpen(const QByteArray &folder, int (*request)(int descriptor))
{
    const int descriptor = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor == -1) {
        return errno;
    }
    const int error = request(descriptor) == 0 ? 0 : errno;
    ::close(descriptor);
    return error;
}

int syncOne(int descriptor)
{
#ifdef Q_OS_MACOS
    // On macOS, fsync leaves data in the disk's own cache.
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) {
        return 0;
    }
#endif
    return ::fsync(descriptor);
}

/// Syncs the whole file system, with one wait instead of one per file.
int syncAll(int descriptor)
{
#ifdef Q_OS_MACOS
    return ::fsync_volume_np(descriptor, SYNC_VOLUME_FULLSYNC | SYNC_VOLUME_WAIT);
#else
    return ::syncfs(descriptor);
#endif
}

} // namespace

int Disk::syncTree(const QByteArray &folder)
{
    return withOpen(folder, syncAll);
}

int Disk::syncFile(int descriptor)
{
    return syncOne(descriptor) == 0 ? 0 : errno;
}

int Disk::syncNames(const QByteArray &folder)
{
    const int error = withOpen(folder, syncOne);
    return error == EINVAL || error == ENOTSUP ? 0 : error;
}

} // namespace brindle
