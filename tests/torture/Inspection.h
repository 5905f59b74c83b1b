#pragma once

#include "ConsoleLauncher.h"
#include "Offers.h"

#include <QSet>

namespace brindle {

/// Compares the content of the disk with the offers.
class Inspection
{
public:
    struct Expected
    {
        QSet<int> commits;    ///< allowed for the game
        int newestCommit = 0; ///< offered so far
        bool mayMove = false; ///< add-ons may have a newer commit than the game
    };

    Inspection(const Offers &offers, ConsoleLauncher::Setting setting);

    /// Returns the problems after `run`, which should end in a running game; a line each.
    QStringList problems(const ConsoleLauncher &run, const Expected &expected) const;
    /// Returns the problems of a storage root that the launcher calls ready; a line each.
    QStringList problemsOfReady(const Expected &expected) const;
    /// Returns the commit of the game on disk.
    int installedCommit() const { return Offers::commitOf(project_); }

private:
    QStringList problemsOfDisk(const Expected &expected, bool isImported) const;
    QStringList problemsOfProject(const Expected &expected, bool isImported) const;
    QStringList problemsOfEngines() const;
    QStringList problemsOfRun(const ConsoleLauncher &run) const;
    QString marker() const { return QStringLiteral("imported-%1-stable.txt").arg(version_); }

    const Offers &offers_;
    const ConsoleLauncher::Setting setting_;
    const Tree project_;    // on disk
    const QString version_; // of the engine that it needs
};

} // namespace brindle
