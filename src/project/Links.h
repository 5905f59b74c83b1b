#pragma once

#include <QString>

/// Where symbolic links lead. All functions block: worker threads only.
namespace brindle::Links {

/// Whether `path`, with all links followed, is `folder` or lies below it. Missing parts of the path
/// are taken as written. False when the links form a ring.
bool stayInside(const QString &folder, const QString &path);

/// Whether a link below `folder` leads out of it, dangling links included. Throws SystemError when
/// the folder can't be walked.
bool leadOutside(const QString &folder);

} // namespace brindle::Links
