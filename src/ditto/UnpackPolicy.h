#pragma once

#include "ditto/ArchiveEntry.h"
#include "ditto/ArchiveReader.h"
#include "ditto/TreeWriter.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace brindle {

/// How far an archive is trusted. The program has one, StrictPolicy; the tests of its sandbox have
/// another that trusts everything. Its members throw ArchiveError for what is refused.
class UnpackPolicy
{
public:
    virtual ~UnpackPolicy() = default;

    virtual std::unique_ptr<ArchiveReader> open(const ArchiveFile &archive) const = 0;
    /// Looks at the whole directory, before anything is written below the folder `root`.
    virtual void checkDirectory(const std::vector<ArchiveEntry> &entries,
                                const std::string &root) const = 0;
    /// Looks at all links, before anything is written. `links` holds each link's path and target.
    virtual void checkLinks(const std::map<std::string, std::string> &links) const = 0;
    /// What writes the archive's tree below the folder `root`, which is empty.
    virtual std::unique_ptr<TreeWriter> writer(const std::string &root) const = 0;

protected:
    UnpackPolicy() = default;
    UnpackPolicy(const UnpackPolicy &) = default;
    UnpackPolicy &operator=(const UnpackPolicy &) = default;
};

} // namespace brindle
