#pragma once

#include "ditto/ArchiveReader.h"

#include <functional>
#include <memory>

namespace brindle {

/// Unpacks entries, stored or deflated (RFC 1951), and checks their sizes and CRCs. Reused for any
/// number of entries, one at a time. Throws ArchiveError.
class Inflater
{
public:
    /// Called with consecutive pieces of the unpacked bytes.
    using Sink = std::function<void(const unsigned char *bytes, size_t count)>;

    Inflater();
    ~Inflater();

    /// Never passes on more bytes than the entry announces.
    void unpack(const ArchiveReader &reader, const ArchiveEntry &entry, const Sink &sink);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace brindle
