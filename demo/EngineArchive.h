#pragma once

#include "platform/Platform.h"

#include <QString>

/// Packs a program as the engine's official archives are packed.
namespace brindle::EngineArchive {

/// Returns an archive with the program where `EngineSpec` expects it, and its execute bit. A macOS
/// build is a bundle with an Info.plist; a mono build also holds a "GodotSharp" folder.
/// @param program the program's content.
/// @param version the release tag.
/// @param fillTo pads the program to that many bytes, which pack to a third as machine code does.
/// Programs, and scripts with `exec` at their end, still run then. 0 adds no bytes.
/// Throws std::runtime_error. Blocks. Any thread.
QByteArray pack(const QByteArray &program, const Platform &platform, const QString &version,
                bool mono, qint64 fillTo = 0);

} // namespace brindle::EngineArchive
