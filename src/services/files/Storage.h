#pragma once

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

#include <stop_token>

namespace brindle {

/// Every path, mark and marker below the storage root. A plain value; creates nothing. Any thread.
struct Storage
{
    Storage(QString folder = {}) : root(std::move(folder)) {} // NOLINT(google-explicit-constructor)

    QString root;

    /// The folder that holds the root.
    QString parentFolder() const { return QFileInfo(root).path(); }
    /// The unpacked game repository.
    QString gameFolder() const { return root + QStringLiteral("/Game"); }
    /// All engine builds, each in a folder named by its tag.
    QString enginesFolder() const { return root + QStringLiteral("/Engine"); }
    /// The project's description.
    QString infoFile() const { return root + QStringLiteral("/info.json"); }
    /// Exists from before a game is unpacked until the game has all its add-ons and its description
    /// is saved.
    QString unfinishedMark() const { return root + QStringLiteral("/unfinished"); }
    /// Exists once the engine of this tag has imported the project.
    QString importMarker(const QString &tag) const
    {
        return root + QStringLiteral("/imported-%1.txt").arg(tag);
    }

    // Worker threads only, as all of these block. Deletions ignore failures.

    /// Throws SetupError if the root, or the folder that holds it, belongs to another user.
    void checkOwner() const;
    /// Deletes all import markers.
    void clearMarkers() const;
    /// Deletes the leftovers of interrupted calls in the root and beside it.
    void clearLeftovers(const std::stop_token &stop = {}) const;
    /// Deletes the root. Through a root that is a link it deletes only the launcher's own entries;
    /// then the folder behind the link if it is empty, and with that folder the link. Spares a
    /// root of another user's.
    void removeAll(const std::stop_token &stop = {}) const;
};

/// Where the storage root is, and how much a folder holds. All locations are absolute paths.
namespace Paths {

/// The storage root: the first of `dataFolders`, or `home` + "/Library/Application Support" when
/// there is none, then "Brindle". Creates nothing. Any thread.
QString root(const QStringList &dataFolders =
                 QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation),
             const QString &home = QDir::homePath());

/// The bytes that a folder occupies on disk, hidden files and everything below it included; 0 for a
/// missing or unreadable folder. Links are not followed. Blocks: worker threads only.
qint64 folderSize(const QString &folder);

} // namespace Paths

} // namespace brindle
