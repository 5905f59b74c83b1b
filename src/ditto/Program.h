#pragma once

#include "ditto/UnpackPolicy.h"
#include "platform/Sandbox.h"

#include <functional>

namespace brindle {

/// The archive tool as a program: `ditto -x -k archive destination`. The destination is an empty
/// folder, or is made.
namespace Program {

/// Puts up the sandbox in which the archive is read.
using Confine = std::function<void(const Sandbox::Rules &rules)>;

/// The body of main(). Returns the exit code: 0, an UnpackStatus, or 1, the latter two after one
/// line on standard error that says why. SIGTERM, SIGINT and SIGHUP end the unpacking, after which
/// it cleans up.
int run(int argc, char **argv, const UnpackPolicy &policy, const Confine &confine);

} // namespace Program

} // namespace brindle
