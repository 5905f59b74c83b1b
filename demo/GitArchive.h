#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// Packs a folder as the code host packs a repository, in the form of `git archive`.
namespace brindle::GitArchive {

/// Returns an archive: one top folder, plain files without a unix mode, 0755 and symbolic links
/// with theirs, the submodules of ".gitmodules" as empty folders, a commit id as the archive's
/// comment. Leaves out ".git" and the engine's cache ".godot".
///
/// @param topFolder the repository and branch, such as "godot-brindle-main".
/// @param extraFiles contents by path, which add files or replace them.
/// Throws std::runtime_error. Blocks. Any thread.
QByteArray pack(const QString &folder, const QString &topFolder,
                const QMap<QString, QByteArray> &extraFiles = {});

} // namespace brindle::GitArchive
