#pragma once

#include "project/ProjectInfo.h"

#include <optional>

namespace brindle {

/// Reads a downloaded project folder with simple line rules; runs nothing and never fails. Blocks:
/// worker threads only, save for the start.
class ProjectInspector
{
public:
    /// The folder of the shallowest "project.godot" within five levels below `folder`, hidden
    /// folders not entered; absent when there is none. Looks level by level and stops at the first
    /// level that has one.
    static std::optional<QString> findProject(const QString &folder);

    /// What the project's files tell; unreadable files leave the defaults.
    static ProjectInfo inspect(const QString &projectDir);
};

} // namespace brindle
