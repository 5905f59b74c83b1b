#pragma once

#include "platform/Platform.h"

#include <QString>

namespace brindle {

/// Packs a program as the engine's official archives are packed: the program where `EngineSpec`
/// says that it lies, with its execute bit. A macOS build is a bundle with an Info.plist; a mono
/// build also holds a "GodotSharp" folder.
class EngineArchive
{
public:
    /// @param version the release tag. @param fillTo bytes to which the program is padded behind
    /// its end (0: as it is) with what packs about as well as machine code: to a third.
    /// Programs and scripts that end in an `exec` line run on regardless of the padding.
    /// Throws std::runtime_error. Blocks. Any thread.
    static void pack(const QString &program, const Platform &platform, const QString &version,
                     bool mono, const QString &zip, qint64 fillTo = 0);
};

} // namespace brindle
