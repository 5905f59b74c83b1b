#pragma once

#include "ditto/Directory.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

struct inflate_state;

namespace brindle::ditto {

/// Unpacks stored or deflated (RFC 1951) entries, one after the other, and checks their sizes and
/// CRCs. Throws Error.
class Inflater
{
public:
    /// Called with consecutive pieces of the unpacked bytes.
    using Sink = std::function<void(const unsigned char *bytes, size_t count)>;

    /// @param archive must outlive the inflater.
    explicit Inflater(const ArchiveFile &archive);
    ~Inflater();

    /// Passes on no more bytes than the entry announces.
    void unpack(const Entry &entry, const Sink &sink);

private:
    bool isAtEnd() const;

    const ArchiveFile &archive_;
    std::unique_ptr<inflate_state> state_;
    std::vector<unsigned char> input_;
    std::vector<unsigned char> output_;
};

} // namespace brindle::ditto
