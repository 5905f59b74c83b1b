#pragma once

#include <QByteArray>

namespace brindle::Disk {

/// Keeps room for the first `bytes` of an open file, whose size stays as it is. Returns 0, also
/// where the file system can't, or the errno that says that there is no room (ENOSPC, EDQUOT) or
/// may be none (EFBIG). Blocks.
int reserve(int descriptor, qint64 bytes);

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
