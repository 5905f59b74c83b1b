#pragma once

#include "Behaviour.h"
#include "CommandLine.h"
#include "Project.h"

/// A run of the game: in a window where there is a display, otherwise without one.
class Game
{
public:
    /// Runs until the window is closed, the behaviour ends it or a signal does; returns the exit
    /// code.
    static int run(int &argc, char **argv, const Project &project, const CommandLine &line,
                   const Behaviour &behaviour);
};
