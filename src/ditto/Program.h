#pragma once

#include "ditto/ArchiveFile.h"
#include "sandbox/Sandbox.h"

#include <atomic>
#include <functional>
#include <string>

/// The archive tool: `ditto -x -k archive destination`.
namespace brindle::ditto {

/// Unpacks a zip archive into an empty folder, everything or nothing: reads the archive's
/// directory, refuses what is not safe, whole and consistent, and writes. Folders and executable
/// files get mode 0755, other files 0644, less the process's umask.
/// @param interrupted looked at often; true ends the unpacking.
/// Throws Error or another std::exception; nothing that it wrote is left then.
void unpack(const ArchiveFile &archive, const std::string &destination,
            const std::atomic<bool> &interrupted);

/// The body of main(): opens the archive, makes the destination if it is missing, and calls
/// `confine` and then `unpack`. The program passes Sandbox::enter and the function above; the tests
/// and the benchmark of the sandbox show what it is worth and costs by others.
///
/// Returns the exit code: 0, an UnpackStatus, or 1, the latter two after one line on standard error
/// that says why. SIGTERM, SIGINT and SIGHUP interrupt the unpacking.
int run(int argc, char **argv, const std::function<void(const Sandbox::Rules &rules)> &confine,
        const std::function<void(const ArchiveFile &archive, const std::string &destination,
                                 const std::atomic<bool> &interrupted)> &unpack);

} // namespace brindle::ditto
