#pragma once

#include <cstdint>
#include <string>

namespace brindle {

/// Walls that a process puts around itself before it reads what it does not trust, and never leaves
/// again. They hold for the calling thread and all that it starts, so enter before threads start.
///
/// Linux only. Elsewhere, and where a kernel lacks a wall, the process goes on without it: the
/// walls stand behind the checks of what is read, not in their place. macOS has sandbox_init(3),
/// which is deprecated and whose profiles are not documented, so no wall stands there.
class Sandbox
{
public:
    struct Rules
    {
        /// What lies beneath may be listed, made, written, moved and removed. Not followed when it
        /// is missing: then nothing may be written.
        std::string writableFolder;
        /// The one file that may be opened for reading; none when it is missing.
        std::string readableFile;
        uint64_t mostMemory = 0;    ///< bytes of address space; 0 for no limit
        uint64_t mostFileBytes = 0; ///< of each file written; 0 for no limit
    };

    struct Walls
    {
        bool files = false;  ///< Landlock: `writableFolder` and `readableFile` are all there is
        bool calls = false;  ///< seccomp: no sockets, no programs, no processes, no devices
        bool memory = false; ///< the limit on memory
    };

    /// What the running system has.
    static Walls available();

    /// Puts up every wall that there is, and the limits. What is forbidden fails with EACCES or
    /// EPERM, too large a file with EFBIG; no core is ever dumped. Throws std::system_error when a
    /// wall that the system has can't be put up.
    ///
    /// Programs with address sanitizer get no limit on memory, since they reserve terabytes, and
    /// look for no leaks at their end, since that takes a second process.
    static Walls enter(const Rules &rules);
};

} // namespace brindle
