#pragma once

#include "ditto/ArchiveFile.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace brindle::ditto {

constexpr uint64_t maxDirectoryBytes = 128ULL << 20U;
/// Limits all names together, and thereby the memory.
constexpr uint64_t maxNameBytes = 16ULL << 20U;
/// Folders count even if they appear only in other entries' names.
constexpr uint64_t maxEntries = 200'000;

/// The flags for encryption, strong encryption and a masked directory (APPNOTE.TXT 4.4.4).
constexpr uint16_t encryptionFlags = 0x1 | 0x40 | 0x2000;

/// One entry of an archive's directory. Its fields have the names of APPNOTE.TXT 4.4. Every reader
/// finds the same values, but nothing has checked them.
struct Entry
{
    enum class Type { file, folder, link, other };

    std::string fileName; ///< with the trailing "/" of a folder
    uint16_t versionMadeBy;
    uint16_t generalPurposeFlags;
    uint16_t compressionMethod;
    uint32_t crc32;
    uint64_t compressedSize;
    uint64_t uncompressedSize;
    uint32_t externalFileAttributes;
    uint64_t localHeaderOffset;
    uint64_t dataOffset; ///< position of the packed bytes in the file

    /// Returns `fileName` without the trailing "/".
    std::string_view path() const;
    /// Returns the st_mode of the packed file, or 0 when none is stored.
    mode_t mode() const;
    /// Returns the type by the mode and a trailing "/" of the name; `other` when the two disagree.
    Type type() const;
};

/// Reads an archive's directory and its entries' local headers (APPNOTE.TXT 4.3). Throws Error
/// unless every reader would find the same archive. The file must end with its only end record.
/// Right before that comes the directory, with the announced number of entries, at most maxEntries.
/// Before the directory come entries that do not overlap. Local headers must repeat the directory,
/// but may leave sizes and checksum to a record behind the data. Bytes between these parts are
/// ignored.
std::vector<Entry> readDirectory(const ArchiveFile &file);

} // namespace brindle::ditto
