#pragma once

#include <QFileInfo>
#include <QString>
#include <QStringList>

namespace brindle {

/// Every path, mark and marker below the storage root. A plain value; creates nothing. Any thread.
struct Storage
{
    Storage(QString folder) : root(std::move(folder)) {} // NOLINT(google-explicit-constructor)

    QString root;

    /// The folder that holds the root.
    QString parentFolder() const { return QFileInfo(root).path(); }
    /// The unpacked game repository.
    QString gameFolder() const { return root + QStringLiteral("/Game"); }
    /// All engine builds, each in a folder named by its tag.
    QString enginesFolder() const { return root + QStringLiteral("/Engine"); }
    /// What was read from the project.
    QString infoFile() const { return root + QStringLiteral("/info.json"); }
    /// Lies there from before a game is downloaded until it is complete: all add-ons in place and
    /// its description saved.
    QString unfinishedMark() const { return root + QStringLiteral("/unfinished"); }
    /// Says that the engine of this tag has imported the project.
    QString importMarker(const QString &tag) const
    {
        return root + QStringLiteral("/imported-%1.txt").arg(tag);
    }
    /// Deletes all import markers. Failures are ignored. Blocks: worker threads only.
    void clearMarkers() const;
};

/// Where the storage root is, and how much a folder holds. All locations are absolute paths.
namespace Paths {

/// The storage root: the user's data folder, then "Brindle". Computed on every call; creates
/// nothing. Any thread.
QString root();

/// The rule behind `root`: the first of `dataFolders`, or `home` + "/Library/Application Support"
/// when there is none, then "Brindle".
QString root(const QStringList &dataFolders, const QString &home);

/// The bytes that a folder occupies on disk, hidden files and everything below it included; 0 for a
/// missing or unreadable folder. Links are not followed. Blocks: worker threads only.
qint64 folderSize(const QString &folder);

} // namespace Paths

} // namespace brindle
