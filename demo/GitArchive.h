#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

namespace brindle {

/// Packs a folder as the code host packs a repository, in the form of `git archive`: one top
/// folder, plain files without a unix mode, 0755 and symbolic links with theirs, submodules as
/// empty folders, a commit id as the archive's comment.
class GitArchive
{
public:
    /// Left out: ".git", and ".godot", the engine's cache, which no repository keeps.
    ///
    /// @param topFolder what the host calls it: repository and branch, e.g. "godot-brindle-main".
    /// @param submodules paths that become empty folders whatever lies there, in addition to
    /// those that the folder's ".gitmodules" names.
    /// @param replaced texts to replace in ".gitmodules", such as the host's address.
    /// @param extraFiles path to content: added, or in place of the folder's own.
    /// Throws std::runtime_error. Blocks. Any thread.
    static void pack(const QString &folder, const QString &topFolder, const QString &zip,
                     const QStringList &submodules = {},
                     const QMap<QByteArray, QByteArray> &replaced = {},
                     const QMap<QString, QByteArray> &extraFiles = {});
};

} // namespace brindle
