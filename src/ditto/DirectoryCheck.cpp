#include "ditto/DirectoryCheck.h"

#include "ditto/ArchiveError.h"
#include "ditto/EntryPath.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <deque>
#include <sys/statvfs.h>
#include <unordered_map>
#include <utility>

namespace brindle {

namespace {

constexpr uint16_t stored = 0;
constexpr uint16_t deflated = 8;

/// What all entries take together.
struct Totals
{
    uint64_t bytes = 0;
    uint64_t packedBytes = 0;
    uint64_t linkBytes = 0;
};

void checkSizes(const ArchiveEntry &entry, Totals &totals)
{
    if (entry.size > DirectoryCheck::maxFileBytes) {
        throw ArchiveError("a file that is too large: " + entry.name);
    }
    totals.bytes += entry.size;
    totals.packedBytes += entry.packedSize;
    if (totals.bytes > DirectoryCheck::maxBytes) {
        throw ArchiveError("too many bytes to unpack");
    }
    if (entry.method == stored && entry.size != entry.packedSize) {
        throw ArchiveError("sizes that disagree: " + entry.name);
    }
    if (entry.type == ArchiveEntry::Type::folder && entry.size != 0) {
        throw ArchiveError("a folder with content: " + entry.name);
    }
    if (entry.type == ArchiveEntry::Type::link) {
        if (entry.size == 0 || entry.size > DirectoryCheck::maxLinkTarget) {
            throw ArchiveError("a link without a fitting target: " + entry.name);
        }
        totals.linkBytes += entry.size;
        if (totals.linkBytes > DirectoryCheck::maxLinkBytes) {
            throw ArchiveError("too many links");
        }
    }
}

/// An entry's path with separators that come before every other character, so that what lies below
/// a path follows right after it when paths are sorted.
struct SortedPath
{
    static constexpr char separator = '\1'; // no name has one

    explicit SortedPath(const ArchiveEntry &entry)
        : text(EntryPath::parse(entry.name).string()), type(entry.type)
    {
        std::replace(text.begin(), text.end(), '/', separator);
    }

    bool isBelow(const SortedPath &other) const
    {
        return text.size() > other.text.size() && text[other.text.size()] == separator &&
               text.starts_with(other.text);
    }

    /// How many of the folders above this path are not `before` itself or above it.
    uint64_t newFolders(const std::string &before) const
    {
        const size_t shorter = std::min(text.size(), before.size());
        const auto from =
            std::mismatch(text.begin(), text.begin() + static_cast<ptrdiff_t>(shorter),
                          before.begin())
                .first;
        const bool isBelowBefore = from - text.begin() == static_cast<ptrdiff_t>(before.size()) &&
                                   from != text.end() && *from == separator;
        return static_cast<uint64_t>(std::count(from, text.end(), separator)) -
               (isBelowBefore ? 1 : 0);
    }

    std::string shown() const
    {
        std::string path = text;
        std::replace(path.begin(), path.end(), separator, '/');
        return path;
    }

    std::string text;
    ArchiveEntry::Type type;
};

void checkPlaces(std::vector<SortedPath> &paths)
{
    std::sort(paths.begin(), paths.end(),
              [](const SortedPath &a, const SortedPath &b) { return a.text < b.text; });
    std::vector<const SortedPath *> above; // the entries that the present one lies below
    uint64_t count = 0;
    std::string before;
    for (const SortedPath &path : paths) {
        if (path.text == before) {
            throw ArchiveError("two entries for one place: " + path.shown());
        }
        while (!above.empty() && !path.isBelow(*above.back())) {
            above.pop_back();
        }
        if (!above.empty() && above.back()->type != ArchiveEntry::Type::folder) {
            throw ArchiveError("an entry below a file or link: " + path.shown());
        }
        above.push_back(&path);
        count += 1 + path.newFolders(before);
        if (count > DirectoryCheck::maxEntries) {
            throw ArchiveError("too many folders");
        }
        before = path.text;
    }
}

std::deque<std::string> split(const std::string &path)
{
    std::deque<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        const size_t end = std::min(path.find('/', start), path.size());
        if (end > start) {
            parts.push_back(path.substr(start, end - start));
        }
        start = end + 1;
    }
    return parts;
}

/// Follows links as the system would.
class LinkWalk
{
public:
    explicit LinkWalk(const std::map<std::string, std::string> &links)
        : links_(links.begin(), links.end())
    {}

