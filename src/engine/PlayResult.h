#pragma once

#include <QtGlobal>

namespace brindle {

/// How a game's run ended.
struct PlayResult
{
    double seconds = 0;       ///< from just before the launch until the process ended
    qint32 exitCode = 0;      ///< exit code, or the signal's number
    bool userStopped = false; ///< the user asked for the end
};

} // namespace brindle
