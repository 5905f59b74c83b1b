#pragma once

#include <QString>

#include <optional>

namespace brindle {

/// Where an add-on belongs, by a path that comes with the download and is therefore not trusted.
class AddonFolder
{
public:
    /// `path` below `repository` (an absolute path), without "." and ".."; absent when it leads
    /// outside of the repository folder: it is absolute, climbs above the folder, or passes through
    /// symbolic links that do. An empty path names the repository folder itself. Reads links only;
    /// any thread.
    static std::optional<QString> locate(const QString &repository, const QString &path);
};

} // namespace brindle
