#pragma once

#include <string>
#include <vector>

namespace brindle {

/// Runs a program as a tool, or as a ManagedProcess whose lines it prints, for a test to kill. Ends at the line
/// "quit", whatever the child does; "stop and quit" asks the child to end before. Returns the
/// child's status, or 0 after one of these lines.
int runTestLauncher(const std::string &program, const std::vector<std::string> &arguments,
                    bool isTool);

/// Makes a staging folder that this process keeps until it ends. Returns its path.
std::string makeTestStaging(const std::string &temporaryFolder);

} // namespace brindle
