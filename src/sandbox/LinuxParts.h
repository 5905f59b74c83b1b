#pragma once

#include <string>

/// What the sandbox is made of on Linux. Elsewhere neither part is available.
namespace brindle {

/// What of the file system a thread can reach: https://docs.kernel.org/userspace-api/landlock.html.
namespace Landlock {

/// The kernel has it, and it is switched on.
bool available();

/// From now on this thread may make, write, list and remove what lies beneath `folder` and open
/// nothing else; nothing at all when it is missing. Newer kernels also keep it from TCP, from
/// devices' controls, and from signals and abstract sockets of other processes. Throws
/// std::system_error.
void confine(const std::string &folder);

} // namespace Landlock

/// What a thread can ask the kernel for: https://docs.kernel.org/userspace-api/seccomp_filter.html.
namespace SystemCallFilter {

/// The kernel has it.
bool available();

/// From now on this thread has only the calls that unpacking an archive takes: to read and write
/// open files, to open others either for reading or for writing, to make and remove folders, links
/// and files, and to manage its memory, none of which may be executed. All others fail with ENOSYS,
/// as on a kernel that lacks them, and those of another machine's kind end the process. Throws
/// std::system_error.
void install();

} // namespace SystemCallFilter

} // namespace brindle
