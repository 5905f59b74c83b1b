#pragma once

#include <cstdint>
#include <string>

namespace brindle {

/// What a process may do from now on and for good, before it reads what it does not trust. It holds
/// for the calling thread and all that it starts, so enter before threads start.
///
/// Linux only. Elsewhere, and where a kernel lacks a part, the process goes on without it: the
/// sandbox stands behind the checks of what is read, not in their place. macOS has sandbox_init(3),
/// which is deprecated and whose profiles are not documented, so there is none there.
namespace Sandbox {

struct Rules
{
    /// What lies beneath may be listed, made, written and removed. No file may be opened for
    /// reading: what is to be read must be open. Nothing may be written when it is missing.
    std::string writableFolder;
    uint64_t maxMemory = 0;    ///< bytes of address space; 0 for no limit
    uint64_t maxFileBytes = 0; ///< of each file written; 0 for no limit
};

struct Parts
{
    bool files = false;  ///< Landlock: `writableFolder` is all there is
    bool calls = false;  ///< seccomp: no sockets, no programs, no processes, no devices
    bool memory = false; ///< the limit on memory
};

/// What the running system has.
Parts available();

/// Enters every part that there is, with the limits. What is forbidden fails with EACCES or ENOSYS,
/// too large a file with EFBIG; no core is ever dumped. Throws std::system_error when a part that
/// the system has can't be entered.
///
/// Programs with address sanitizer get no limit on memory, since they reserve terabytes, and look
/// for no leaks at their end, since that takes a second process.
Parts enter(const Rules &rules);

} // namespace Sandbox

} // namespace brindle
