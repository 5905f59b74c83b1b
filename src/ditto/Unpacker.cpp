#include "ditto/Unpacker.h"

#include "ditto/ArchiveError.h"
#include "ditto/ArchiveReader.h"
#include "ditto/DirectoryCheck.h"
#include "ditto/EntryPath.h"
#include "ditto/Inflater.h"
#include "ditto/OutputFile.h"
#include "ditto/StagingArea.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>

namespace brindle {

namespace {

constexpr mode_t folderMode = 0755;

/// Makes folders below one root, each once.
class FolderMaker
{
public:
    explicit FolderMaker(std::string root) : root_(std::move(root)) {}

    /// The first `count` components of a path.
    void make(const EntryPath &path, size_t count)
    {
        for (size_t depth = 1; depth <= count; ++depth) {
            const std::string folder = path.prefix(depth);
            if (!made_.insert(folder).second) {
                continue;
            }
            const std::string place = root_ + '/' + folder;
            if (mkdir(place.c_str(), folderMode) != 0) {
                // In a fresh folder a name that is taken was given in another spelling.
                throw ArchiveError(errno == EEXIST
                                       ? "two entries for one place: " + folder
                                       : "can't write " + place + ": " + std::strerror(errno));
            }
            if (chmod(place.c_str(), folderMode) != 0) {
                throw ArchiveError("can't write " + place + ": " + std::strerror(errno));
            }
        }
    }

private:
    std::string root_;
    std::unordered_set<std::string> made_;
};

std::map<std::string, std::string>
readLinks(const ArchiveReader &reader, const std::vector<ArchiveEntry> &entries, Inflater &inflater)
{
    std::map<std::string, std::string> links;
    for (const ArchiveEntry &entry : entries) {
        if (entry.type == ArchiveEntry::Type::link) {
            std::string &target = links[entry.name];
            inflater.unpack(reader, entry, [&](const unsigned char *bytes, size_t count) {
                target.append(reinterpret_cast<const char *>(bytes), count); // NOLINT
            });
        }
    }
    return links;
}

} // namespace

void Unpacker::unpack(const std::string &archive, const std::string &destination,
                      const std::function<bool()> &interrupted)
{
    const ArchiveReader reader(archive);
    if (reader.count() > DirectoryCheck::mostEntries) {
        throw ArchiveError("too many entries");
    }
    const auto entries = reader.entries();
    DirectoryCheck::check(entries);
    Inflater inflater;
    const auto links = readLinks(reader, entries, inflater);
    DirectoryCheck::checkLinks(links);

    StagingArea staging(destination);
    FolderMaker folders(staging.path());
    for (const ArchiveEntry &entry : entries) {
        const EntryPath path = EntryPath::parse(entry.name);
        const bool isFolder = entry.type == ArchiveEntry::Type::folder;
        folders.make(path, path.components().size() - (isFolder ? 0 : 1));
        if (entry.type == ArchiveEntry::Type::file) {
            OutputFile file(staging.path() + '/' + path.string(), entry.executable);
            inflater.unpack(reader, entry, [&](const unsigned char *bytes, size_t count) {
                if (interrupted()) {
                    throw ArchiveError("interrupted");
                }
                file.write(bytes, count);
            });
            file.close();
        }
    }
    // Last, so that nothing is ever written through one.
    for (const auto &[path, target] : links) {
        const std::string place = staging.path() + '/' + path;
        if (symlink(target.c_str(), place.c_str()) != 0) {
            throw ArchiveError(errno == EEXIST
                                   ? "two entries for one place: " + path
                                   : "can't write " + place + ": " + std::strerror(errno));
        }
    }
    if (interrupted()) {
        throw ArchiveError("interrupted");
    }
    staging.takePlace();
}

} // namespace brindle
