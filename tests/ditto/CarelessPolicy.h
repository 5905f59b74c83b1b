#pragma once

#include "ditto/UnpackPolicy.h"

namespace brindle {

/// Checks nothing and writes what the archive says, where it says: to show what the sandbox holds.
class CarelessPolicy : public UnpackPolicy
{
public:
    std::unique_ptr<ArchiveReader> open(const ArchiveFile &archive) const override;
    void checkDirectory(const std::vector<ArchiveEntry> &entries,
                        const std::string &root) const override;
    void checkLinks(const std::map<std::string, std::string> &links) const override;
    std::unique_ptr<TreeWriter> writer(const std::string &root) const override;
};

} // namespace brindle
