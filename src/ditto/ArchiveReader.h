#pragma once

#include "ditto/ArchiveEntry.h"
#include "ditto/ArchiveFile.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace brindle {

/// Reads a zip archive's directory and the packed bytes of its entries. Throws ArchiveError.
class ArchiveReader
{
public:
    /// Called with consecutive pieces of an entry's packed bytes.
    using Sink = std::function<void(const unsigned char *bytes, size_t count)>;

    /// Takes an archive as the library reads it; ArchiveLayout checks that there is one way to.
    explicit ArchiveReader(const ArchiveFile &file);
    ~ArchiveReader();

    uint64_t count() const;
    /// All entries, in the archive's order.
    std::vector<ArchiveEntry> entries() const;
    /// Passes an entry's bytes, as packed, to `sink`.
    void readPacked(const ArchiveEntry &entry, const Sink &sink) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace brindle
