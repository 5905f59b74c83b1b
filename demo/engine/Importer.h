#pragma once

#include "Behaviour.h"

/// The one-time import: walks the project, writes what an engine leaves behind (".godot/" and an
/// ".import" file beside each picture) and prints its progress with the engine's colour escapes.
class Importer
{
public:
    /// Returns the exit code.
    static int run(const QString &project, const Behaviour &behaviour);
};
