#pragma once

#include "ditto/ArchiveFile.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace brindle::ditto {

constexpr uint64_t maxDirectoryBytes = 128ULL << 20U;
/// Limits all names together, and so the memory.
constexpr uint64_t maxNameBytes = 16ULL << 20U;
/// Folders count even if only names of other entries mention them.
constexpr uint64_t maxEntries = 200'000;

/// APPNOTE.TXT 4.4.4: encrypted, strongly encrypted, with a masked directory.
constexpr uint16_t encryptionFlags = 0x1 | 0x40 | 0x2000;

/// One entry of an archive's directory, with the names of APPNOTE.TXT 4.4. The values are
/// unambiguous, but unchecked.
struct Entry
{
    enum class Type { file, folder, link, other };

    std::string fileName; ///< with the trailing "/" of a folder
    uint16_t versionMadeBy = 0;
    uint16_t generalPurposeFlags = 0;
    uint16_t compressionMethod = 0;
    uint32_t crc32 = 0;
    uint64_t compressedSize = 0;
    uint64_t uncompressedSize = 0;
    uint32_t externalFileAttributes = 0;
    uint64_t localHeaderOffset = 0;
    uint64_t dataOffset = 0; ///< position of the packed bytes in the archive's file

    /// Returns `fileName` without the trailing "/".
    std::string_view path() const;
    /// Returns the st_mode of the packed file, or 0 when none is stored.
    mode_t mode() const;
    /// Returns the type by the mode and the name's end; `other` when these disagree.
    Type type() const;
};

/// Reads an archive's directory and its entries' local headers (APPNOTE.TXT 4.3). Throws Error
/// unless every reader finds the same archive in the file: one end record, at the very end; right
/// before it a directory with as many entries as announced and at most maxEntries; before that,
/// entries that do not overlap. Local headers must repeat the directory, but may leave sizes and
/// checksum to a record behind the data. Bytes between the parts do no harm.
std::vector<Entry> readDirectory(const ArchiveFile &file);

} // namespace brindle::ditto
