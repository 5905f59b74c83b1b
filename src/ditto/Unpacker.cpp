#include "ditto/Checks.h"
#include "ditto/Error.h"
#include "ditto/Inflater.h"
#include "ditto/Program.h"
#include "sandbox/Sandbox.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace brindle::ditto {

namespace {

constexpr mode_t executableMode = 0755; // also of folders
constexpr mode_t plainMode = 0644;
/// Smaller pieces take longer than one sync at the end.
constexpr uint64_t writeBackBytes = 1ULL << 20U;

[[noreturn]] void fail(const std::string &path)
{
    if (errno == EEXIST) { // the file system takes two spellings for one name
        throw Error("two entries for one place: " + path);
    }
    throw Error::notWritten(path, errno);
}

class OutputFile
{
public:
    OutputFile(const std::string &path, mode_t mode)
        : path_(path)
        , descriptor_(
              open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode))
    {
        if (descriptor_ < 0) {
            fail(path_);
        }
    }
    ~OutputFile()
    {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /// Also starts to bring large amounts to the disk.
    void write(const unsigned char *bytes, size_t count)
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

    void close()
    {
        if (::close(std::exchange(descriptor_, -1)) != 0 && errno != EINTR) {
            fail(path_);
        }
    }

private:
    std::string path_;
    int descriptor_;
    uint64_t size_ = 0;
    uint64_t started_ = 0; // bytes whose write-back has started
};

Links readLinks(const std::vector<Entry> &entries, Inflater &inflater)
{
    Links links;
    for (const Entry &entry : entries) {
        if (entry.type() == Entry::Type::link) {
            std::string &target = links[entry.fileName];
            inflater.unpack(entry, [&](const unsigned char *bytes, size_t count) {
                target.append(reinterpret_cast<const char *>(bytes), count); // NOLINT
            });
        }
    }
    return links;
}

/// If the file system may lack symbolic links, makes a file to see whether anything can be made.
void makeLink(const std::string &path, const std::string &target)
{
    if (symlink(target.c_str(), path.c_str()) == 0) {
        return;
    }
    const int reason = errno;
    if (reason == EPERM || reason == EOPNOTSUPP || reason == ENOSYS) {
        OutputFile(path, plainMode).close();
        unlink(path.c_str());
        throw Error::noLinks(path, reason);
    }
    fail(path);
}

/// Replaces nothing and makes links last, so that nothing is written through a link.
void fill(const ArchiveFile &archive, const std::string &destination)
{
    std::vector<Entry> entries = readDirectory(archive);
    checkDirectory(entries);
    checkSpace(entries, destination);
    Inflater inflater(archive);
    const Links links = readLinks(entries, inflater);
    checkLinks(links);

    const std::string root = destination + '/';
    const Entry *previous = nullptr;
    for (const Entry &entry : entries) {
        visitNewFolders(entry, std::exchange(previous, &entry), [&](std::string_view path) {
            const std::string folder = root + std::string(path);
            if (mkdir(folder.c_str(), executableMode) != 0) {
                fail(folder);
            }
        });
        if (entry.type() == Entry::Type::file) {
            const bool mayRun = (entry.mode() & S_IXUSR) != 0;
            OutputFile file(root + entry.fileName, mayRun ? executableMode : plainMode);
            inflater.unpack(
                entry, [&](const unsigned char *bytes, size_t count) { file.write(bytes, count); });
            file.close();
        }
    }
    for (const Entry &entry : entries) {
        if (entry.type() == Entry::Type::link) {
            makeLink(root + entry.fileName, links.at(entry.fileName));
        }
    }
}

} // namespace

void unpack(const ArchiveFile &archive, const std::string &destination)
{
    try {
        fill(archive, destination);
    } catch (...) {
        // The folder itself stays, since it lies outside the sandbox.
        std::error_code ignored;
        std::filesystem::remove_all(destination, ignored);
        throw;
    }
}

} // namespace brindle::ditto
