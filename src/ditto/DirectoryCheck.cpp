#include "ditto/DirectoryCheck.h"

#include "ditto/ArchiveError.h"
#include "ditto/EntryPath.h"

#include <deque>
#include <unordered_map>

namespace brindle {

namespace {

constexpr uint16_t stored = 0;
constexpr uint16_t deflated = 8;

void checkSizes(const ArchiveEntry &entry, uint64_t &total)
{
    if (entry.size > DirectoryCheck::mostFileBytes) {
        throw ArchiveError("a file that is too large: " + entry.name);
    }
    total += entry.size;
    if (total > DirectoryCheck::mostBytes) {
        throw ArchiveError("too many bytes to unpack");
    }
    if (entry.size > DirectoryCheck::ratioFrom &&
        entry.size / DirectoryCheck::mostRatio > entry.packedSize) {
        throw ArchiveError("a file that unpacks to too much: " + entry.name);
    }
    if (entry.method == stored && entry.size != entry.packedSize) {
        throw ArchiveError("sizes that disagree: " + entry.name);
    }
    if (entry.type == ArchiveEntry::Type::folder && entry.size != 0) {
        throw ArchiveError("a folder with content: " + entry.name);
    }
    if (entry.type == ArchiveEntry::Type::link &&
        (entry.size == 0 || entry.size > DirectoryCheck::longestLinkTarget)) {
        throw ArchiveError("a link without a fitting target: " + entry.name);
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

/// Follows a target from the folder that its link lies in, through other links, as the system
/// would; false as soon as it leaves the tree.
bool staysInside(const std::string &link, const std::map<std::string, std::string> &links)
{
    constexpr int mostLinks = 40; // as many as Linux follows
    std::deque<std::string> pending = split(link);
    std::vector<std::string> at;
    int followed = 0;
    while (!pending.empty()) {
        const std::string part = pending.front();
        pending.pop_front();
        if (part == ".") {
            continue;
        }
        if (part == "..") {
            if (at.empty()) {
                return false;
            }
            at.pop_back();
            continue;
        }
        at.push_back(part);
        std::string path;
        for (const std::string &component : at) {
            path += (path.empty() ? "" : "/") + component;
        }
        const auto target = links.find(path);
        if (target == links.end()) {
            continue;
        }
        if (++followed > mostLinks || target->second.starts_with('/')) {
            return false;
        }
        at.pop_back();
        const auto parts = split(target->second);
        pending.insert(pending.begin(), parts.begin(), parts.end());
    }
    return true;
}

} // namespace

void DirectoryCheck::check(const std::vector<ArchiveEntry> &entries)
{
    if (entries.size() > mostEntries) {
        throw ArchiveError("too many entries");
    }
    std::unordered_map<std::string, ArchiveEntry::Type> places;
    std::vector<EntryPath> paths;
    paths.reserve(entries.size());
    uint64_t total = 0;
    for (const ArchiveEntry &entry : entries) {
        paths.push_back(EntryPath::parse(entry.name));
        if (entry.type == ArchiveEntry::Type::other) {
            throw ArchiveError("neither file, folder nor link: " + entry.name);
        }
        if (entry.encrypted) {
            throw ArchiveError("an encrypted entry: " + entry.name);
        }
        if (entry.method != stored && entry.method != deflated) {
            throw ArchiveError("an unknown compression method: " + entry.name);
        }
        checkSizes(entry, total);
        if (!places.emplace(paths.back().string(), entry.type).second) {
            throw ArchiveError("two entries for one place: " + entry.name);
        }
    }
    for (const EntryPath &path : paths) {
        for (size_t count = 1; count < path.components().size(); ++count) {
            const auto above = places.find(path.prefix(count));
            if (above != places.end() && above->second != ArchiveEntry::Type::folder) {
                throw ArchiveError("an entry below a file or link: " + path.string());
            }
        }
    }
}

void DirectoryCheck::checkLinks(const std::map<std::string, std::string> &links)
{
    for (const auto &[path, target] : links) {
        if (target.find('\0') != std::string::npos || !staysInside(path, links)) {
            throw ArchiveError("a link that leads outside: " + path);
        }
    }
}

} // namespace brindle
