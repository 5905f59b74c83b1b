#include "ditto/StrictPolicy.h"

#include "ditto/ArchiveLayout.h"
#include "ditto/DirectoryCheck.h"
#include "ditto/StrictTreeWriter.h"

namespace brindle {

std::unique_ptr<ArchiveReader> StrictPolicy::open(const std::string &archive) const
{
    const ArchiveLayout layout = ArchiveLayout::read(archive, DirectoryCheck::mostEntries);
    auto reader = std::make_unique<ArchiveReader>(archive);
    layout.compare(reader->entries());
    return reader;
}

void StrictPolicy::checkDirectory(const std::vector<ArchiveEntry> &entries) const
{
    DirectoryCheck::check(entries);
}

void StrictPolicy::checkLinks(const std::map<std::string, std::string> &links) const
{
    DirectoryCheck::checkLinks(links);
}

std::unique_ptr<TreeWriter> StrictPolicy::writer(const std::string &root) const
{
    return std::make_unique<StrictTreeWriter>(root);
}

} // namespace brindle
