#pragma once

#include "ConsoleLauncher.h"
#include "Offers.h"

#include <QSet>

namespace brindle {

/// Compares the disk's content with the offers. The game on disk may have any of `commits`.
class Inspection
{
public:
    Inspection(const Offers &offers, ConsoleLauncher::Setting setting);

    /// Returns the problems after `run`, which should have ended in a running game, one per line.
    QStringList problems(const ConsoleLauncher &run, const QSet<int> &commits) const;
    /// Returns the problems of a storage root that the launcher calls ready, one per line.
    QStringList problemsOfReady(const QSet<int> &commits) const;
    /// Returns the commit of the game on disk, or 0.
    int installedCommit() const;

private:
    QStringList problemsOfDisk(const QSet<int> &commits, bool isImported, Tree::Added added) const;
    QStringList problemsOfRun(const ConsoleLauncher &run) const;
    QString marker() const { return QStringLiteral("imported-%1-stable.txt").arg(version_); }

    const Offers &offers_;
    const ConsoleLauncher::Setting setting_;
    const Tree disk_;       // the storage root
    const QString version_; // of the engine that the game needs
};

} // namespace brindle
