#include "ditto/ArchiveFile.h"

#include "ditto/ArchiveError.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

ArchiveFile::ArchiveFile(const std::string &path)
    : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC))
{
    struct stat found{};
    if (descriptor_ < 0 || fstat(descriptor_, &found) != 0) {
        const int reason = errno;
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        throw ArchiveError::notRead(reason);
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
        throw ArchiveError("a part of the archive beyond its end");
    }
    std::string bytes(count, '\0');
    for (uint64_t done = 0; done < count;) {
        const ssize_t now = pread(descriptor_, bytes.data() + done, count - done,
                                  static_cast<off_t>(offset + done));
        if (now < 0 && errno == EINTR) {
            continue;
        }
        if (now < 0) {
            throw ArchiveError::notRead(errno);
        }
        if (now == 0) {
            throw ArchiveError("the archive was cut short");
        }
        done += static_cast<uint64_t>(now);
    }
    return bytes;
}

} // namespace brindle
