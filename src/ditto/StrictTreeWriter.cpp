#include "ditto/StrictTreeWriter.h"

#include "ditto/ArchiveError.h"
#include "ditto/OutputFile.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace brindle {

namespace {

constexpr mode_t folderMode = 0755;

/// In a fresh folder a name that is taken was given before, perhaps in another spelling.
[[noreturn]] void fail(const std::string &path, const std::string &place)
{
    if (errno == EEXIST) {
        throw ArchiveError("two entries for one place: " + path);
    }
    throw ArchiveError::notWritten(place, errno);
}

/// Some file systems say by EPERM that they have no symbolic links; so does a place where nothing
/// may be made at all.
[[noreturn]] void failToLink(const std::string &path, const std::string &place)
{
    const int reason = errno;
    if (reason == EPERM || reason == EOPNOTSUPP || reason == ENOSYS) {
        OutputFile(place, false).close();
        unlink(place.c_str());
        throw ArchiveError::noLinks(place, reason);
    }
    fail(path, place);
}

} // namespace

StrictTreeWriter::StrictTreeWriter(std::string root) : root_(std::move(root)) {}

void StrictTreeWriter::addFolder(const ArchiveEntry &entry)
{
    const EntryPath path = EntryPath::parse(entry.name);
    makeFolders(path, path.components().size());
}

void StrictTreeWriter::addFile(const ArchiveEntry &entry, const Source &content)
{
    const EntryPath path = EntryPath::parse(entry.name);
    makeFolders(path, path.components().size() - 1);
    OutputFile file(placeOf(path.string()), (entry.mode & S_IXUSR) != 0);
    content([&file](const unsigned char *bytes, size_t count) { file.write(bytes, count); });
    file.close();
}

void StrictTreeWriter::addLink(const ArchiveEntry &entry, const std::string &target)
{
    const EntryPath path = EntryPath::parse(entry.name);
    makeFolders(path, path.components().size() - 1);
    links_.emplace(path.string(), target);
}

void StrictTreeWriter::addOther(const ArchiveEntry &entry)
{
    throw ArchiveError("neither file, folder nor link: " + entry.name);
}

void StrictTreeWriter::finish()
{
    for (const auto &[path, target] : links_) {
        const std::string place = placeOf(path);
        if (symlink(target.c_str(), place.c_str()) != 0) {
            failToLink(path, place);
        }
    }
}

void StrictTreeWriter::makeFolders(const EntryPath &path, size_t count)
{
    // Nearly every file's folder is there already.
    if (folders_.contains(path.prefix(count))) {
        return;
    }
    for (size_t depth = 1; depth <= count; ++depth) {
        const std::string folder = path.prefix(depth);
        if (!folders_.insert(folder).second) {
            continue;
        }
        const std::string place = placeOf(folder);
        if (mkdir(place.c_str(), folderMode) != 0) {
            fail(folder, place);
        }
    }
}

std::string StrictTreeWriter::placeOf(const std::string &path) const
{
    return root_ + '/' + path;
}

} // namespace brindle
