#pragma once

#include "ditto/ArchiveFile.h"
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

    /// @param destination an empty folder.
    /// @param interrupted asked often; true ends the unpacking.
    /// Throws ArchiveError or another std::exception; nothing that it wrote is left then.
    void unpack(const ArchiveFile &archive, const std::string &destination,
                const std::function<bool()> &interrupted) const;

private:
    void fill(const ArchiveFile &archive, const std::string &destination,
              const std::function<bool()> &interrupted) const;

    const UnpackPolicy &policy_;
};

} // namespace brindle
