#pragma once

#include <QString>
#include <QStringList>

namespace brindle {

/// What killed launchers left running. Linux.
class Orphans
{
public:
    /// From now on this process takes in what its descendants leave. Throws std::runtime_error.
    static void takeIn();

    /// Ends the games, which are meant to go on, and waits a while for the rest to end by itself.
    /// Returns the command lines of those that don't, and ends them too. Blocks. To be called while
    /// no launcher runs.
    static QStringList clear();
};

} // namespace brindle
