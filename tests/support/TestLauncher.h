#pragma once

#include "process/ManagedProcess.h"

#include <string>
#include <vector>

namespace brindle {

/// A launcher for the tests to kill: runs a program as a ManagedProcess and prints the lines that
/// it gets. The line "quit" makes it end, whatever its child does; so does "stop and quit", after
/// it has asked the child to end. Returns the child's status, or 0 after one of these lines.
int runTestLauncher(const std::string &program, const std::vector<std::string> &arguments,
                    ManagedProcess::OnParentDeath bond = ManagedProcess::OnParentDeath::survive);

/// Makes a staging folder that stays this process's until it ends. Returns its path.
std::string makeTestStaging(const std::string &temporaryFolder);

} // namespace brindle
