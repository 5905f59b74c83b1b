#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace brindle::ditto {

/// An archive's file, opened once: what is checked is what is unpacked, whatever comes to lie under
/// its name. Throws Error.
class ArchiveFile
{
public:
    explicit ArchiveFile(const std::string &path);
    ~ArchiveFile();
    ArchiveFile(const ArchiveFile &) = delete;
    ArchiveFile &operator=(const ArchiveFile &) = delete;

    int descriptor() const { return descriptor_; } ///< stays this object's
    uint64_t size() const { return size_; }

    /// Exactly these bytes, wherever the descriptor stands.
    std::string read(uint64_t offset, uint64_t count) const;
    void read(uint64_t offset, unsigned char *bytes, size_t count) const;

private:
    int descriptor_;
    uint64_t size_ = 0;
};

} // namespace brindle::ditto
