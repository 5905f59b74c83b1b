#include "ditto/Checks.h"

#include "ditto/Error.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

namespace brindle::ditto {

namespace {

using Type = Entry::Type;

/// Checks for UTF-8 by RFC 3629: no surrogates, no over-long forms.
bool isUtf8(std::string_view text)
{
    constexpr std::array least{0x0U, 0x80U, 0x800U, 0x10000U}; // least by length
    while (!text.empty()) {
        const auto lead = static_cast<unsigned char>(text.front());
        const auto ones = static_cast<size_t>(std::countl_one(lead)); // 0 in ASCII, else the length
        const size_t length = std::max<size_t>(ones, 1);
        if (ones == 1 || ones > least.size() || text.size() < length) {
            return false;
        }
        uint32_t point = lead & (0xFFU >> ones);
        for (const char next : text.substr(1, length - 1)) {
            if ((static_cast<unsigned char>(next) & 0xC0U) != 0x80U) {
                return false;
            }
            point = (point << 6U) | (static_cast<unsigned char>(next) & 0x3FU);
        }
        if (point < least[length - 1] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
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

/// Removes the first part of a path, with the slash behind it, and returns the part.
std::string_view takePart(std::string_view &path)
{
    const std::string_view part = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(part.size() + 1, path.size()));
    return part;
}

void checkName(const Entry &entry)
{
    // NAME_MAX and PATH_MAX of Linux, in bytes.
    constexpr size_t maxPart = 255;
    constexpr size_t maxPath = 4095;
    // Deeper than any real tree.
    constexpr int maxParts = 256;
    const std::string &name = entry.fileName;
    const auto refuseIf = [&entry](bool isWrong, const char *why) {
        ditto::refuseIf(isWrong, why, entry);
    };
    refuseIf(name.empty(), "an entry without a name");
    refuseIf(name.size() > maxPath, "an over-long name");
    refuseIf(name.front() == '/', "an absolute name");
    refuseIf(name.find('\\') != std::string::npos, "a name with a backslash");
    refuseIf(std::any_of(name.begin(), name.end(), isControl), "a name with a control character");
    refuseIf(!isUtf8(name), "a name that is not UTF-8");
    int parts = 0;
    for (std::string_view rest = name; !rest.empty(); ++parts) {
        const std::string_view part = takePart(rest);
        refuseIf(part.empty(), "a name with an empty part");
        refuseIf(part == "." || part == "..", "a name with a relative part");
        refuseIf(part.size() > maxPart, "an over-long name");
    }
    refuseIf(parts > maxParts, "a name with too many parts");
}

void checkEntry(const Entry &entry)
{
    const auto refuseIf = [&entry](bool isWrong, const char *why) {
        ditto::refuseIf(isWrong, why, entry);
    };
    const uint16_t method = entry.compressionMethod;
    const uint64_t size = entry.uncompressedSize;
    refuseIf(entry.type() == Type::other, "neither file, folder nor link");
    refuseIf((entry.generalPurposeFlags & encryptionFlags) != 0, "an encrypted entry");
    refuseIf(method != stored && method != deflated, "an unknown compression method");
    refuseIf(size > maxFileBytes, "a file that is too large");
    refuseIf(method == stored && size != entry.compressedSize, "sizes that disagree");
    // Deflate allows any number of empty blocks, which cost time and unpack to nothing.
    refuseIf(entry.compressedSize > size + size / 4 + 64, "packed data larger than its content");
    refuseIf(entry.type() == Type::folder && size != 0, "a folder with content");
    refuseIf(entry.type() == Type::link && (size == 0 || size > maxLinkTarget),
             "a link without a fitting target");
}

/// Orders entries as a walk through the tree would.
bool precedes(const Entry &first, const Entry &second)
{
    const std::string_view a = first.path();
    const std::string_view b = second.path();
    const auto [inA, inB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    const auto rank = [](const char *at, const char *end) {
        return at == end ? -1 : *at == '/' ? 0 : static_cast<unsigned char>(*at);
    };
    return rank(inA, a.end()) < rank(inB, b.end());
}

/// Refuses two entries that can't both exist. They must be neighbours in sorted order.
void checkNeighbours(const Entry &first, const Entry &second)
{
    const std::string_view path = second.path();
    if (!path.starts_with(first.path())) {
        return;
    }
    refuseIf(path == first.path(), "two entries for one place", second);
    refuseIf(first.type() != Type::folder && path[first.path().size()] == '/',
             "an entry below a file or link", second);
}

/// Checks the sums over all entries, which must be sorted.
void checkTotals(const std::vector<Entry> &entries)
{
    uint64_t places = 0;
    uint64_t depth = 0;
    uint64_t bytes = 0;
    uint64_t packedBytes = 0;
    uint64_t links = 0;
    uint64_t linkBytes = 0;
    const auto add = [&](std::string_view path, uint64_t blocks) {
        refuseIf(++places > maxEntries, "too many folders");
        depth += 1 + static_cast<uint64_t>(std::count(path.begin(), path.end(), '/'));
        bytes += placeBytes + blocks * blockBytes;
    };
    const Entry *previous = nullptr;
    for (const Entry &entry : entries) {
        visitNewFolders(entry, previous, [&](std::string_view path) { add(path, 1); });
        previous = &entry;
        if (entry.type() != Type::folder) {
            add(entry.path(), (entry.uncompressedSize + blockBytes - 1) / blockBytes);
        }
        packedBytes += entry.compressedSize;
        if (entry.type() == Type::link) {
            ++links;
            linkBytes += entry.uncompressedSize;
        }
    }
    refuseIf(links > maxLinks || linkBytes > maxLinkBytes, "too many links");
    refuseIf(bytes > maxBytes, "too many bytes to unpack");
    // Entries do not overlap, so all packed bytes together fit into the archive.
    refuseIf(bytes > freeBytes + maxGrowth * packedBytes, "an archive that unpacks to too much");
    refuseIf(depth > freeDepth + maxMeanDepth * places, "folders that are too deep");
}

/// Follows a link as the system would. Returns whether the link stays in the tree. Counts `work`.
bool staysInside(std::string_view link, const std::string &target, const Links &links,
                 uint64_t &work)
{
    constexpr int maxFollowed = 40; // Linux's limit
    constexpr uint64_t workOfPart = 16;
    std::string at(link);                  // its folders are not links
    std::vector<std::string_view> pending; // parts to walk; the next is last
    int followed = 0;
    const auto leave = [&at] { at.resize(at.find('/') == std::string::npos ? 0 : at.rfind('/')); };
    const auto follow = [&](const std::string &path) {
        leave();
        pending.emplace_back(path);
        return ++followed <= maxFollowed && !path.starts_with('/');
    };
    bool isInside = follow(target);
    while (isInside && !pending.empty()) {
        const std::string_view part = takePart(pending.back());
        if (pending.back().empty()) {
            pending.pop_back();
        }
        work += workOfPart;
        if (part == "..") {
            isInside = !at.empty();
            leave();
        } else if (!part.empty() && part != ".") {
            at += (at.empty() ? "" : "/") + std::string(part);
            work += at.size();
            const auto found = links.find(at);
            isInside = found == links.end() || follow(found->second);
        }
        refuseIf(work > maxLinkWork, "links that take too long to follow");
    }
    return isInside;
}

} // namespace

void refuseIf(bool isWrong, const char *why, const Entry &entry)
{
    if (isWrong) {
        constexpr size_t maxShown = 80;
        std::string name = entry.fileName.substr(0, maxShown);
        std::replace_if(name.begin(), name.end(), isControl, '?');
        throw Error(std::string(why) + ": \"" + name +
                    (entry.fileName.size() > maxShown ? "…\"" : "\""));
    }
}

void checkDirectory(std::vector<Entry> &entries)
{
    for (const Entry &entry : entries) {
        checkName(entry);
        checkEntry(entry);
    }
    std::sort(entries.begin(), entries.end(), &precedes);
    for (size_t i = 1; i < entries.size(); ++i) {
        checkNeighbours(entries[i - 1], entries[i]);
    }
    checkTotals(entries);
}

void visitNewFolders(const Entry &entry, const Entry *previous,
                     const std::function<void(std::string_view path)> &visit)
{
    const std::string_view name = entry.fileName;
    const std::string_view before = previous ? previous->fileName : std::string_view();
    auto end = std::mismatch(name.begin(), name.end(), before.begin(), before.end()).first;
    while ((end = std::find(end, name.end(), '/')) != name.end()) {
        visit({name.begin(), end++});
    }
}

void checkLinks(const Links &links)
{
    uint64_t work = 0;
    for (const auto &[path, target] : links) {
        if (target.find('\0') != std::string::npos || !staysInside(path, target, links, work)) {
            throw Error("a link that leads outside: " + std::string(path));
        }
    }
}

} // namespace brindle::ditto
