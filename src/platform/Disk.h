#pragma once

#include <QByteArray>

/// Waits for the disk. All block, do not follow links, and return 0 or the errno of the first
/// failure.
namespace brindle::Disk {

/// Waits until `folder` and everything in it is on the disk. May write whatever else waits to be
/// written to that file system.
int syncTree(const QByteArray &folder);

/// Waits until the content of an open file is on the disk.
int syncFile(int descriptor);

/// Waits until the names in `folder` are on the disk: what was made, renamed and removed in it.
/// Returns 0 also where the file system has no such request.
int syncNames(const QByteArray &folder);

} // namespace brindle::Disk
