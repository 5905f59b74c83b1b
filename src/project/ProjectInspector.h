#pragma once

#include "project/ProjectInfo.h"

#include <optional>

/// Reads a downloaded project folder by simple rules for lines. Runs nothing and never fails. These
/// functions block, so call them on worker threads.
namespace brindle::ProjectInspector {

/// A larger text file counts as unreadable.
constexpr qint64 maxFileBytes = 1LL << 20U;

/// Returns the folder of the shallowest "project.godot" within five levels below `folder`, or
/// nothing. Skips hidden folders and links.
std::optional<QString> findProject(const QString &folder);

/// Describes the project. Unreadable files leave the defaults. Skips lines that are too long, and
/// links out of the repository.
ProjectInfo inspect(const QString &projectDir);

} // namespace brindle::ProjectInspector
