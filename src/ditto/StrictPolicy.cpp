#include "ditto/StrictPolicy.h"

#include "ditto/ArchiveLayout.h"
#include "ditto/DirectoryCheck.h"
#include "ditto/StrictTreeWriter.h"

namespace brindle {

std::unique_ptr<ArchiveReader> StrictPolicy::open(const ArchiveFile &archive) const
{
    const ArchiveLayout layout = ArchiveLayout::read(archive, DirectoryCheck::maxEntries);
    auto reader = std::make_unique<ArchiveReader>(archive);
    layout.compare(reader->entries());
    return reader;
}

void StrictPolicy::checkDirectory(const std::vector<ArchiveEntry> &entries,
                                  const std::string &root) const
{
    DirectoryCheck::check(entries);
    DirectoryCheck::checkSpace(entries, root);
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
