#include "ditto/Unpacker.h"

#include "ditto/ArchiveError.h"
#include "ditto/Inflater.h"

#include <filesystem>
#include <map>
#include <system_error>

namespace brindle {

namespace {

using Links = std::map<std::string, std::string>;

Links readLinks(const ArchiveReader &reader, const std::vector<ArchiveEntry> &entries,
                Inflater &inflater)
{
    Links links;
    for (const ArchiveEntry &entry : entries) {
        if (entry.type == ArchiveEntry::Type::link) {
            std::string &target = links[entry.name];
            inflater.unpack(reader, entry, [&](const unsigned char *bytes, size_t count) {
                target.append(reinterpret_cast<const char *>(bytes), count); // NOLINT
            });
        }
    }
    return links;
}

} // namespace

void Unpacker::unpack(const ArchiveFile &archive, const std::string &destination,
                      const std::function<bool()> &interrupted) const
{
    try {
        fill(archive, destination, interrupted);
    } catch (...) {
        // The folder itself stays, as it lies outside of the sandbox.
        std::error_code ignored;
        std::filesystem::remove_all(destination, ignored);
        throw;
    }
}

void Unpacker::fill(const ArchiveFile &archive, const std::string &destination,
                    const std::function<bool()> &interrupted) const
{
    const auto checkInterruption = [&interrupted] {
        if (interrupted()) {
            throw ArchiveError("interrupted");
        }
    };
    const auto reader = policy_.open(archive);
    const auto entries = reader->entries();
    policy_.checkDirectory(entries, destination);
    Inflater inflater;
    const Links links = readLinks(*reader, entries, inflater);
    policy_.checkLinks(links);

    const auto writer = policy_.writer(destination);
    for (const ArchiveEntry &entry : entries) {
        checkInterruption();
        switch (entry.type) {
        case ArchiveEntry::Type::folder:
            writer->addFolder(entry);
            break;
        case ArchiveEntry::Type::file:
            writer->addFile(entry, [&](const TreeWriter::Sink &sink) {
                inflater.unpack(*reader, entry, [&](const unsigned char *bytes, size_t count) {
                    checkInterruption();
                    sink(bytes, count);
                });
            });
            break;
        case ArchiveEntry::Type::link:
            writer->addLink(entry, links.at(entry.name));
            break;
        case ArchiveEntry::Type::other:
            writer->addOther(entry);
            break;
        }
    }
    writer->finish();
}

} // namespace brindle
