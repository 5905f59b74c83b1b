#pragma once

#include <QByteArray>

/// Syncs files and folders. All functions block, and return 0 or the errno of a failure.
namespace brindle::Disk {

/// Waits until the disk holds `folder` with all its content, and the rest of its file system.
int syncTree(const QByteArray &folder);

/// Waits until the disk holds an open file's content.
int syncFile(int descriptor);

/// Waits until the disk holds the names in `folder`, for example after a rename. Returns 0 also
/// where the file system can't sync names.
int syncNames(const QByteArray &folder);

} // namespace brindle::Disk
