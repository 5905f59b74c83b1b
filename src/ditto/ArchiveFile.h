#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace brindle::ditto {

struct Entry;

/// An archive's file, mapped into memory once, so that nobody can replace it later. If the disk
/// fails later, a signal ends the program. Throws Error. Use on one thread only.
class ArchiveFile
{
public:
    explicit ArchiveFile(const std::string &path);
    ~ArchiveFile();
    ArchiveFile(const ArchiveFile &) = delete;
    ArchiveFile &operator=(const ArchiveFile &) = delete;

    uint64_t size() const { return bytes_.size(); }

    /// Returns `count` bytes from `offset`, or fewer at the file's end.
    std::string_view bytes(uint64_t offset, uint64_t count) const
    {
        return bytes_.substr(offset, count);
    }

    /// Receives consecutive pieces of the unpacked bytes.
    using Sink = std::function<void(const unsigned char *bytes, size_t count)>;
    /// Unpacks a stored or deflated (RFC 1951) entry, and checks its size and CRC. Passes on no
    /// more bytes than the entry announces.
    void unpack(const Entry &entry, const Sink &sink) const;

private:
    std::string_view bytes_;
};

} // namespace brindle::ditto
