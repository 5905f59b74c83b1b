#pragma once

#include <cstdint>
#include <string>

namespace brindle {

/// Confines the calling thread and all that it starts, for good. Enter before threads start and
/// before untrusted input is read.
///
/// Linux only. Elsewhere, and on kernels that lack a part, the process goes on without that part:
/// the checks of the input come first, and the sandbox is the second defence. macOS has
/// sandbox_init(3), which is deprecated and whose profiles are not documented.
namespace Sandbox {

struct Rules
{
    /// Files and folders below it may be listed, made, written and removed; nothing at all when it
    /// is missing. No file may be opened for reading: open the input before.
    std::string writableFolder;
    uint64_t maxMemory = 0;    ///< bytes of address space; 0 for no limit
    uint64_t maxFileBytes = 0; ///< for each written file; 0 for no limit
};

struct Parts
{
    bool files = false;  ///< Landlock: only `writableFolder` can be reached
    bool calls = false;  ///< seccomp: no sockets, programs, processes or devices
    bool memory = false; ///< the limit on memory
};

/// Returns the parts that the running system has.
Parts available();

/// Enters every available part. Forbidden calls fail with EACCES or ENOSYS, writing too large a
/// file with EFBIG; no core is dumped. Throws std::system_error when the system refuses a part that
/// it has.
///
/// Programs with address sanitizer get no limit on memory, since they reserve terabytes. They do
/// not look for leaks, since that takes a second process.
Parts enter(const Rules &rules);

} // namespace Sandbox

/// Asks the system to start writing these bytes of a file to the disk, so that a later sync takes
/// less time. A hint: ignores errors, and does nothing outside Linux.
void startWriteBack(int descriptor, uint64_t offset, uint64_t count);

} // namespace brindle
