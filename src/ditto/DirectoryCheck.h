#pragma once

#include "ditto/ArchiveEntry.h"

#include <map>
#include <string>
#include <vector>

namespace brindle {

/// Looks through an archive's whole directory before anything is written. Throws ArchiveError.
namespace DirectoryCheck {

/// Folders that no entry names, but that lie on an entry's way, count as well.
constexpr uint64_t maxEntries = 200'000;
constexpr uint64_t maxFileBytes = 4ULL << 30U;
constexpr uint64_t maxBytes = 16ULL << 30U; ///< of all files

/// All files together may come to `freeBytes` and `maxGrowth` times what they take in the archive.
/// Nothing is said of one file: honest ones of nearly one value, such as a flat height map, reach
/// the 1032:1 that deflate can do. A whole project of usual files stays below 20:1.
constexpr uint64_t freeBytes = 256ULL << 20U;
constexpr uint64_t maxGrowth = 100;

constexpr uint64_t maxLinkTarget = 4095;
constexpr uint64_t maxLinkBytes = 4ULL << 20U; ///< of all targets
/// Bytes of paths that are looked up to follow all links, so that following ends soon.
constexpr uint64_t maxLinkWork = 64ULL << 20U;

/// Refuses an archive that is not to be unpacked: unsafe names, types other than file, folder and
/// link, encryption, unknown methods, two entries for one place, an entry below a file or link, or
/// sizes over the limits.
void check(const std::vector<ArchiveEntry> &entries);

/// Refuses what the disk of `folder` has no room for, as far as it tells.
void checkSpace(const std::vector<ArchiveEntry> &entries, const std::string &folder);

/// Refuses a link that leads outside, also by way of others. `links` holds each link's path and its
/// target.
void checkLinks(const std::map<std::string, std::string> &links);

} // namespace DirectoryCheck

} // namespace brindle
