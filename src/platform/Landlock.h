#pragma once

#include <string>

namespace brindle {

/// The file system wall of Linux: https://docs.kernel.org/userspace-api/landlock.html.
class Landlock
{
public:
    /// The kernel has a Landlock that lets files move between folders, as it does since Linux 5.19.
    /// An earlier one would forbid what an archive tool must do, and is not used.
    static bool available();

    /// From now on this thread may make, write, list, move and remove what lies beneath `folder`,
    /// read `file`, and open nothing else; a missing place is not allowed anything. Newer kernels
    /// also keep it from TCP, from devices' controls, and from signals and abstract sockets of
    /// other processes. Throws std::system_error.
    static void confine(const std::string &folder, const std::string &file);
};

} // namespace brindle
