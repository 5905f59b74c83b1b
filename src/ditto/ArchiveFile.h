#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace brindle::ditto {

/// An archive's file. Opens it once, so that another file of that name changes nothing. Throws
/// Error.
class ArchiveFile
{
public:
    explicit ArchiveFile(const std::string &path);
    ~ArchiveFile();
    ArchiveFile(const ArchiveFile &) = delete;
    ArchiveFile &operator=(const ArchiveFile &) = delete;

    uint64_t size() const { return size_; }

    /// Returns exactly these bytes. The position of the descriptor does not matter.
    std::string read(uint64_t offset, uint64_t count) const;
    void read(uint64_t offset, unsigned char *bytes, size_t count) const;

private:
    int descriptor_;
    uint64_t size_ = 0;
};

} // namespace brindle::ditto
