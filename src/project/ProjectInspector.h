#pragma once

#include "project/ProjectInfo.h"

#include <optional>

/// Reads a downloaded project folder with simple line rules; runs nothing and never fails. Blocks:
/// worker threads only, save for the start.
namespace brindle::ProjectInspector {

/// A text file that is larger counts as unreadable: nobody writes such a README, and a list of
/// add-ons of many times that size would hold up the main thread, which reads it again at each
/// start.
constexpr qint64 maxFileBytes = 1024 * 1024;

/// The folder of the shallowest "project.godot" within five levels below `folder`, hidden folders
/// not entered; absent when there is none. Looks level by level and stops at the first level that
/// has one.
std::optional<QString> findProject(const QString &folder);

/// What the project's files tell; files that are unreadable or not valid UTF-8 leave the defaults.
ProjectInfo inspect(const QString &projectDir);

} // namespace brindle::ProjectInspector
