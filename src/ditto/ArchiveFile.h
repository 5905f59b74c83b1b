#pragma once

#include <cstdint>
#include <string>

namespace brindle {

/// An archive's file, opened once: what is checked is what is unpacked, whatever comes to lie under
/// its name. Throws ArchiveError.
class ArchiveFile
{
public:
    explicit ArchiveFile(const std::string &path);
    ~ArchiveFile();
    ArchiveFile(const ArchiveFile &) = delete;
    ArchiveFile &operator=(const ArchiveFile &) = delete;

    /// Stays this object's. Where it stands in the file is for others to move.
    int descriptor() const { return descriptor_; }
    uint64_t size() const { return size_; }
    /// Exactly these bytes.
    std::string read(uint64_t offset, uint64_t count) const;

private:
    int descriptor_;
    uint64_t size_ = 0;
};

} // namespace brindle
