#pragma once

#include "ditto/ArchiveEntry.h"

#include <cstddef>
#include <functional>
#include <string>

namespace brindle {

/// Writes an archive's tree, entry by entry. Throws ArchiveError.
class TreeWriter
{
public:
    /// Takes consecutive pieces of a file's content.
    using Sink = std::function<void(const unsigned char *bytes, size_t count)>;
    /// Passes a file's whole content on.
    using Source = std::function<void(const Sink &sink)>;

    virtual ~TreeWriter() = default;

    virtual void addFolder(const ArchiveEntry &entry) = 0;
    virtual void addFile(const ArchiveEntry &entry, const Source &content) = 0;
    virtual void addLink(const ArchiveEntry &entry, const std::string &target) = 0;
    /// What is neither file, folder nor link.
    virtual void addOther(const ArchiveEntry &entry) = 0;
    /// Writes what is still to be written.
    virtual void finish() = 0;

protected:
    TreeWriter() = default;
    TreeWriter(const TreeWriter &) = default;
    TreeWriter &operator=(const TreeWriter &) = default;
};

} // namespace brindle
