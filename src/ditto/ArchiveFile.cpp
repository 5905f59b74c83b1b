#include "ditto/ArchiveFile.h"

#include "ditto/Error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::ditto {

namespace {

[[noreturn]] void fail()
{
    throw Error(std::string("can't read the archive: ") + std::strerror(errno));
}

} // namespace

ArchiveFile::ArchiveFile(const std::string &path)
    : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC))
{
    struct stat found{};
    if (descriptor_ < 0 || fstat(descriptor_, &found) != 0) {
        fail();
    }
    size_ = static_cast<uint64_t>(found.st_size);
}

ArchiveFile::~ArchiveFile()
{
    close(descriptor_);
}

std::string ArchiveFile::read(uint64_t offset, uint64_t count) const
{
    std::string bytes(count, '\0');
    read(offset, reinterpret_cast<unsigned char *>(bytes.data()), count); // NOLINT: bytes
    return bytes;
}

void ArchiveFile::read(uint64_t offset, unsigned char *bytes, size_t count) const
{
    while (count > 0) {
        const ssize_t now = pread(descriptor_, bytes, count, static_cast<off_t>(offset));
        if (now < 0) {
            fail();
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
