#pragma once

#include <cstdint>
#include <string>

namespace brindle {

/// Confines the calling thread, and all threads and processes that it starts, for good. Enter it
/// before threads start and before reading untrusted input.
///
/// Works on Linux only; macOS has just the deprecated sandbox_init(3). If the system or its kernel
/// lacks a part, the process runs without that part: the checks of the input are the first defence.
namespace Sandbox {

struct Rules
{
    /// Files and folders below this folder may be listed, made, written and removed. No file may be
    /// read, so map the input first. If the folder is missing, nothing may be written.
    std::string writableFolder;
    uint64_t maxMemory;    ///< bytes of address space
    uint64_t maxFileBytes; ///< for each written file
};

struct Parts
{
    bool files;  ///< Landlock: only `writableFolder` can be reached
    bool calls;  ///< seccomp: no sockets, programs, processes or devices
    bool memory; ///< the limit on address space
};

/// Returns the parts that the running system supports.
Parts available();

/// Enters every available part. Forbidden calls fail with EACCES or ENOSYS, writes to a too large
/// file with EFBIG. Crashes dump no core. Throws std::system_error if the system refuses an
/// available part.
///
/// With the address sanitizer, memory has no limit, because the sanitizer reserves terabytes. Nor
/// does it look for leaks, because that needs a second process.
void enter(const Rules &rules);

} // namespace Sandbox

/// Starts to write these bytes of a file to the disk, so that a later sync takes less time. Does
/// not wait. Ignores errors, and does nothing outside Linux.
void startWriteBack(int descriptor, uint64_t offset, uint64_t count);

} // namespace brindle
