#pragma once

#include <cstdint>
#include <string>

namespace brindle {

/// Confines the calling thread, and all threads and processes that it starts, for good. Enter it
/// before threads start and before reading untrusted input.
///
/// For Linux. On other systems, and where a kernel lacks a part, the process runs without it: the
/// checks of the input are the first defence. macOS has only sandbox_init(3), which is deprecated.
namespace Sandbox {

struct Rules
{
    /// Below this folder, files and folders may be listed, made, written and removed. No file may
    /// be read, so map the input before. A missing folder permits nothing.
    std::string writableFolder;
    uint64_t maxMemory;    ///< bytes of address space
    uint64_t maxFileBytes; ///< for each written file
};

struct Parts
{
    bool files = false;  ///< Landlock: only `writableFolder` can be reached
    bool calls = false;  ///< seccomp: no sockets, programs, processes or devices
    bool memory = false; ///< the limit on memory
};

/// Returns the parts that the running system has.
Parts available();

/// Enters every available part. Forbidden calls fail with EACCES or ENOSYS, writes to a too large
/// file with EFBIG. Crashes dump no core. Throws std::system_error if the system refuses an
/// available part.
///
/// Programs with address sanitizer get no limit on memory, since they reserve terabytes. They do
/// not look for leaks, since that takes a second process.
void enter(const Rules &rules);

} // namespace Sandbox

/// Asks the system to start writing these bytes of a file to the disk, to shorten a later sync.
/// Ignores errors, and does nothing outside Linux.
void startWriteBack(int descriptor, uint64_t offset, uint64_t count);

} // namespace brindle
