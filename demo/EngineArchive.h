#pragma once

#include "platform/Platform.h"

#include <QString>

namespace brindle {

/// Packs a program as the engine's official archives are packed: the program where `Platform` says
/// that it lies, with its execute bit; a mono build also gets a "GodotSharp" folder.
class EngineArchive
{
public:
    /// @param version the release tag. @param fillTo bytes to which the program is padded after
    /// its end (0: as it is), about a third of them incompressible, as in a real program.
    /// Throws std::runtime_error. Blocks.
    static void pack(const QString &program, const Platform &platform, const QString &version,
                     bool mono, const QString &zip, qint64 fillTo = 0);
};

} // namespace brindle
