#pragma once

#include "ditto/ArchiveEntry.h"

#include <map>
#include <string>
#include <vector>

namespace brindle {

/// Looks through an archive's whole directory before anything is written.
class DirectoryCheck
{
public:
    /// Folders that no entry names, but that lie on an entry's way, count as well.
    static constexpr uint64_t mostEntries = 200'000;
    static constexpr uint64_t mostFileBytes = 4ULL << 30U;
    static constexpr uint64_t mostBytes = 16ULL << 30U;
    /// Only for files over `ratioFrom` bytes, as small ones of one byte value pack very well.
    static constexpr uint64_t mostRatio = 200;
    static constexpr uint64_t ratioFrom = 1ULL << 20U;
    static constexpr uint64_t longestLinkTarget = 4095;
    static constexpr uint64_t mostLinkBytes = 4ULL << 20U; ///< of all targets
    /// Bytes of paths that are looked up to follow all links, so that following ends soon.
    static constexpr uint64_t mostLinkWork = 64ULL << 20U;

    /// Throws ArchiveError for an archive that is not to be unpacked: unsafe names, types other
    /// than file, folder and link, encryption, unknown methods, two entries for one place, an
    /// entry below a file or link, or sizes over the limits.
    static void check(const std::vector<ArchiveEntry> &entries);

    /// Throws ArchiveError when a link leads outside, also by way of others. `links` holds each
    /// link's path and its target.
    static void checkLinks(const std::map<std::string, std::string> &links);
};

} // namespace brindle
