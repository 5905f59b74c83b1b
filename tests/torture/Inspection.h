#pragma once

#include "LauncherRun.h"
#include "Offers.h"

#include <QSet>

namespace brindle {

/// Compares what lies on the disk with what was offered.
class Inspection
{
public:
    struct Expected
    {
        QSet<int> commits;    ///< those that the game may be of
        int newestCommit = 0; ///< that has been offered
        bool mayMove = false; ///< add-ons may be of a newer commit than the game
    };

    Inspection(const Offers &offers, LauncherRun::Setting setting)
        : offers_(offers), setting_(std::move(setting))
    {}

    /// Returns what is wrong after `run`, which should end in a running game; a line each.
    QStringList problems(const LauncherRun &run, const Expected &expected) const;
    /// Returns what is wrong although the launcher says that it is ready; a line each.
    QStringList problemsOfReady(const Expected &expected) const;
    /// Returns the commit of the game on disk.
    int installedCommit() const;

private:
    QStringList problemsOfDisk(const Expected &expected, bool isImported) const;
    QStringList problemsOfProject(const Tree &project, const Expected &expected,
                                  bool isImported) const;
    QStringList problemsOfEngines(const QString &needed) const;
    QStringList problemsOfRun(const LauncherRun &run, const QString &version) const;
    QString root(const QString &name = {}) const;

    const Offers &offers_;
    const LauncherRun::Setting setting_;
};

} // namespace brindle
