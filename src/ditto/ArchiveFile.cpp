#include "ditto/ArchiveFile.h"

#include "ditto/Error.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::ditto {

ArchiveFile::ArchiveFile(const std::string &path)
    : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC))
{
    struct stat found{};
    if (descriptor_ < 0 || fstat(descriptor_, &found) != 0) {
        const int reason = errno;
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        throw Error::notRead(reason);
    }
    size_ = static_cast<uint64_t>(found.st_size);
}

ArchiveFile::~ArchiveFile()
{
    close(descriptor_);
}

std::string ArchiveFile::read(uint64_t offset, uint64_t count) const
{
    if (offset > size_ || count > size_ - offset) {
        throw Error("a part of the archive beyond its end");
    }
    std::string bytes(count, '\0');
    read(offset, reinterpret_cast<unsigned char *>(bytes.data()), count); // NOLINT: bytes
    return bytes;
}

void ArchiveFile::read(uint64_t offset, unsigned char *bytes, size_t count) const
{
    while (count > 0) {
        const ssize_t now = pread(descriptor_, bytes, count, static_cast<off_t>(offset));
        if (now < 0 && errno == EINTR) {
            continue;
        }
        if (now < 0) {
            throw Error::notRead(errno);
        }
        if (now == 0) {
            throw Error("the archive is cut short");
        }
        offset += static_cast<uint64_t>(now);
        bytes += now;
        count -= static_cast<size_t>(now);
    }
}

} // namespace brindle::ditto
