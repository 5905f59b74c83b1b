#include "ditto/Checks.h"

#include "ditto/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <sys/statvfs.h>
#include <utility>

namespace brindle::ditto {

namespace {

using Type = Entry::Type;

/// APPNOTE.TXT 4.4.4: encrypted, strongly so, with a directory that hides what it says.
constexpr uint16_t encryptionFlags = 0x1 | 0x40 | 0x2000;

/// RFC 3629, without surrogates and over-long forms.
bool isUtf8(std::string_view text)
{
    constexpr std::array<uint32_t, 5> least{0, 0, 0x80, 0x800, 0x10000}; // by length
    while (!text.empty()) {
        const auto lead = static_cast<unsigned char>(text.front());
        const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        if ((lead >= 0x80 && lead < 0xC0) || lead >= 0xF8 || text.size() < length) {
            return false;
        }
        uint32_t point = length == 1 ? lead : lead & (0xFFU >> (length + 1));
        for (const char next : text.substr(1, length - 1)) {
            if ((static_cast<unsigned char>(next) & 0xC0U) != 0x80U) {
                return false;
            }
            point = (point << 6U) | (static_cast<unsigned char>(next) & 0x3FU);
        }
        if (point < least[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool isControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

/// A name that can be printed on one line.
std::string shown(const std::string &name)
{
    constexpr size_t maxShown = 80;
    std::string text = name.substr(0, maxShown);
    std::replace_if(text.begin(), text.end(), isControl, '?');
    return '"' + text + (name.size() > maxShown ? "…\"" : "\"");
}

/// The parts between a path's slashes, empty ones too.
std::vector<std::string> split(std::string_view path)
{
    std::vector<std::string> parts;
    for (size_t end = 0; end != std::string_view::npos; path.remove_prefix(end + 1)) {
        end = path.find('/');
        parts.emplace_back(path.substr(0, end));
        if (end == std::string_view::npos) {
            break;
        }
    }
    return parts;
}

/// The components of a name, which must be safe.
std::vector<std::string> componentsOf(const std::string &name)
{
    // POSIX NAME_MAX and PATH_MAX of the systems that we run on.
    constexpr size_t maxComponent = 255;
    constexpr size_t maxPath = 4095;
    // Deeper than any tree that somebody works in.
    constexpr size_t maxComponents = 256;
    const auto refuseIf = [&name](bool isWrong, const char *why) {
        if (isWrong) {
            throw Error(std::string(why) + ": " + shown(name));
        }
    };
    refuseIf(name.empty(), "an entry without a name");
    refuseIf(name.size() > maxPath, "an over-long name");
    refuseIf(name.front() == '/', "an absolute name");
    refuseIf(name.find('\\') != std::string::npos, "a name with a backslash");
    refuseIf(std::any_of(name.begin(), name.end(), isControl), "a name with a control character");
    refuseIf(!isUtf8(name), "a name that is not UTF-8");
    auto parts =
        split(std::string_view(name).substr(0, name.size() - (name.ends_with('/') ? 1 : 0)));
    for (const std::string &part : parts) {
        refuseIf(part.empty(), "a name with an empty part");
        refuseIf(part == "." || part == "..", "a name with a relative part");
        refuseIf(part.size() > maxComponent, "an over-long name");
    }
    refuseIf(parts.size() > maxComponents, "a name with too many parts");
    return parts;
}

void checkEntry(const Entry &entry)
{
    const auto refuseIf = [&entry](bool isWrong, const char *why) {
        if (isWrong) {
            throw Error(std::string(why) + ": " + entry.fileName);
        }
    };
    const uint16_t method = entry.compressionMethod;
    const uint64_t size = entry.uncompressedSize;
    refuseIf(entry.type() == Type::other, "neither file, folder nor link");
    refuseIf((entry.generalPurposeFlags & encryptionFlags) != 0, "an encrypted entry");
    refuseIf(method != stored && method != deflated, "an unknown compression method");
    refuseIf(size > maxFileBytes, "a file that is too large");
    refuseIf(method == stored && size != entry.compressedSize, "sizes that disagree");
    refuseIf(entry.type() == Type::folder && size != 0, "a folder with content");
    refuseIf(entry.type() == Type::link && (size == 0 || size > maxLinkTarget),
             "a link without a fitting target");
}

/// What all entries take together.
void checkTotals(const std::vector<Entry> &entries)
{
    uint64_t bytes = 0;
    uint64_t packedBytes = 0;
    uint64_t linkBytes = 0;
    for (const Entry &entry : entries) {
        bytes += entry.uncompressedSize;
        packedBytes += entry.compressedSize;
        linkBytes += entry.type() == Type::link ? entry.uncompressedSize : 0;
    }
    if (bytes > maxBytes) {
        throw Error("too many bytes to unpack");
    }
    if (linkBytes > maxLinkBytes) {
        throw Error("too many links");
    }
    // Entries share no bytes, so that all of them together are no larger than the archive.
    if (bytes > freeBytes + maxGrowth * packedBytes) {
        throw Error("an archive that unpacks to too much");
    }
}

void checkOverlap(const std::vector<Entry> &entries)
{
    std::vector<std::pair<uint64_t, uint64_t>> extents; // from, to
    extents.reserve(entries.size());
    for (const Entry &entry : entries) {
        extents.emplace_back(entry.localHeaderOffset, entry.dataOffset + entry.compressedSize);
    }
    std::sort(extents.begin(), extents.end());
    for (size_t i = 1; i < extents.size(); ++i) {
        if (extents[i].first < extents[i - 1].second) {
            throw Error("entries that overlap");
        }
    }
}

/// Gives the entry its place in the tree. `count` is of all places.
void put(const Entry &entry, Place &root, uint64_t &count)
{
    Place *place = &root;
    for (std::string &component : componentsOf(entry.fileName)) {
        if (place->type != Type::folder) {
            throw Error("an entry below a file or link: " + entry.fileName);
        }
        const auto [below, isNew] = place->below.try_emplace(std::move(component));
        if (isNew && ++count > maxEntries) {
            throw Error("too many folders");
        }
        place = &below->second;
    }
    if (std::exchange(place->hasEntry, true)) {
        throw Error("two entries for one place: " + entry.fileName);
    }
    if (entry.type() != Type::folder && !place->below.empty()) {
        throw Error("an entry below a file or link: " + entry.fileName);
    }
    place->type = entry.type();
}

/// Follows a link as the system would. False as soon as the way leaves the tree. `work` is what all
/// links have taken.
bool staysInside(const std::string &link, const std::map<std::string, std::string> &links,
                 uint64_t &work)
{
    constexpr int maxLinks = 40;      // as many as Linux follows
    std::vector<std::string> pending; // the next at the end
    const auto follow = [&pending](const std::string &path) {
        const std::vector<std::string> parts = split(path);
        pending.insert(pending.end(), parts.rbegin(), parts.rend());
    };
    follow(link);
    std::string at;
    const auto leave = [&at] { at.resize(at.find('/') == std::string::npos ? 0 : at.rfind('/')); };
    int followed = 0;
    while (!pending.empty()) {
        const std::string part = std::exchange(pending.back(), {});
        pending.pop_back();
        if (part.empty() || part == ".") {
            continue;
        }
        if (part == "..") {
            if (at.empty()) {
                return false;
            }
            leave();
            continue;
        }
        at += (at.empty() ? "" : "/") + part;
        work += 1 + at.size() / 64;
        if (work > maxLinkWork) {
            throw Error("links that take too long to follow");
        }
        const auto found = links.find(at);
        if (found == links.end()) {
            continue;
        }
        if (++followed > maxLinks || found->second.starts_with('/')) {
            return false;
        }
        leave();
        follow(found->second);
    }
    return true;
}

} // namespace

Place checkDirectory(const std::vector<Entry> &entries)
{
    checkOverlap(entries);
    Place root;
    uint64_t count = 0;
    for (const Entry &entry : entries) {
        put(entry, root, count);
        checkEntry(entry);
    }
    checkTotals(entries);
    return root;
}

void checkSpace(const std::vector<Entry> &entries, const std::string &folder)
{
    struct statvfs disk{};
    // Ignored: some file systems don't tell, and writing shows.
    if (statvfs(folder.c_str(), &disk) != 0 || disk.f_blocks == 0 || disk.f_frsize == 0) {
        return;
    }
    uint64_t bytes = 0;
    for (const Entry &entry : entries) {
        bytes += entry.uncompressedSize;
    }
    if (bytes / disk.f_frsize > disk.f_bavail) {
        throw Error::notWritten(folder, ENOSPC);
    }
}

void checkLinks(const std::map<std::string, std::string> &links)
{
    uint64_t work = 0;
    for (const auto &[path, target] : links) {
        if (target.find('\0') != std::string::npos || !staysInside(path, links, work)) {
            throw Error("a link that leads outside: " + path);
        }
    }
}

} // namespace brindle::ditto
