#pragma once

#include <string>

/// What of the file system a thread can reach, on Linux:
/// https://docs.kernel.org/userspace-api/landlock.html.
namespace brindle::Landlock {

/// The kernel has it, and it is switched on.
bool available();

/// From now on this thread may make, write, list and remove what lies beneath `folder` and open
/// nothing else; nothing at all when it is missing. Newer kernels also keep it from TCP, from
/// devices' controls, and from signals and abstract sockets of other processes. Throws
/// std::system_error.
void confine(const std::string &folder);

} // namespace brindle::Landlock
