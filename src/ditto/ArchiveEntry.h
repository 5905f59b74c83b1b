#pragma once

#include <cstdint>
#include <string>

namespace brindle {

/// One entry of an archive's directory, as read; nothing in it has been checked.
struct ArchiveEntry
{
    enum class Type { file, folder, link, other };

    uint64_t index = 0; ///< place in the archive's directory
    std::string name;   ///< as stored, with the trailing "/" of a folder
    Type type = Type::file;
    uint32_t mode = 0; ///< st_mode of the file that was packed; 0 when it is not stored
    bool encrypted = false;
    uint16_t method = 0;     ///< compression, APPNOTE.TXT 4.4.5
    uint64_t size = 0;       ///< announced bytes when unpacked
    uint64_t packedSize = 0; ///< announced bytes in the archive
    uint32_t crc = 0;
};

} // namespace brindle
