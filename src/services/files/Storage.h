#pragma once

#include "files/Files.h"

#include <QFile>
#include <QString>

namespace brindle {

/// Every path, mark and marker below the storage root. A plain value; creates nothing. Any thread.
struct Storage
{
    Storage(QString root) : root(std::move(root)) {} // NOLINT(google-explicit-constructor)

    QString root;

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
    void clearImportMarkers() const
    {
        const QStringList names = Files::names(root);
        for (const QString &name : names) {
            if (name.startsWith(QStringLiteral("imported-"))) {
                QFile::remove(root + QLatin1Char('/') + name);
            }
        }
    }
};

} // namespace brindle
