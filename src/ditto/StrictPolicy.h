#pragma once

#include "ditto/UnpackPolicy.h"

namespace brindle {

/// Takes only what is safe, whole and consistent. What the program uses.
class StrictPolicy : public UnpackPolicy
{
public:
    std::unique_ptr<ArchiveReader> open(const ArchiveFile &archive) const override;
    void checkDirectory(const std::vector<ArchiveEntry> &entries,
                        const std::string &root) const override;
    void checkLinks(const std::map<std::string, std::string> &links) const override;
    std::unique_ptr<TreeWriter> writer(const std::string &root) const override;
};

} // namespace brindle
