#pragma once

#include "ditto/ArchiveEntry.h"
#include "ditto/ArchiveFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brindle {

/// Where the parts of a zip archive lie in its file (APPNOTE.TXT 4.3), read apart from the library
/// that unpacks it: the library takes the first reading that makes sense to it, and an archive that
/// can be read in two ways, or whose entries share their bytes, shows each reader something else.
class ArchiveLayout
{
public:
    static constexpr uint64_t maxDirectoryBytes = 128ULL << 20U;

    /// Reads the end record, the directory and the entries' own headers. Throws ArchiveError unless
    /// the file is one archive: one end record, at the very end; a directory right before it, with
    /// as many entries as announced and at most `maxEntries`; and entries that lie before it and
    /// not upon each other, and whose own headers say what the directory says or leave it to be
    /// said behind the data. Bytes between the parts do no harm.
    static ArchiveLayout read(const ArchiveFile &file, uint64_t maxEntries);

    /// Throws ArchiveError unless the library has read the same directory.
    void compare(const std::vector<ArchiveEntry> &entries) const;

private:
    struct Place
    {
        std::string name;
        std::string unicodeName; // of an Info-ZIP field, which some read in the name's place
        uint64_t flags = 0;
        uint64_t method = 0;
        uint64_t crc = 0;
        uint64_t size = 0;
        uint64_t packedSize = 0;
        uint64_t offset = 0;
    };
    struct Directory
    {
        uint64_t count = 0;
        uint64_t size = 0;
        uint64_t offset = 0;
    };
    class Fields;

    static Directory findDirectory(const ArchiveFile &file);
    static Directory readZip64End(const ArchiveFile &file, uint64_t locator);
    static void readFields(Fields &fields, Place &place);
    static Place readPlace(Fields &directory);
    static void readExtra(Fields extra, Place &place);
    static uint64_t readHeader(const ArchiveFile &file, const Place &place, uint64_t end);
    static bool agree(const Place &inDirectory, const Place &inHeader);
    static void checkPlaces(const ArchiveFile &file, const std::vector<Place> &places,
                            uint64_t end);

    std::vector<Place> places_;
};

} // namespace brindle
