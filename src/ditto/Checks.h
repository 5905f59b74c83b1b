#pragma once

#include "ditto/Directory.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// What is refused before anything is written. Throws Error.
namespace brindle::ditto {

constexpr uint64_t maxFileBytes = 4ULL << 30U;
constexpr uint64_t maxBytes = 16ULL << 30U; ///< of all files

/// All files together may come to `freeBytes` and `maxGrowth` times what they take in the archive.
/// Nothing is said of one file: honest ones of nearly one value, such as a flat height map, reach
/// the 1032:1 that deflate can do. A whole project of usual files stays below 20:1.
constexpr uint64_t freeBytes = 256ULL << 20U;
constexpr uint64_t maxGrowth = 100;

constexpr uint64_t maxLinkTarget = 4095;
constexpr uint64_t maxLinkBytes = 4ULL << 20U; ///< of all targets
/// Paths of 64 bytes that are looked up to follow all links, so that following ends within a
/// second.
constexpr uint64_t maxLinkWork = 2'000'000;

/// Compression methods, APPNOTE.TXT 4.4.5.
constexpr uint16_t stored = 0;
constexpr uint16_t deflated = 8;

/// A place below the destination, and all below it.
struct Place
{
    Entry::Type type = Entry::Type::folder;
    bool hasEntry = false; ///< else a folder that lies on an entry's way
    std::map<std::string, Place> below;
};

/// Refuses an archive that is not to be unpacked: unsafe names, types other than file, folder and
/// link, encryption, unknown methods, two entries for one place, an entry below a file or link,
/// entries that overlap in the archive, or sizes over the limits. A safe name is relative and
/// without "..", ".", empty or over-long components, backslashes and control characters, of at most
/// 256 components, and valid UTF-8. Returns the tree that the archive makes, by its root.
Place checkDirectory(const std::vector<Entry> &entries);

/// Refuses what the disk of `folder` has no room for, as far as it tells.
void checkSpace(const std::vector<Entry> &entries, const std::string &folder);

/// Refuses a link that leads outside, also by way of others. `links` holds each link's path and its
/// target.
void checkLinks(const std::map<std::string, std::string> &links);

} // namespace brindle::ditto
