#pragma once

#include "ditto/ArchiveFile.h"
#include "sandbox/Sandbox.h"

#include <functional>
#include <string>

/// The archive tool: `ditto -x -k archive destination`.
namespace brindle::ditto {

/// Unpacks a zip archive into an empty folder, completely or not at all. Refuses archives that are
/// not safe, whole and consistent. Folders and executable files get mode 0755, other files 0644,
/// less the process's umask. Throws Error or another std::exception, after removing its files.
void unpack(const ArchiveFile &archive, const std::string &destination);

using Confine = void(const Sandbox::Rules &rules);
using Unpack = void(const ArchiveFile &archive, const std::string &destination);

/// The body of main(): opens the archive, makes the destination if it is missing, and calls
/// `confine` and then `unpack`. The program passes Sandbox::enter and the function above. Tests and
/// a benchmark of the sandbox pass others. Returns the exit status. If it is not 0, a line on
/// standard error says why.
int run(int argc, char **argv, const std::function<Confine> &confine,
        const std::function<Unpack> &unpack);

} // namespace brindle::ditto
