#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace brindle::ditto {

struct Entry;

/// An archive's file. Opens it once, so that another file of that name changes nothing. Throws
/// Error. One thread at a time.
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

    /// Called with consecutive pieces of the unpacked bytes.
    using Sink = std::function<void(const unsigned char *bytes, size_t count)>;
    /// Unpacks a stored or deflated (RFC 1951) entry, and checks its size and CRC. Passes on no
    /// more bytes than the entry announces.
    void unpack(const Entry &entry, const Sink &sink) const;

private:
    struct Buffers;

    void read(uint64_t offset, unsigned char *bytes, size_t count) const;

    const int descriptor_;
    uint64_t size_ = 0;
    const std::unique_ptr<Buffers> buffers_; // of `unpack`
};

} // namespace brindle::ditto
