#pragma once

#include <functional>
#include <string>

namespace brindle {

/// Unpacks one zip archive into one folder: everything or nothing.
class Unpacker
{
public:
    /// @param interrupted asked often; true ends the unpacking.
    /// Throws ArchiveError or another std::exception; the destination is untouched then, save for
    /// one that was not empty.
    static void unpack(const std::string &archive, const std::string &destination,
                       const std::function<bool()> &interrupted);
};

} // namespace brindle
