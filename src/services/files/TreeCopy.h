#pragma once

#include <QString>

namespace brindle {

/// Copies a file, link or whole folder, keeping permission bits and symbolic links (as links).
/// Blocks: worker threads only.
class TreeCopy
{
public:
    /// `to` must not exist, its parent must. Throws SystemError naming the entry; what was copied
    /// until then stays. Anything but files, links and folders is such a failure.
    static void copy(const QString &from, const QString &to);
};

} // namespace brindle
