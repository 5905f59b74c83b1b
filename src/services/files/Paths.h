#pragma once

#include <QString>
#include <QStringList>

namespace brindle {

/// Where the launcher keeps things. All locations are absolute paths.
class Paths
{
public:
    /// The storage root: the user's data folder, then "Brindle". Computed on every call; creates
    /// nothing. Any thread.
    static QString root();

    /// The rule behind `root`: the first of `dataFolders`, or `home` + "/Library/Application
    /// Support" when there is none, then "Brindle".
    static QString root(const QStringList &dataFolders, const QString &home);

    /// The bytes that a folder occupies on disk, hidden files and everything below it included;
    /// 0 for a missing or unreadable folder. Links are not followed. Blocks: worker threads only.
    static qint64 folderSize(const QString &folder);
};

} // namespace brindle
