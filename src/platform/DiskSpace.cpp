#include "platform/DiskSpace.h"

#include <cerrno>
#include <fcntl.h>

namespace brindle {

namespace {

/// 0 or the errno.
int request(int descriptor, qint64 bytes)
{
#ifdef F_PREALLOCATE
    fstore_t store{F_ALLOCATEALL, F_PEOFPOSMODE, 0, bytes, 0};
    return ::fcntl(descriptor, F_PREALLOCATE, &store) == 0 ? 0 : errno;
#else
    // Not posix_fallocate, which writes to each block where the file system can't.
    return ::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, 0, bytes) == 0 ? 0 : errno;
#endif
}

} // namespace

int DiskSpace::reserve(int descriptor, qint64 bytes)
{
    int error = EINTR;
    while (error == EINTR && bytes > 0) {
        error = request(descriptor, bytes);
    }
    return error == ENOSPC || error == EDQUOT || error == EFBIG ? error : 0;
}

} // namespace brindle
