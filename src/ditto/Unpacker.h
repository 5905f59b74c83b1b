#pragma once

#include "ditto/UnpackPolicy.h"

#include <functional>
#include <string>

namespace brindle {

/// Unpacks one zip archive into one folder: everything or nothing.
class Unpacker
{
public:
    /// @param policy must outlive the unpacker.
    explicit Unpacker(const UnpackPolicy &policy) : policy_(policy) {}

    /// @param interrupted asked often; true ends the unpacking.
    /// Throws ArchiveError or another std::exception; the destination is untouched then, save for
    /// one that was not empty.
    void unpack(const std::string &archive, const std::string &destination,
                const std::function<bool()> &interrupted) const;

private:
    const UnpackPolicy &policy_;
};

} // namespace brindle
