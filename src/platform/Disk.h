#pragma once

#include <QByteArray>

namespace brindle::Disk {

/// Waits until `folder`, with all that is in it now, is on its disk. May write more than that: what
/// else waits to be written to the same file system. Links below are not followed. Blocks. Returns
/// 0 or the errno of the first failure.
int syncTree(const QByteArray &folder);

/// Waits until what was written to an open file is on its disk. As `syncTree` otherwise.
int syncFile(int descriptor);

/// Waits until the names in `folder` are on its disk as they are now: what was made, renamed and
/// removed in it. As `syncTree` otherwise; 0 also where the file system has no such request.
int syncNames(const QByteArray &folder);

} // namespace brindle::Disk
