#pragma once

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

#include <stop_token>

namespace brindle {

/// Names every path, mark and marker below the storage root. Its path functions touch no disk and
/// work on any thread.
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

    // The functions below block, so call them on worker threads only. Deletions ignore failures.

    /// Throws SetupError if the root, or the folder that holds it, belongs to another user.
    void checkOwner() const;
    /// Deletes all import markers.
    void clearMarkers() const;
    /// Deletes the leftovers of interrupted calls in the root and beside it.
    void clearLeftovers(const std::stop_token &stop = {}) const;
    /// Deletes the root, unless it belongs to another user. If the root is a link, deletes only the
    /// launcher's own entries behind it. If that empties the folder, deletes the folder and the
    /// link.
    void removeAll(const std::stop_token &stop = {}) const;
};

/// Finds the storage root and measures folders. All locations are absolute paths.
namespace Paths {

/// Returns the storage root: "Brindle" in the first of `dataFolders`, or in `home` +
/// "/Library/Application Support" if there are none. Creates nothing. Any thread.
QString root(const QStringList &dataFolders =
                 QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation),
             const QString &home = QDir::homePath());

/// Returns the disk space in bytes of everything below a folder, hidden files included, or 0 if the
/// folder is missing or unreadable. Follows no links. Blocks: worker threads only.
qint64 folderSize(const QString &folder);

} // namespace Paths

} // namespace brindle