    /// False as soon as the way through `link` leaves the tree.
    bool staysInside(const std::string &link)
    {
        constexpr int maxLinks = 40; // as many as Linux follows
        std::deque<std::string> pending = split(link);
        std::string at;
        int followed = 0;
        while (!pending.empty()) {
            const std::string part = std::move(pending.front());
            pending.pop_front();
            if (part == ".") {
                continue;
            }
            if (part == "..") {
                if (at.empty()) {
                    return false;
                }
                dropLast(at);
                continue;
            }
            at += (at.empty() ? "" : "/") + part;
            const std::string *const target = find(at);
            if (!target) {
                continue;
            }
            if (++followed > maxLinks || target->starts_with('/')) {
                return false;
            }
            dropLast(at);
            const auto parts = split(*target);
            pending.insert(pending.begin(), parts.begin(), parts.end());
        }
        return true;
    }

private:
    static void dropLast(std::string &path)
    {
        const size_t slash = path.rfind('/');
        path.resize(slash == std::string::npos ? 0 : slash);
    }

    const std::string *find(const std::string &path)
    {
        work_ += path.size();
        if (work_ > DirectoryCheck::maxLinkWork) {
            throw ArchiveError("links that take too long to follow");
        }
        const auto found = links_.find(path);
        return found == links_.end() ? nullptr : &found->second;
    }

    std::unordered_map<std::string, std::string> links_;
    uint64_t work_ = 0;
};

} // namespace

void DirectoryCheck::check(const std::vector<ArchiveEntry> &entries)
{
    if (entries.size() > maxEntries) {
        throw ArchiveError("too many entries");
    }
    std::vector<SortedPath> paths;
    paths.reserve(entries.size());
    Totals totals;
    for (const ArchiveEntry &entry : entries) {
        paths.emplace_back(entry);
        if (entry.type == ArchiveEntry::Type::other) {
            throw ArchiveError("neither file, folder nor link: " + entry.name);
        }
        if (entry.encrypted) {
            throw ArchiveError("an encrypted entry: " + entry.name);
        }
        if (entry.method != stored && entry.method != deflated) {
            throw ArchiveError("an unknown compression method: " + entry.name);
        }
        checkSizes(entry, totals);
    }
    // Entries share no bytes, so that all of them together are no larger than the archive.
    if (totals.bytes > freeBytes + maxGrowth * totals.packedBytes) {
        throw ArchiveError("an archive that unpacks to too much");
    }
    checkPlaces(paths);
}

void DirectoryCheck::checkSpace(const std::vector<ArchiveEntry> &entries, const std::string &folder)
{
    struct statvfs disk{};
    // Ignored: some file systems don't tell, and writing shows.
    if (statvfs(folder.c_str(), &disk) != 0 || disk.f_blocks == 0 || disk.f_frsize == 0) {
        return;
    }
    uint64_t bytes = 0;
    for (const ArchiveEntry &entry : entries) {
        bytes += entry.size;
    }
    if (bytes / disk.f_frsize > disk.f_bavail) {
        throw ArchiveError::notWritten(folder, ENOSPC);
    }
}

void DirectoryCheck::checkLinks(const std::map<std::string, std::string> &links)
{
    LinkWalk walk(links);
    for (const auto &[path, target] : links) {
        if (target.find('\0') != std::string::npos || !walk.staysInside(path)) {
            throw ArchiveError("a link that leads outside: " + path);
        }
    }
}

} // namespace brindle
