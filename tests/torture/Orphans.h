#pragma once

#include <QStringList>

namespace brindle {

/// Processes that killed launchers left running. Linux.
namespace Orphans {

/// Makes this process the parent of what its descendants leave. Throws std::runtime_error.
void takeIn();

/// Ends the games, which are meant to outlive the launcher, and waits a while for the others.
/// Returns a line for each one that did not end, and ends it. Call while no launcher runs. Blocks.
QStringList clear();

} // namespace Orphans

} // namespace brindle
