#pragma once

#include "platform/Platform.h"

#include <QString>

/// Packs a program like the engine's official archives.
namespace brindle::EngineArchive {

/// Returns an archive with the executable program where `EngineSpec` expects it. A macOS build is a
/// bundle with an Info.plist; a mono build also has a "GodotSharp" folder.
/// @param program the program's content.
/// @param version the release tag.
/// @param fillTo pads the program to this size, with bytes that pack to a third, like machine code.
/// Programs, and scripts that end with `exec`, still run. 0 adds no bytes. Throws
/// std::runtime_error. Blocks. Any thread.
QByteArray pack(const QByteArray &program, const Platform &platform, const QString &version,
                bool mono, qint64 fillTo = 0);

} // namespace brindle::EngineArchive
