#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

namespace brindle {

/// Packs a folder as the code host packs a repository, in the form of `git archive`: one top
/// folder, plain files without a unix mode, 0755 and symbolic links with theirs, submodules as
/// empty folders, a commit id as the archive's comment.
class GitArchive
{
public:
    /// @param topFolder e.g. "godot-brindle-main". @param submodules their paths, made as empty
    /// folders. @param replaced texts to replace in ".gitmodules".
    /// Throws std::runtime_error. Blocks.
    static void pack(const QString &folder, const QString &topFolder, const QString &zip,
                     const QStringList &submodules = {},
                     const QMap<QByteArray, QByteArray> &replaced = {});
};

} // namespace brindle
