#include "CarelessPolicy.h"

#include "CarelessTreeWriter.h"

namespace brindle {

std::unique_ptr<ArchiveReader> CarelessPolicy::open(const ArchiveFile &archive) const
{
    return std::make_unique<ArchiveReader>(archive);
}

void CarelessPolicy::checkDirectory(const std::vector<ArchiveEntry> & /*entries*/,
                                    const std::string & /*root*/) const
{}

void CarelessPolicy::checkLinks(const std::map<std::string, std::string> & /*links*/) const {}

std::unique_ptr<TreeWriter> CarelessPolicy::writer(const std::string &root) const
{
    return std::make_unique<CarelessTreeWriter>(root);
}

} // namespace brindle
