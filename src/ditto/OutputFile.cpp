#include "ditto/OutputFile.h"

#include "ditto/ArchiveError.h"
#include "platform/WriteBack.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace brindle {

namespace {

constexpr mode_t executableMode = 0755;
constexpr mode_t plainMode = 0644;
/// What is less takes longer bit by bit than all together at the end.
constexpr uint64_t writeBackBytes = 1ULL << 20U;

[[noreturn]] void fail(const std::string &path)
{
    if (errno == EEXIST) {
        throw ArchiveError("two entries for one place: " + path);
    }
    throw ArchiveError::notWritten(path, errno);
}

} // namespace

OutputFile::OutputFile(const std::string &path, bool executable)
    : path_(path)
    , descriptor_(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                       executable ? executableMode : plainMode))
{
    if (descriptor_ < 0) {
        fail(path_);
    }
}

OutputFile::~OutputFile()
{
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

void OutputFile::write(const unsigned char *bytes, size_t count)
{
    while (count > 0) {
        const ssize_t written = ::write(descriptor_, bytes, count);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            fail(path_);
        }
        bytes += written;
        count -= static_cast<size_t>(written);
        size_ += static_cast<uint64_t>(written);
    }
    if (size_ - started_ >= writeBackBytes) {
        startWriteBack(descriptor_, started_, size_ - started_);
        started_ = size_;
    }
}

void OutputFile::close()
{
    const int descriptor = std::exchange(descriptor_, -1);
    if (::close(descriptor) != 0 && errno != EINTR) {
        fail(path_);
    }
}

} // namespace brindle
