#pragma once

#include <QString>

/// Follows symbolic links. These functions block, so call them on worker threads.
namespace brindle::Links {

/// Follows all links of `path`. Returns whether the result is `folder` or lies below it. Parts of
/// the path need not exist. Returns false when the links form a ring.
bool stayInside(const QString &folder, const QString &path);

/// Returns whether a link below `folder` leads out of it, dangling links included. Throws
/// std::filesystem::filesystem_error when the folder can't be walked.
bool leadOutside(const QString &folder);

} // namespace brindle::Links
