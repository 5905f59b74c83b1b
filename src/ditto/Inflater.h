#pragma once

#include "ditto/Directory.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

struct inflate_state;

namespace brindle::ditto {

/// Unpacks an archive's entries, stored or deflated (RFC 1951), and checks their sizes and CRCs.
/// Reused for any number of entries, one at a time. Throws Error.
class Inflater
{
public:
    /// Called with consecutive pieces of the unpacked bytes.
    using Sink = std::function<void(const unsigned char *bytes, size_t count)>;

    /// @param archive must outlive the inflater.
    explicit Inflater(const ArchiveFile &archive);
    ~Inflater();

    /// Never passes on more bytes than the entry announces.
    void unpack(const Entry &entry, const Sink &sink);

private:
    void inflate(size_t count, const Entry &entry, const Sink &sink);
    void pass(const unsigned char *bytes, size_t count, const Entry &entry, const Sink &sink);

    const ArchiveFile &archive_;
    std::unique_ptr<inflate_state> state_;
    std::vector<unsigned char> input_;
    std::vector<unsigned char> output_;
    uint64_t passed_ = 0; // of the present entry
    uint32_t crc_ = 0;    // of what was passed
};

} // namespace brindle::ditto
