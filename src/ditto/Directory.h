#pragma once

#include "ditto/ArchiveFile.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace brindle::ditto {

constexpr uint64_t maxDirectoryBytes = 128ULL << 20U;
/// All names together. They are what takes memory.
constexpr uint64_t maxNameBytes = 16ULL << 20U;
/// Folders that only the names of other entries mention count as well.
constexpr uint64_t maxEntries = 200'000;

/// APPNOTE.TXT 4.4.4: encrypted, strongly encrypted, with a masked directory.
constexpr uint16_t encryptionFlags = 0x1 | 0x40 | 0x2000;

/// One entry of an archive's directory, its fields named as in APPNOTE.TXT 4.4. What it says has
/// been understood in one way, but not judged.
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
    uint64_t dataOffset = 0; ///< where the packed bytes begin in the archive's file

    /// `fileName` without the trailing "/".
    std::string_view path() const;
    /// st_mode of the file that was packed; 0 when it is not stored.
    mode_t mode() const;
    /// By the mode and the name's end; `other` when these disagree.
    Type type() const;
};

/// Reads an archive's directory and its entries' local headers (APPNOTE.TXT 4.3). Throws Error
/// unless every reader takes the file for the same archive: one end record, at the very end; a
/// directory right before it, with as many entries as announced and at most maxEntries; and entries
/// before it that do not overlap. A local header repeats the directory, or leaves sizes and
/// checksum to a record behind the data. Bytes between the parts do no harm.
std::vector<Entry> readDirectory(const ArchiveFile &file);

} // namespace brindle::ditto
