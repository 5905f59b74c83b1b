#pragma once

#include <QtGlobal>

namespace brindle::DiskSpace {

/// Keeps room for the first `bytes` of an open file, whose size stays as it is. Returns 0, also
/// where the file system can't, or the errno that says that there is no room (ENOSPC, EDQUOT) or
/// may be none (EFBIG). Blocks.
int reserve(int descriptor, qint64 bytes);

} // namespace brindle::DiskSpace
