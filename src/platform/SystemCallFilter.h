#pragma once

namespace brindle {

/// The system call wall of Linux: https://docs.kernel.org/userspace-api/seccomp_filter.html.
class SystemCallFilter
{
public:
    /// The kernel has it, and the calls of this machine are known here.
    static bool available();

    /// From now on this thread gets EPERM where it asks for sockets, programs, processes and
    /// threads, device nodes, mounts, another process's memory, rights or times of files by their
    /// name, and what else an archive tool has no business with. Calls newer than those known here
    /// look as on an older kernel, and calls of another machine's kind end the process. Throws
    /// std::system_error.
    static void install();
};

} // namespace brindle
