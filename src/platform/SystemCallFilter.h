#pragma once

/// What a thread can ask the kernel for, on Linux:
/// https://docs.kernel.org/userspace-api/seccomp_filter.html.
namespace brindle::SystemCallFilter {

/// The kernel has it.
bool available();

/// From now on this thread has only the calls that unpacking an archive takes: to read and write
/// open files, to open others either for reading or for writing, to make and remove folders, links
/// and files, and to manage its memory, none of which may be executed. All others fail with ENOSYS,
/// as on a kernel that lacks them, and those of another machine's kind end the process. Throws
/// std::system_error.
void install();

} // namespace brindle::SystemCallFilter
