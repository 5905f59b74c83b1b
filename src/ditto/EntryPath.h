#pragma once

#include <string>
#include <vector>

namespace brindle {

/// An entry's place below the destination: its name cut into components.
class EntryPath
{
public:
    /// Cuts a name that must be safe: relative, no "..", ".", empty or over-long components and at
    /// most 256 of them, no backslash, no control characters, valid UTF-8. A trailing "/" is
    /// dropped. Throws ArchiveError that says which rule is broken.
    static EntryPath parse(const std::string &name);

    const std::vector<std::string> &components() const { return components_; }
    std::string string() const;
    /// Of the first `count` components.
    std::string prefix(size_t count) const;

private:
    std::vector<std::string> components_;
};

} // namespace brindle
