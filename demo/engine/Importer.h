#pragma once

#include "Project.h"

/// The one-time import: walks the project, writes what an engine leaves behind (".godot/", an
/// ".import" file beside each picture, a ".uid" file beside each script) and prints its progress.
class Importer
{
public:
    /// Blocks for about `seconds`. Files that can't be written are only complained about, as the
    /// engine does.
    static void run(const Project &project, double seconds);
};
