#pragma once

#include "ditto/ArchiveFile.h"
#include "sandbox/Sandbox.h"

#include <functional>
#include <string>

/// The archive tool: `ditto -x -k archive destination`.
namespace brindle::ditto {

/// Unpacks a zip archive into an empty folder, completely or not at all. Refuses archives that are
/// unsafe, incomplete or inconsistent. Folders and executable files get mode 0755, other files
/// 0644, less the process's umask. After a failure, removes its files and throws a std::exception.
void unpack(const ArchiveFile &archive, const std::string &destination);

using Confine = void(const Sandbox::Rules &rules);
using Unpack = void(const ArchiveFile &archive, const std::string &destination);

/// The body of main(): opens the archive, makes a missing destination, then calls `confine` and
/// `unpack`. The program passes Sandbox::enter and the function above; tests and a benchmark pass
/// others. Returns the exit status. If it is not 0, prints the reason in one line on standard
/// error.
int run(int argc, char **argv, const std::function<Confine> &confine,
        const std::function<Unpack> &unpack);

} // namespace brindle::ditto
