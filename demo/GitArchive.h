#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// Packs a folder like the code host's archive of a repository, in the form of `git archive`.
namespace brindle::GitArchive {

/// Returns an archive with one top folder. Plain files have no Unix mode; executable files and
/// symbolic links have theirs. The submodules of ".gitmodules" are empty folders. The archive's
/// comment is a commit id. Leaves out ".git" and the engine's cache ".godot".
///
/// @param topFolder the repository and branch, such as "godot-brindle-main".
/// @param extraFiles contents by path, which add files or replace them.
/// Throws std::runtime_error. Blocks. Any thread.
QByteArray pack(const QString &folder, const QString &topFolder,
                const QMap<QString, QByteArray> &extraFiles = {});

} // namespace brindle::GitArchive
