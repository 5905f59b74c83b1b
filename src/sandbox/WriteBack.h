#pragma once

#include <cstdint>

#ifdef __linux__
#include <fcntl.h>
#endif

namespace brindle {

/// Has the system begin to bring what was written to the disk, so that there is less to wait for
/// when it must have arrived. A hint only: promises nothing and reports no errors. Linux; does
/// nothing elsewhere.
inline void startWriteBack([[maybe_unused]] int descriptor, [[maybe_unused]] uint64_t offset,
                           [[maybe_unused]] uint64_t count)
{
#ifdef __linux__
    // Ignored: what could not be written is told to whoever waits for it.
    sync_file_range(descriptor, static_cast<off_t>(offset), static_cast<off_t>(count),
                    SYNC_FILE_RANGE_WRITE);
#endif
}

} // namespace brindle
