#pragma once

#include "process/ManagedProcess.h"

#include <string>
#include <vector>

namespace brindle {

/// Runs a program as a ManagedProcess and prints its lines, for a test to kill. Ends at the line
/// "quit", whatever the child does; "stop and quit" asks the child to end before. Returns the
/// child's status, or 0 after one of these lines.
int runTestLauncher(const std::string &program, const std::vector<std::string> &arguments,
                    ManagedProcess::OnParentDeath bond = ManagedProcess::OnParentDeath::survive);

/// Makes a staging folder that this process keeps until it ends. Returns its path.
std::string makeTestStaging(const std::string &temporaryFolder);

} // namespace brindle
