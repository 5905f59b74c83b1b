#pragma once

#include <QByteArray>

/// Waits for the disk. All functions block and return 0 or the errno of a failure.
namespace brindle::Disk {

/// Waits until `folder` and everything in it is on the disk, with all else on its file system.
int syncTree(const QByteArray &folder);

/// Waits until the content of an open file is on the disk.
int syncFile(int descriptor);

/// Waits until the names in `folder` are on the disk, as after a rename or a removal. Returns 0
/// also where the file system has no such request.
int syncNames(const QByteArray &folder);

} // namespace brindle::Disk
